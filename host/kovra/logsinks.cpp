#include "logsinks.h"

#include <atomic>
#include <boost/core/null_deleter.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>

namespace Kovra {

namespace {

namespace bl = boost::log;

using Backend = bl::sinks::text_ostream_backend;
using Sink = bl::sinks::synchronous_sink<Backend>;
using BoostLogger = bl::sources::severity_channel_logger_mt<LogLevel_t, std::string>;

// The attribute names of Boost.Log's own loggers.
char const* const SeverityName = "Severity";
char const* const ChannelName = "Channel";
char const* const MessageName = "Message";
// Ours, on each record.
char const* const TimeName = "Time";
char const* const ThreadName = "Thread";
char const* const LocationName = "Location";

/// "2026-02-03T04:05:06.789Z".
std::string FormatTime(SysTime time) {
    constexpr std::int64_t NanoSecInMilliSec = 1'000'000;
    static boost::posix_time::ptime const Epoch(boost::gregorian::date(1970, 1, 1));
    auto const milliSec = boost::posix_time::milliseconds(time.NanoSec() / NanoSecInMilliSec);
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
    return std::string(record.file) + ":" + std::to_string(record.line) + " " +
           (record.function ? record.function : "");
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
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    return text;
}

/// One line: time, level, channel, thread in brackets if it has a name, text, location in parentheses if any.
void FormatLine(bl::record_view const& record, bl::formatting_ostream& line) {
    line << FormatTime(bl::extract_or_default<SysTime>(TimeName, record, SysTime())) << ' '
         << GetLevelName(bl::extract_or_default<LogLevel_t>(SeverityName, record, LogLevel_t::Off)) << ' '
         << bl::extract<std::string>(ChannelName, record);
    if (auto const thread = bl::extract<std::string>(ThreadName, record); !thread.get().empty())
        line << " [" << thread << ']';
    line << ' ' << ToOneLine(bl::extract_or_default<std::string>(MessageName, record, std::string()));
    if (auto const location = bl::extract<std::string>(LocationName, record); !location.get().empty())
        line << " (" << location << ')';
}

/// Lets through what is of `level` and above. Records of other users of Boost.Log have no such severity.
boost::shared_ptr<Sink> AddSink(std::atomic<LogLevel_t> const& level) {
    auto const backend = boost::make_shared<Backend>();
    backend->auto_flush(true);
    auto sink = boost::make_shared<Sink>(backend);
    sink->set_filter([&level](bl::attribute_value_set const& values) {
        auto const severity = bl::extract<LogLevel_t>(SeverityName, values);
        return severity && severity.get() >= level.load(std::memory_order_relaxed);
    });
    sink->set_formatter(&FormatLine);
    bl::core::get()->add_sink(sink);
    return sink;
}

template <class Value>
void Insert(bl::record& record, char const* name, Value const& value) {
    record.attribute_values().insert(name, bl::attributes::make_attribute_value(value));
}

class BoostSource : public LogSource {
public:
    explicit BoostSource(std::string const& channel) : logger_(bl::keywords::channel = channel) {}

    void Write(LogRecord const& record) override {
        // A record that cannot be written must not bring down who logs. That is certain to happen to those of
        // the last static destructors, when Boost.Log's own statics are gone.
        try {
            WriteOrThrow(record);
        } catch (...) {
        }
    }

private:
    void WriteOrThrow(LogRecord const& record) {
        bl::record opened = logger_.open_record(bl::keywords::severity = record.level);
        if (!opened)
            return;
        Insert(opened, TimeName, SysTime::Now());
        Insert(opened, ThreadName, record.threadName);
        Insert(opened, LocationName, record.file ? FormatLocation(record) : std::string());
        Insert(opened, MessageName, record.message);
        logger_.push_record(std::move(opened));
    }

    BoostLogger logger_;
};

} // namespace

/// The sinks stay registered whether they let anything through or not: with no sink at all, Boost.Log would
/// print on its own account.
struct LogSinks::State {
    std::atomic<LogLevel_t> consoleLevel{LogLevel_t::Off};
    std::atomic<LogLevel_t> fileLevel{LogLevel_t::Off};
    boost::shared_ptr<Sink> console = AddSink(consoleLevel);
    boost::shared_ptr<Sink> file = AddSink(fileLevel);
    boost::shared_ptr<std::ostream> fileStream;
};

LogSinks::LogSinks() : state_(std::make_unique<State>()) {
    // A record that is opened and dropped brings the static objects of Boost.Log to life, before those of the
    // library that is about to get its first logger: they then outlive them, and static destructors can log.
    BoostLogger().open_record(bl::keywords::severity = LogLevel_t::Off);

    state_->console->locked_backend()->add_stream(
        boost::shared_ptr<std::ostream>(&std::cerr, boost::null_deleter()));
}

LogSinks::~LogSinks() {
    bl::core::get()->remove_sink(state_->console);
    bl::core::get()->remove_sink(state_->file);
}

void LogSinks::SetConsole(LogLevel_t level) {
    state_->consoleLevel.store(level, std::memory_order_relaxed);
}

bool LogSinks::SetFile(std::string const& path) {
    boost::shared_ptr<std::ostream> stream;
    if (!path.empty()) {
        stream = boost::make_shared<std::ofstream>(path, std::ios::app);
        if (!stream->good())
            return false;
    }
    auto const backend = state_->file->locked_backend();
    if (state_->fileStream)
        backend->remove_stream(state_->fileStream);
    if (stream)
        backend->add_stream(stream);
    state_->fileLevel.store(stream ? LogLevel_t::Debug : LogLevel_t::Off, std::memory_order_relaxed);
    state_->fileStream = std::move(stream);
    return true;
}

std::unique_ptr<LogSource> LogSinks::MakeSource(std::string const& channel) {
    return std::make_unique<BoostSource>(channel);
}

} // namespace Kovra
