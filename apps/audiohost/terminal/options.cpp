#include "terminal/options.h"

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

constexpr char const* PlayExitCodes =
    "Exit codes:\n"
    "  0    everything was played as it should be\n"
    "  1    internal error, or the report could not be written\n"
    "  2    the command line is wrong\n"
    "  3    a file is missing\n"
    "  4    a file cannot be read or is not audio\n"
    "  5    a file has no sound in it: no audio stream, or only silence\n"
    "  6    there is no audio output device, or it cannot be opened\n"
    "  9    played, but not as it should be: frames failed, or the sound was out of time or, where it was\n"
    "       compared, not heard as sent\n"
    "  10   the same, but only where the output itself was seen to stand still or to leap\n"
    "  130  interrupted with Ctrl-C; summary and report cover what was played\n";

constexpr char const* RecordExitCodes =
    "Exit codes:\n"
    "  0    everything was recorded; what was left out on the way is in the summary\n"
    "  1    internal error, or the report could not be written\n"
    "  2    the command line is wrong\n"
    "  3, 4, 5  the file given with --sent is missing, is not audio, has no sound in it\n"
    "  7    there is no microphone, it cannot be opened, or it gives nothing any more\n"
    "  8    the recording cannot be written (any further); what was written can be played\n"
    "  130  interrupted with Ctrl-C; file, summary and report cover what was recorded\n";

constexpr char const* MeterExitCodes =
    "Exit codes:\n"
    "  0    the time was over\n"
    "  1    internal error\n"
    "  2    the command line is wrong\n"
    "  7    there is no microphone, or it gives nothing any more\n"
    "  130  ended with Ctrl-C\n";

constexpr char const* CommonExitCodes =
    "Exit codes:\n"
    "  0    done\n"
    "  1    internal error, or a report could not be written\n"
    "  2    the command line is wrong\n"
    "  3    a file is missing\n"
    "  4    a file cannot be read or is not audio\n"
    "  5    a file has no sound in it: no audio stream, or only silence\n"
    "  6    there is no audio output device, or it cannot be opened\n"
    "  7    there is no microphone, it cannot be opened, or it gives nothing any more\n"
    "  8    the recording cannot be written (any further)\n"
    "  9    played, but not as it should be\n"
    "  10   the same, but only where the output itself stood still or leapt\n"
    "  130  interrupted with Ctrl-C\n";

constexpr char const* LogHelp = "Write the renderer's log records to this file";
constexpr char const* ReportHelp = "Write a report with pictures to this HTML file";

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
    play.add_option("--report", options.reportPath, ReportHelp)->type_name("OUT.html");
    play.add_option("--heard", options.heardPath,
                    "File into which a recorder writes meanwhile what the loudspeaker gets (raw 16-bit "
                    "little-endian, mono, 48000 Hz); it is compared with what was sent")
        ->type_name("RAW");
    play.add_option("--log", options.logPath, LogHelp)->type_name("FILE");
    play.footer(PlayExitCodes);
}

void AddRecord(CLI::App& record, RecordOptions& options) {
    record
        .add_option("OUT.wav", options.outPath,
                    "WAV file to write (16 bit, 48000 Hz, mono); an older one is replaced when the first "
                    "sound comes")
        ->required();
    record
        .add_option("--seconds", options.seconds,
                    "End after N seconds of sound (else at Ctrl-C, or after 12 hours)")
        ->check(Between(LeastSeconds, static_cast<double>(MostTakeSeconds)))
        ->type_name("N");
    record.add_option("--report", options.reportPath, ReportHelp)->type_name("OUT.html");
    record
        .add_option("--sent", options.sentPath,
                    "Audio file that is played into the microphone meanwhile, over and over; the recording "
                    "is compared with it")
        ->type_name("FILE.wav");
    record.add_option("--log", options.logPath, LogHelp)->type_name("FILE");
    record.footer(RecordExitCodes);
}

void AddMeter(CLI::App& meter, MeterOptions& options) {
    meter.add_option("--seconds", options.seconds, "End after N seconds (else at Ctrl-C)")
        ->check(Between(LeastSeconds, MostSeconds))
        ->type_name("N");
    meter.add_option("--log", options.logPath, LogHelp)->type_name("FILE");
    meter.footer(MeterExitCodes);
}

/// CLI11's own texts end without a hint; ours say where help is.
std::string Complain(CLI::ParseError const& error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text + "\nRun audiohost --help, or audiohost COMMAND --help, for the options.";
}

} // namespace

CommandLine ReadCommandLine(std::vector<std::string> const& arguments) {
    CommandLine result;
    PlayOptions playOptions;
    RecordOptions recordOptions;
    MeterOptions meterOptions;
    CLI::App app("Plays and records sound through the media pipeline and the audio renderer.", "audiohost");
    app.require_subcommand(1);
    app.footer(CommonExitCodes);
    CLI::App* const play = app.add_subcommand("play", "Play files and tell how well it went");
    CLI::App* const record = app.add_subcommand("record", "Record the microphone and tell how well it went");
    CLI::App* const meter = app.add_subcommand("meter", "Show the level of the microphone");
    AddPlay(*play, playOptions);
    AddRecord(*record, recordOptions);
    AddMeter(*meter, meterOptions);

    // The parser takes its arguments from the back.
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
        if (play->parsed()) {
            result.play = playOptions;
        } else if (record->parsed()) {
            result.record = recordOptions;
        } else {
            result.meter = meterOptions;
        }
    } catch (CLI::CallForHelp const&) {
        result.text = app.help();
    } catch (CLI::ParseError const& error) {
        result.code = ExitCode_t::Usage;
        result.text = Complain(error);
    }
    return result;
}

} // namespace AudioHost
