#include "logsinks.h"

#include <algorithm>
#include <boost/core/null_deleter.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <system_error>
#include <utility>

#include "logfolds.h"
#include "rotatingfile.h"

namespace Kovra {

namespace {

namespace bl = boost::log;

/// Boost.Log's own backend for files keeps no fixed name for the one that is written.
class FileBackend
    : public bl::sinks::basic_formatted_sink_backend<
          char, bl::sinks::combine_requirements<bl::sinks::synchronized_feeding, bl::sinks::flushing>::type> {
public:
    void SetFile(std::unique_ptr<RotatingFile> file) { file_ = std::move(file); }

    void consume(bl::record_view const&, std::string const& line) {
        if (file_) {
            file_->Write(line);
        }
    }
    void flush() {
        if (file_) {
            file_->Flush();
        }
    }

private:
    std::unique_ptr<RotatingFile> file_;
};

using ConsoleBackend = bl::sinks::text_ostream_backend;
template <class Backend>
using Sink = bl::sinks::synchronous_sink<Backend>;
using BoostLogger = bl::sources::severity_channel_logger<LogLevel_t, std::string>;

// The attribute names of Boost.Log's own loggers.
char const* const SeverityName = "Severity";
char const* const ChannelName = "Channel";
char const* const MessageName = "Message";
// Ours, on each record.
char const* const TimeName = "Time";
char const* const ThreadName = "Thread";
char const* const SubjectName = "Subject";
char const* const LocationName = "Location";

/// "2026-02-03T04:05:06.789Z".
std::string FormatTime(SysTime time) {
    static boost::posix_time::ptime const Epoch(boost::gregorian::date(1970, 1, 1));
    auto const milliSec = boost::posix_time::milliseconds(time.NanoSec() / NanoSecPerMilliSec);
    boost::posix_time::ptime const instant = Epoch + milliSec;
    auto const date = instant.date().year_month_day();
    auto const clock = instant.time_of_day();
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year),
                  static_cast<int>(date.month), static_cast<int>(date.day), static_cast<int>(clock.hours()),
                  static_cast<int>(clock.minutes()), static_cast<int>(clock.seconds()),
                  static_cast<int>(clock.total_milliseconds() % 1000));
    return text;
}

/// "rendereraudio.cpp:12 Media::RendererAudio::Initialize".
std::string FormatLocation(LogRecord const& record) {
    return record.file + ":" + std::to_string(record.line) + " " + record.function;
}

char const* GetLevelName(LogLevel_t level) {
    switch (level) {
        case LogLevel_t::Debug:
            return "debug";
        case LogLevel_t::Info:
            return "info";
        case LogLevel_t::Warning:
            return "warning";
        case LogLevel_t::Error:
            return "error";
        case LogLevel_t::Off:
            break;
    }
    return "?";
}

/// `text` with its line breaks turned into blanks.
std::string ToOneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

/// " [Media.Pipeline.Worker session 3]", or as much of it as there is.
std::string FormatOrigin(bl::record_view const& record) {
    auto origin = bl::extract_or_default<std::string>(ThreadName, record, std::string());
    auto const subject = bl::extract_or_default<std::uint64_t>(SubjectName, record, std::uint64_t{0});
    if (subject != 0) {
        origin += (origin.empty() ? "session " : " session ") + std::to_string(subject);
    }
    return origin.empty() ? origin : " [" + origin + ']';
}

/// One line: time, level, channel, thread and session in brackets if any, text, location in parentheses if
/// any.
void FormatLine(bl::record_view const& record, bl::formatting_ostream& line) {
    line << FormatTime(bl::extract_or_default<SysTime>(TimeName, record, SysTime())) << ' '
         << GetLevelName(bl::extract_or_default<LogLevel_t>(SeverityName, record, LogLevel_t::Off)) << ' '
         << bl::extract<std::string>(ChannelName, record) << FormatOrigin(record);
    line << ' ' << ToOneLine(bl::extract_or_default<std::string>(MessageName, record, std::string()));
    if (auto const location = bl::extract<std::string>(LocationName, record); !location.get().empty()) {
        line << " (" << location << ')';
    }
}

