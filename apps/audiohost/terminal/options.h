#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "terminal/hosterror.h"

namespace AudioHost {

/// What of the verdict makes the exit code.
struct FailOn {
    bool sound = true;
    bool time = true;
    bool level = false;
};

/// What is told besides errors, and how.
struct Telling {
    bool isQuiet = false;
    /// Log records too.
    bool isVerbose = false;
    /// One object on standard output.
    bool isJson = false;
};

/// Names standard input among files.
constexpr char const* StandardInput = "-";

/// How what is said goes over the network: G.711 mu-law and A-law, AAC, Opus.
enum class TalkCodec_t { Pcmu, Pcma, Aac, Opus };

/// Where the microphone is sent.
struct TalkTarget {
    /// Empty: nowhere.
    std::string address;
    TalkCodec_t codec = TalkCodec_t::Pcmu;
    /// The file for the description that a receiver needs; empty: it is told.
    std::string sdpPath;
};

/// The `play` command, as asked for. Texts are UTF-8, paths as given.
struct PlayOptions {
    std::vector<std::string> files;
    /// Of what is named, the streams of the network.
    std::vector<std::string> streams;
    /// RTSP's packets come in its own connection, not each for itself.
    bool isTcp = false;
    /// Frequencies of a test tone; empty: none.
    std::vector<double> tonesHz;
    bool hasNoise = false;
    /// One file after the other in one session, instead of all at once.
    bool isSequence = false;
    /// Over and over.
    bool isLoop = false;
    std::int64_t leadMilliSec = 200;
    /// Of a stream: nothing was told, so that it follows the network.
    bool isLeadAdapted = true;
    /// Not given: the renderer's own default stands.
    std::optional<float> volume;
    std::optional<float> balance;
    /// 0: to the end.
    double seconds = 0.0;
    /// Empty: none.
    std::string reportPath;
    std::string heardPath;
    std::string logPath;
    std::string tracePath;
    std::string statisticsPath;
    bool isLive = false;
    TalkTarget talk;
    FailOn failOn;
};

/// Longest take, twelve hours: a WAV file holds little more.
constexpr std::int64_t MaxTakeSeconds = 43'200;

/// The `record` command.
struct RecordOptions {
    std::string outPath;
    /// 0: until interrupted, or `MaxTakeSeconds`.
    double seconds = 0.0;
    /// Empty: none.
    std::string reportPath;
    std::string sentPath;
    std::string logPath;
    FailOn failOn;
};

/// The `meter` command.
struct MeterOptions {
    /// 0: until interrupted.
    double seconds = 0.0;
    /// Empty: none.
    std::string logPath;
};

/// The `talk` command.
struct TalkOptions {
    TalkTarget target;
    /// 0: until interrupted.
    double seconds = 0.0;
    /// Empty: none.
    std::string logPath;
};

/// The `doctor` command.
struct DoctorOptions {
    double seconds = 60.0;
    /// Empty: none.
    std::string pagePath;
    std::string logPath;
};

/// The commands that take no options of their own are asked for by this.
struct NoOptions {};

/// The `compare` command.
struct CompareOptions {
    std::string beforePath;
    std::string afterPath;
};

/// What the command line asks for: one of the commands, or a text and an exit code.
struct CommandLine {
    std::optional<PlayOptions> play;
    std::optional<RecordOptions> record;
    std::optional<MeterOptions> meter;
    std::optional<TalkOptions> talk;
    std::optional<CompareOptions> compare;
    std::optional<NoOptions> devices;
    std::optional<DoctorOptions> doctor;
    Telling telling;
    ExitCode_t code = ExitCode_t::Ok;
    /// For standard output (help, version) when `code` is `Ok`, else for standard error.
    std::string text;
};

/// "audiohost 1.2.3".
std::string FormatVersion();

/// Reads the arguments without the program's name, in UTF-8. Never throws but for memory.
CommandLine ReadCommandLine(std::vector<std::string> const& arguments);

} // namespace AudioHost
