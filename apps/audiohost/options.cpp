#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iomanip>
#include <sstream>

namespace AudioHost {

namespace {

constexpr int LeastLeadMilliSec = 40;
constexpr int MostLeadMilliSec = 2000;

constexpr double LeastSeconds = 0.02;
constexpr double MostSeconds = 1e6;

constexpr char const* ExitCodes =
    "Exit codes:\n"
    "  0    everything was played\n"
    "  1    internal error, or the report could not be written\n"
    "  2    the command line is wrong\n"
    "  3    a file is missing\n"
    "  4    a file cannot be read or is not audio\n"
    "  5    a file has no sound in it: no audio stream, or only silence\n"
    "  6    there is no audio output device, or it cannot be opened\n"
    "  130  interrupted with Ctrl-C; summary and report cover what was played\n";

std::string FormatNumber(double value) {
    std::ostringstream text;
    text << std::setprecision(9) << value;
    return text.str();
}

/// The parser's own range check lets NaN through.
CLI::Validator Between(double least, double most) {
    return CLI::Validator(
        [least, most](std::string const& text) {
            double value = 0.0;
            bool const isWithin = CLI::detail::lexical_cast(text, value) && value >= least && value <= most;
            return isWithin
                       ? std::string()
                       : text + " is not a number from " + FormatNumber(least) + " to " + FormatNumber(most);
        },
        "from " + FormatNumber(least) + " to " + FormatNumber(most));
}

void AddPlay(CLI::App& play, PlayOptions& options) {
    play.add_option("FILE", options.files,
                    "WAV, MP3, AAC, M4A, Ogg, Opus or FLAC file; several play at once, each in a session of "
                    "its own")
        ->required();
    play.add_option(
            "--lead", options.leadMilliSec,
            "Time in ms from handing a frame over until it shall be heard (default 200); above about 300 the "
            "renderer takes it for drift and moves its play cursor at every frame")
        ->check(Between(LeastLeadMilliSec, MostLeadMilliSec))
        ->type_name("MS");
    play.add_option("--volume", options.volume, "Loudness from 0 (silent) to 1 (full)")
        ->check(Between(0.0, 1.0))
        ->type_name("V");
    play.add_option("--balance", options.balance, "From 0 (left) over 0.5 (centre) to 1 (right)")
        ->check(Between(0.0, 1.0))
        ->type_name("B");
    play.add_option("--seconds", options.seconds, "Play only the first N seconds of each file")
        ->check(Between(LeastSeconds, MostSeconds))
        ->type_name("N");
    play.add_option("--report", options.reportPath, "Write a report with pictures to this HTML file")
        ->type_name("OUT.html");
    play.add_option("--heard", options.heardPath,
                    "File into which a recorder writes meanwhile what the loudspeaker gets (raw 16-bit "
                    "little-endian, mono, 48000 Hz); it is compared with what was sent")
        ->type_name("RAW");
    play.add_option("--log", options.logPath, "Write the renderer's log records to this file")
        ->type_name("FILE");
    play.footer(ExitCodes);
}

/// CLI11's own texts end without a hint; ours say where help is.
std::string Complain(CLI::ParseError const& error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text + "\nRun audiohost --help, or audiohost play --help, for the options.";
}

} // namespace

CommandLine ReadCommandLine(std::vector<std::string> const& arguments) {
    CommandLine result;
    PlayOptions options;
    CLI::App app("Plays audio files through the media pipeline and the audio renderer.", "audiohost");
    app.require_subcommand(1);
    app.footer(ExitCodes);
    CLI::App* const play = app.add_subcommand("play", "Play files and tell how well it went");
    AddPlay(*play, options);

    // The parser takes its arguments from the back.
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
        result.play = options;
    } catch (CLI::CallForHelp const&) {
        result.text = app.help();
    } catch (CLI::ParseError const& error) {
        result.code = ExitCode_t::Usage;
        result.text = Complain(error);
    }
    return result;
}

} // namespace AudioHost
