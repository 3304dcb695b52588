#include "listening/cutoff.h"

#include <algorithm>
#include <cstdlib>

#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Samples that speak for the peaks: those within a tenth of the highest, about which one sees where they
/// were cut off; and for the rest. Fewer may be chance.
constexpr double PeakShare = 0.9;
constexpr double RestFromShare = 0.2;
constexpr double RestToShare = 0.5;
constexpr std::size_t MinPeaks = 24;
/// Peaks this much lower than they should be were cut off.
constexpr double CutOffShare = 0.93;

/// How loud the recording is where the sound has certain values (least squares).
struct Fit {
    std::size_t count = 0;
    double both = 0.0;
    double square = 0.0;

    void Add(double sent, double heard) {
        ++count;
        both += sent * heard;
        square += sent * sent;
    }
    double Gain() const { return square > 0.0 ? both / square : 0.0; }
};

int HighestOf(SampleView sent, std::vector<WindowMatch> const& windows) {
    int highest = 0;
    for (WindowMatch const& window : windows) {
        highest = window.IsMatch() ? std::max(highest, Peak(sent.Cut(window.sentStart, CompareWindowSamples)))
                                   : highest;
    }
    return highest;
}

} // namespace

bool IsCutOff(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows) {
    double const highest = HighestOf(sent, windows);
    Fit peaks;
    Fit rest;
    for (WindowMatch const& window : windows) {
        SampleView const in = sent.Cut(window.sentStart, CompareWindowSamples);
        SampleView const out = heard.Cut(window.sentStart + window.lag, CompareWindowSamples);
        for (std::size_t i = 0; window.IsMatch() && i < std::min(in.GetSize(), out.GetSize()); ++i) {
            double const size = std::abs(static_cast<int>(in[i]));
            double const value = in[i] < 0 ? -out[i] : out[i];
            if (size >= PeakShare * highest) {
                peaks.Add(size, value);
            } else if (size >= RestFromShare * highest && size <= RestToShare * highest) {
                rest.Add(size, value);
            }
        }
    }
    return peaks.count >= MinPeaks && rest.count >= MinPeaks && peaks.Gain() < CutOffShare * rest.Gain();
}

} // namespace Listening