/// Lets through what is of `level` and above. Records of other users of Boost.Log have no such severity.
template <class Backend>
boost::shared_ptr<Sink<Backend>> AddSink(LogLevel_t const& level) {
    auto sink = boost::make_shared<Sink<Backend>>(boost::make_shared<Backend>());
    sink->set_filter([&level](bl::attribute_value_set const& values) {
        auto const severity = bl::extract<LogLevel_t>(SeverityName, values);
        return severity && severity.get() >= level;
    });
    sink->set_formatter(&FormatLine);
    bl::core::get()->add_sink(sink);
    return sink;
}

template <class Value>
void Insert(bl::record& record, char const* name, Value const& value) {
    record.attribute_values().insert(name, bl::attributes::make_attribute_value(value));
}

} // namespace

/// The sinks stay registered whether they let anything through or not: with no sink at all, Boost.Log would
/// print on its own account.
struct LogSinks::State {
    void Write(LogRecord const& record);

    LogLevel_t consoleLevel = LogLevel_t::Off;
    LogLevel_t fileLevel = LogLevel_t::Off;
    boost::shared_ptr<Sink<ConsoleBackend>> console = AddSink<ConsoleBackend>(consoleLevel);
    boost::shared_ptr<Sink<FileBackend>> file = AddSink<FileBackend>(fileLevel);
    BoostLogger logger;
    LogFolds folds{[this](LogRecord const& record) { Write(record); }};

    /// Held while Boost.Log is at work, and when its static objects are about to end.
    std::mutex lock;
    // guarded by lock
    bool hasEnded = false;
};

LogSinks::LogSinks() : state_(std::make_unique<State>()) {
    // A record that is opened and dropped brings the static objects of Boost.Log to life, before those of the
    // library that is about to get its first logger: they then outlive them, and static destructors can log.
    BoostLogger().open_record(bl::keywords::severity = LogLevel_t::Off);
    state_->console->locked_backend()->add_stream(
        boost::shared_ptr<std::ostream>(&std::cerr, boost::null_deleter()));
#ifndef _WIN32
    // Where the log's thread goes on while static objects end. On Windows the system has stopped it by then,
    // wherever it was, and nobody can wait for it.
    static State* const ending = state_.get();
    std::atexit([] {
        std::lock_guard<std::mutex> const guard(ending->lock);
        ending->hasEnded = true;
    });
#endif
}

LogSinks::~LogSinks() {
    bl::core::get()->remove_sink(state_->console);
    bl::core::get()->remove_sink(state_->file);
}

void LogSinks::SetConsole(LogLevel_t level) {
    state_->consoleLevel = level;
}

bool LogSinks::SetFile(std::string const& path, LogFileLimits const& limits) {
    std::unique_ptr<RotatingFile> file;
    if (!path.empty()) {
        try {
            file = std::make_unique<RotatingFile>(path, limits);
        } catch (std::system_error const&) {
            return false;
        }
        if (!file->IsOpen()) {
            return false;
        }
    }
    state_->fileLevel = file ? LogLevel_t::Debug : LogLevel_t::Off;
    state_->file->locked_backend()->SetFile(std::move(file));
    return true;
}

LogLevel_t LogSinks::GetLowestLevel() const {
    return std::min(state_->consoleLevel, state_->fileLevel);
}

void LogSinks::Add(LogRecord const& record) {
    if (record.level >= GetLowestLevel()) {
        state_->folds.Add(record);
    }
}

void LogSinks::CloseFolds() {
    state_->folds.Close();
}

void LogSinks::Flush() {
    state_->console->flush();
    state_->file->flush();
}

void LogSinks::State::Write(LogRecord const& record) {
    std::lock_guard<std::mutex> const guard(lock);
    if (hasEnded) {
        return;
    }
    bl::record opened =
        logger.open_record((bl::keywords::channel = record.channel, bl::keywords::severity = record.level));
    if (!opened) {
        return;
    }
    Insert(opened, TimeName, record.wallTime);
    Insert(opened, ThreadName, record.threadName);
    Insert(opened, SubjectName, record.subject);
    Insert(opened, LocationName, record.file.empty() ? std::string() : FormatLocation(record));
    Insert(opened, MessageName, record.message);
    logger.push_record(std::move(opened));
}

} // namespace Kovra
