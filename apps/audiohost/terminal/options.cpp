#include "terminal/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iomanip>
#include <sstream>

namespace AudioHost {

namespace {

// Files of their own, so that `run` can show them, and check options by them, without building anything.
constexpr char const* PlayHelp =
#include "terminal/help/play.txt"
    ;
constexpr char const* RecordHelp =
#include "terminal/help/record.txt"
    ;
constexpr char const* MeterHelp =
#include "terminal/help/meter.txt"
    ;
constexpr char const* Usage =
    "usage: audiohost COMMAND [OPTION...] [FILE...]\n"
    "Plays and records sound through the media pipeline and the audio renderer.\n"
    "Of an option given twice the last one counts.\n";

constexpr int MinLeadMilliSec = 40;
constexpr int MaxLeadMilliSec = 2000;

constexpr double MinSeconds = 0.02;
constexpr double MaxSeconds = 1e6;

std::string FormatNumber(double value) {
    std::ostringstream text;
    text << std::setprecision(9) << value;
    return text.str();
}

/// The parser's own range check lets NaN through.
CLI::Validator Between(double min, double max) {
    return CLI::Validator(
        [min, max](std::string const& text) {
            double value = 0.0;
            bool const isWithin = CLI::detail::lexical_cast(text, value) && value >= min && value <= max;
            return isWithin
                       ? std::string()
                       : text + " is not a number from " + FormatNumber(min) + " to " + FormatNumber(max);
        },
        "");
}

void AddPlay(CLI::App& play, PlayOptions& options) {
    play.add_option("FILE", options.files)->required();
    play.add_option("--lead", options.leadMilliSec)->check(Between(MinLeadMilliSec, MaxLeadMilliSec));
    play.add_option("--volume", options.volume)->check(Between(0.0, 1.0));
    play.add_option("--balance", options.balance)->check(Between(0.0, 1.0));
    play.add_option("--seconds", options.seconds)->check(Between(MinSeconds, MaxSeconds));
    play.add_option("--report", options.reportPath);
    play.add_option("--heard", options.heardPath);
    play.add_option("--log", options.logPath);
    play.add_flag("--live", options.isLive);
    play.add_option("--trace", options.tracePath);
    play.add_option("--statistics", options.statisticsPath);
}

void AddRecord(CLI::App& record, RecordOptions& options) {
    record.add_option("OUT.wav", options.outPath)->required();
    record.add_option("--seconds", options.seconds)
        ->check(Between(MinSeconds, static_cast<double>(MaxTakeSeconds)));
    record.add_option("--report", options.reportPath);
    record.add_option("--sent", options.sentPath);
    record.add_option("--log", options.logPath);
}

void AddMeter(CLI::App& meter, MeterOptions& options) {
    meter.add_option("--seconds", options.seconds)->check(Between(MinSeconds, MaxSeconds));
    meter.add_option("--log", options.logPath);
}

/// Of the command given, or of all.
std::string FormatHelp(CLI::App const& app) {
    std::vector<CLI::App*> const given = app.get_subcommands();
    if (!given.empty()) {
        return given.front()->get_description();
    }
    std::string text = Usage;
    for (CLI::App const* const command : app.get_subcommands({})) {
        text += "\n" + command->get_description();
    }
    return text;
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
    CLI::App app("", "audiohost");
    app.require_subcommand(1);
    // Also on Windows: a path may begin with a slash.
    app.allow_windows_style_options(false);
    // Whoever starts the program for somebody puts defaults in front of that person's own words.
    app.option_defaults()->take_last();
    CLI::App* const play = app.add_subcommand("play", PlayHelp);
    CLI::App* const record = app.add_subcommand("record", RecordHelp);
    CLI::App* const meter = app.add_subcommand("meter", MeterHelp);
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
        result.text = FormatHelp(app);
    } catch (CLI::ParseError const& error) {
        result.code = ExitCode_t::Usage;
        result.text = Complain(error);
    }
    return result;
}

} // namespace AudioHost
