#include "terminal/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iomanip>
#include <sstream>

#include "terminal/streamaddress.h"

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
constexpr char const* TalkHelp =
#include "terminal/help/talk.txt"
    ;
constexpr char const* CompareHelp =
#include "terminal/help/compare.txt"
    ;
constexpr char const* DevicesHelp =
#include "terminal/help/devices.txt"
    ;
constexpr char const* DoctorHelp =
#include "terminal/help/doctor.txt"
    ;
constexpr char const* Usage =
    "usage: audiohost COMMAND [OPTION...] [FILE...]\n"
    "       audiohost --version\n"
    "Plays, records and sends sound through the media pipeline and the audio renderer.\n"
    "Of an option given twice the last one counts.\n";

constexpr int MinLeadMilliSec = 40;
constexpr int MaxLeadMilliSec = 2000;

constexpr double MinToneHz = 20.0;
constexpr double MaxToneHz = 20'000.0;

/// Three seconds of noise and one for its way back; an hour is good for hundredths of a ppm.
constexpr double MinCheckupSeconds = 4.0;
constexpr double MaxCheckupSeconds = 3600.0;

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

std::vector<double> ReadTones(std::string const& text) {
    std::vector<double> tones;
    for (std::string& part : CLI::detail::split(text, ',')) {
        std::string const complaint = Between(MinToneHz, MaxToneHz)(part);
        if (!complaint.empty()) {
            throw CLI::ValidationError("--tone", complaint);
        }
        CLI::detail::lexical_cast(part, tones.emplace_back());
    }
    return tones;
}

/// `words` are those that the command knows.
FailOn ReadFailOn(std::string const& text, std::vector<std::string> const& words) {
    std::vector<std::string> const parts = CLI::detail::split(text, ',');
    for (std::string const& part : parts) {
        if (std::find(words.begin(), words.end(), part) == words.end()) {
            throw CLI::ValidationError("--fail-on", part + " is none of " + CLI::detail::join(words, ", "));
        }
    }
    auto const has = [&parts](char const* word) {
        return std::find(parts.begin(), parts.end(), word) != parts.end();
    };
    if (has("nothing") && parts.size() > 1) {
        throw CLI::ValidationError("--fail-on", "nothing stands alone");
    }
    return {has("sound"), has("time"), has("level")};
}

void AddFailOn(CLI::App& command, FailOn& failOn, std::vector<std::string> const& words) {
    command.add_option_function<std::string>(
        "--fail-on", [&failOn, words](std::string const& text) { failOn = ReadFailOn(text, words); });
}

TalkCodec_t ReadCodec(std::string const& text) {
    std::vector<std::pair<std::string, TalkCodec_t>> const codecs = {{"pcmu", TalkCodec_t::Pcmu},
                                                                     {"pcma", TalkCodec_t::Pcma},
                                                                     {"aac", TalkCodec_t::Aac},
                                                                     {"opus", TalkCodec_t::Opus}};
    for (auto const& [word, codec] : codecs) {
        if (text == word) {
            return codec;
        }
    }
    throw CLI::ValidationError("--codec", text + " is none of pcmu, pcma, aac, opus");
}

void AddTarget(CLI::App& command, TalkTarget& target) {
    command.add_option_function<std::string>(
        "--codec", [&target](std::string const& text) { target.codec = ReadCodec(text); });
    command.add_option("--sdp", target.sdpPath);
}

void AddTelling(CLI::App& command, Telling& telling) {
    CLI::Option* const quiet = command.add_flag("-q,--quiet", telling.isQuiet)->disable_flag_override();
    command.add_flag("-v,--verbose", telling.isVerbose)->disable_flag_override()->excludes(quiet);
}

void AddJson(CLI::App& command, Telling& telling) {
    command.add_flag("--json", telling.isJson)->disable_flag_override();
}

void AddPlay(CLI::App& play, PlayOptions& options) {
    play.add_option("FILE", options.files);
    play.add_option_function<std::string>(
        "--tone", [&options](std::string const& text) { options.tonesHz = ReadTones(text); });
    play.add_flag("--noise", options.hasNoise)->disable_flag_override();
    play.add_flag("--then", options.isSequence)->disable_flag_override();
    play.add_flag("--loop", options.isLoop)->disable_flag_override();
    play.add_flag("--tcp", options.isTcp)->disable_flag_override();
    play.add_option("--lead", options.leadMilliSec)->check(Between(MinLeadMilliSec, MaxLeadMilliSec));
    play.add_option("--volume", options.volume)->check(Between(0.0, 1.0));
    play.add_option("--balance", options.balance)->check(Between(0.0, 1.0));
    play.add_option("--seconds", options.seconds)->check(Between(MinSeconds, MaxSeconds));
    play.add_option("--report", options.reportPath);
    play.add_option("--heard", options.heardPath);
    play.add_option("--log", options.logPath);
    AddFailOn(play, options.failOn, {"sound", "time", "level", "nothing"});
    play.add_flag("--live", options.isLive)->disable_flag_override();
    play.add_option("--trace", options.tracePath);
    play.add_option("--statistics", options.statisticsPath);
    play.add_option("--talk", options.talk.address);
    AddTarget(play, options.talk);
}

void AddRecord(CLI::App& record, RecordOptions& options) {
    record.add_option("OUT.wav", options.outPath)->required();
    record.add_option("--seconds", options.seconds)
        ->check(Between(MinSeconds, static_cast<double>(MaxTakeSeconds)));
    record.add_option("--report", options.reportPath);
    record.add_option("--sent", options.sentPath);
    record.add_option("--log", options.logPath);
    AddFailOn(record, options.failOn, {"sound", "nothing"});
}

