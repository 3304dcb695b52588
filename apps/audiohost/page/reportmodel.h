#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kovra/time.h"
#include "page/facts.h"

namespace AudioHost {

// What a report shows, whatever command it is of. docs/report.md has the JSON that is made of it; a member
// that is added, renamed or dropped here is one there. Texts are plain, in any bytes. Values are whole
// numbers, `perUnit` of which make one of the unit that a person reads, so that "4.25 ms" is 4250 with 1000 a
// unit.

/// Values at times; thinned so that the extremes of every stretch stay.
struct ReportSeries {
    std::string name;
    /// In the order of time, on the report's time axis.
    std::vector<std::int64_t> timesMilliSec;
    std::vector<std::int64_t> values;
};

struct ReportChart {
    /// Of letters, for addresses.
    std::string id;
    std::string title;
    std::string unit;
    std::int64_t perUnit = 1;
    /// Each value holds until the next.
    bool isStepped = false;
    /// Shown at the least, so that the wavering of a good run does not look like a storm. In whole numbers as
    /// above.
    std::int64_t low = 0;
    std::int64_t high = 1;
    std::vector<ReportSeries> series;
};

/// How often values were in each of equal steps.
struct ReportHistogram {
    std::string id;
    std::string title;
    std::string unit;
    std::int64_t perUnit = 1;
    std::int64_t start = 0;
    std::int64_t step = 1;
    std::vector<std::uint64_t> counts;
};

/// How loud each band is over time.
struct ReportSpectrogram {
    /// Length of a column; 0 when there is none.
    std::int64_t columnMicroSec = 0;
    std::size_t rows = 0;
    double lowHz = 0.0;
    double highHz = 0.0;
    /// Column by column from the lowest band up: 0 for -100 dB and below, 250 for 0 dB.
    std::vector<std::uint8_t> levels;
};

/// Lowest and highest sample of equal stretches of a sound.
struct ReportWave {
    std::int64_t stretchMicroSec = 1;
    std::vector<std::int16_t> low;
    std::vector<std::int16_t> high;
};

struct ReportSound {
    std::string id;
    std::string title;
    /// Where its first sample lies on the time axis; below 0 when that is before its start.
    std::int64_t startMilliSec = 0;
    std::int64_t lengthMilliSec = 0;
    ReportWave wave;
    ReportSpectrogram spectrogram;
    /// FLAC, in the page. Empty when there is a file beside it, or nothing to listen to.
    std::string flac;
    std::string fileName;
};

/// Something that happened, as told by the renderer or found in what was heard. What repeats is one.
struct ReportRecord {
    std::int64_t fromMilliSec = 0;
    std::int64_t toMilliSec = 0;
    /// Index of its session; nothing when it belongs to none.
    std::optional<std::size_t> session;
    /// A listener may hear it: a line through all charts.
    bool isFault = false;
    std::string kind;
    std::string text;
    std::uint64_t count = 1;
};

enum class Better_t { Neither, Less, More };

/// A number that sums something up.
struct ReportFigure {
    std::string name;
    std::int64_t value = 0;
    std::string unit;
    std::int64_t perUnit = 1;
    /// For the comparison of two runs.
    Better_t better = Better_t::Neither;
};

struct ReportSession {
    std::string name;
    std::string description;
    std::vector<ReportFigure> figures;
};

struct ReportPart {
    std::string title;
    std::vector<std::string> sentences;
};

/// Green, yellow and red.
enum class Grade_t { Good, Fair, Bad };

struct ReportModel {
    /// "play", "record" or "soak".
    std::string kind;
    std::string title;
    /// Names of what was played or recorded.
    std::string subject;
    Kovra::SysTime startedAt;
    Grade_t grade = Grade_t::Bad;
    /// How it went, in a few words.
    std::string verdict;
    std::vector<ReportFigure> figures;
    std::vector<ReportPart> parts;
    /// What was run, and on what.
    std::vector<Fact> facts;
    std::vector<ReportSession> sessions;
    /// What the time axis counts from, and where it ends.
    std::string timeZero;
    std::int64_t endMilliSec = 0;
    std::vector<ReportChart> charts;
    std::vector<ReportHistogram> histograms;
    std::vector<ReportSound> sounds;
    std::vector<ReportRecord> records;
};

} // namespace AudioHost