void AddMeter(CLI::App& meter, MeterOptions& options) {
    meter.add_option("--seconds", options.seconds)->check(Between(MinSeconds, MaxSeconds));
    meter.add_option("--log", options.logPath);
}

void AddTalk(CLI::App& talk, TalkOptions& options) {
    talk.add_option("rtp://HOST:PORT", options.target.address)->required();
    AddTarget(talk, options.target);
    talk.add_option("--seconds", options.seconds)
        ->check(Between(MinSeconds, static_cast<double>(MaxTakeSeconds)));
    talk.add_option("--log", options.logPath);
}

void AddCompare(CLI::App& compare, CompareOptions& options) {
    compare.add_option("BEFORE", options.beforePath)->required();
    compare.add_option("AFTER", options.afterPath)->required();
}

void AddDoctor(CLI::App& doctor, DoctorOptions& options) {
    doctor.add_option("--seconds", options.seconds)->check(Between(MinCheckupSeconds, MaxCheckupSeconds));
    doctor.add_option("--report", options.pagePath);
    doctor.add_option("--log", options.logPath);
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

/// Of what was named, some may be streams.
void FindStreams(CLI::App const& play, PlayOptions& options) {
    options.isLeadAdapted = play.count("--lead") == 0;
    auto const streams = std::stable_partition(options.files.begin(), options.files.end(),
                                               [](std::string const& name) { return !IsStream(name); });
    options.streams.assign(streams, options.files.end());
    options.files.erase(streams, options.files.end());
    if (!options.streams.empty() && (options.isSequence || options.isLoop)) {
        throw CLI::ValidationError(options.isLoop ? "--loop" : "--then", "a stream has no end to go on from");
    }
}

void RequireSound(PlayOptions const& options) {
    if (options.files.empty() && options.streams.empty() && options.tonesHz.empty() && !options.hasNoise) {
        throw CLI::RequiredError("FILE");
    }
}

void RequireTalk(CLI::App const& play, PlayOptions const& options) {
    for (char const* option : {"--codec", "--sdp"}) {
        if (play.count(option) > 0 && options.talk.address.empty()) {
            throw CLI::RequiresError(option, "--talk");
        }
    }
}

/// CLI11's own texts end without a hint; ours say where help is. It tells the arguments without quotation
/// marks, so that only they themselves show where a password ends.
std::string Complain(CLI::ParseError const& error, std::vector<std::string> const& arguments) {
    std::string text = error.what();
    for (std::string const& argument : arguments) {
        std::size_t const place = text.find(argument);
        if (place != std::string::npos) {
            text.replace(place, argument.size(), WithoutCredentials(argument));
        }
    }
    text = TextWithoutCredentials(text);
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text + "\nRun audiohost --help, or audiohost COMMAND --help, for the options.";
}

} // namespace

std::string FormatVersion() {
    return "audiohost " RENDERERAUDIO_VERSION;
}

CommandLine ReadCommandLine(std::vector<std::string> const& arguments) {
    CommandLine result;
    PlayOptions playOptions;
    RecordOptions recordOptions;
    MeterOptions meterOptions;
    TalkOptions talkOptions;
    CompareOptions compareOptions;
    DoctorOptions doctorOptions;
    CLI::App app("", "audiohost");
    app.require_subcommand(1);
    // Also on Windows: a path may begin with a slash.
    app.allow_windows_style_options(false);
    // Whoever starts the program for somebody puts defaults in front of that person's own words.
    app.option_defaults()->take_last();
    CLI::App* const play = app.add_subcommand("play", PlayHelp);
    CLI::App* const record = app.add_subcommand("record", RecordHelp);
    CLI::App* const meter = app.add_subcommand("meter", MeterHelp);
    CLI::App* const talk = app.add_subcommand("talk", TalkHelp);
    CLI::App* const devices = app.add_subcommand("devices", DevicesHelp);
    CLI::App* const doctor = app.add_subcommand("doctor", DoctorHelp);
    AddPlay(*play, playOptions);
    AddRecord(*record, recordOptions);
    AddMeter(*meter, meterOptions);
    AddTalk(*talk, talkOptions);
    CLI::App* const compare = app.add_subcommand("compare", CompareHelp);
    AddCompare(*compare, compareOptions);
    AddDoctor(*doctor, doctorOptions);
    for (CLI::App* const command : {play, record, meter, talk, devices, doctor}) {
        AddTelling(*command, result.telling);
    }
    for (CLI::App* const command : {play, record, devices, doctor}) {
        AddJson(*command, result.telling);
    }
    app.set_version_flag("--version", FormatVersion());

    // The parser takes its arguments from the back.
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
        if (play->parsed()) {
            FindStreams(*play, playOptions);
            RequireSound(playOptions);
            RequireTalk(*play, playOptions);
            result.play = playOptions;
        } else if (record->parsed()) {
            result.record = recordOptions;
        } else if (compare->parsed()) {
            result.compare = compareOptions;
        } else if (meter->parsed()) {
            result.meter = meterOptions;
        } else if (talk->parsed()) {
            result.talk = talkOptions;
        } else if (doctor->parsed()) {
            result.doctor = doctorOptions;
        } else {
            result.devices = NoOptions();
        }
    } catch (CLI::CallForHelp const&) {
        result.text = FormatHelp(app);
    } catch (CLI::CallForVersion const& version) {
        result.text = version.what();
    } catch (CLI::ParseError const& error) {
        result.code = ExitCode_t::Usage;
        result.text = Complain(error, arguments);
    }
    return result;
}

} // namespace AudioHost
