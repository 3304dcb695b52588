#include "kovra/log.h"

#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

#include "kovra/thread.h"
#include "logqueue.h"
#include "logsinks.h"

namespace Kovra {

namespace {

using Observer = std::function<void(LogRecord const&)>;

thread_local std::uint64_t threadSubject = 0;
static_assert(std::is_trivially_destructible_v<decltype(threadSubject)>);

/// Adds to the times of `record` what needs memory.
void FillRecord(std::string const& channel, LogExec const& made, LogRecord& record) {
    record.channel = channel;
    record.level = made.GetLevel();
    record.message = made.GetMessage();
    if (CodeLocation const* const location = made.GetLocation()) {
        record.file = location->file ? location->file : "";
        record.function = location->function ? location->function : "";
        record.line = location->line;
    }
    record.threadName = GetThreadName();
    record.subject = threadSubject;
}

/// Where records go.
///
/// **Threads:** the log's, but for `Wants`.
class Outputs : public LogQueue::Consumer {
public:
    /// Asked for on paths that run for every frame.
    bool Wants(LogLevel_t level) const { return level >= lowest_.load(std::memory_order_relaxed); }

    void SetConsole(LogLevel_t level) {
        sinks_.SetConsole(level);
        Note();
    }

    bool SetFile(std::string const& path, LogFileLimits const& limits) {
        bool const isSet = sinks_.SetFile(path, limits);
        Note();
        return isSet;
    }

    void SetObserver(Observer observer) {
        // Kept to the end of its call when it is the previous one that calls this.
        observer_ = observer ? std::make_shared<Observer const>(std::move(observer)) : nullptr;
        Note();
    }

    void Take(LogRecord const& record) noexcept override {
        Try([&] {
            if (std::shared_ptr<Observer const> const observer = observer_) {
                (*observer)(record);
            }
        });
        Write(record);
    }

    void Write(LogRecord const& record) noexcept {
        Try([&] { sinks_.Add(record); });
    }

    void Pause() noexcept override {
        Try([&] { sinks_.Flush(); });
    }

    void Flush() noexcept override {
        Try([&] { sinks_.CloseFolds(); });
        Pause();
    }

private:
    /// What an output throws is its own loss: the others, and the thread, go on.
    template <class Call>
    static void Try(Call call) noexcept {
        try {
            call();
        } catch (...) {
        }
    }

    void Note() {
        LogLevel_t const lowest = observer_ ? LogLevel_t::Debug : sinks_.GetLowestLevel();
        lowest_.store(lowest, std::memory_order_relaxed);
    }

    std::shared_ptr<Observer const> observer_;
    LogSinks sinks_;
    // shared without a lock
    std::atomic<LogLevel_t> lowest_{LogLevel_t::Off};
};

/// What all channels share.
struct Log {
    Outputs outputs;
    LogQueue queue{outputs};
};

class Channel : public LoggerFacade {
public:
    Channel(std::string const& name, LogLevel_t level, Log& log)
        : name_(name), level_(level), log_(log), logger_(*this) {}

    bool IsEnabled(LogLevel_t const& level) const override {
        return level >= level_.load(std::memory_order_relaxed) && log_.outputs.Wants(level) &&
               level < LogLevel_t::Off;
    }

    Logger& get() const override { return logger_; }
    std::string const& GetChannel() const override { return name_; }

    void SetLevel(LogLevel_t level) { level_.store(level, std::memory_order_relaxed); }

private:
    class ChannelLogger : public Logger {
    public:
        explicit ChannelLogger(Channel& channel) : channel_(channel) {}

        void Push(LogExec const& made) override {
            if (channel_.IsEnabled(made.GetLevel())) {
                channel_.Push(made);
            }
        }

    private:
        Channel& channel_;
    };

    void Push(LogExec const& made) const noexcept {
        LogRecord record;
        bool isComplete = true;
        try {
            record.time = JiffyTime::Now();
            record.wallTime = SysTime::Now();
            FillRecord(name_, made, record);
        } catch (...) {
            // Without memory, or with a clock of the host's that fails.
            isComplete = false;
        }
        if (!LogQueue::IsOwnThread()) {
            log_.queue.Push(std::move(record), isComplete);
        } else if (isComplete) {
            log_.outputs.Write(record);
        }
    }

    std::string const name_;
    std::atomic<LogLevel_t> level_;
    Log& log_;
    mutable ChannelLogger logger_;
};

/// A channel's threshold may be set before its first logger is fetched.
struct ChannelEntry {
    LogLevel_t level = LogLevel_t::Debug;
    std::shared_ptr<Channel> channel;
};

} // namespace

Logger::~Logger() = default;

LoggerFacade::~LoggerFacade() = default;

LogSubject::LogSubject(std::uint64_t subject) : outer_(std::exchange(threadSubject, subject)) {}

LogSubject::~LogSubject() {
    threadSubject = outer_;
}

std::string HideNumbers(std::string const& text) {
    std::string hidden;
    bool wasDigit = false;
    for (char const letter : text) {
        bool const isDigit = letter >= '0' && letter <= '9';
        if (!isDigit) {
            hidden += letter;
        } else if (!wasDigit) {
            hidden += '#';
        }
        wasDigit = isDigit;
    }
    return hidden;
}

struct LogManager::State {
    Log log;

    mutable std::mutex channelsLock;
    // guarded by channelsLock
    std::map<std::string, ChannelEntry> channels;
};

LogManager& LogManager::Instance() {
    // Never destroyed: libraries log from their static destructors, in an order that nobody controls.
    static LogManager* const instance = new LogManager;
    return *instance;
}

LogManager::LogManager() : state_(std::make_unique<State>()) {}

LogManager::~LogManager() = default;

std::shared_ptr<LoggerFacade> LogManager::GetLogger(char const* channel, LoggerFacade const*,
                                                    std::string const&) {
    std::string const name = channel ? channel : "";
    std::lock_guard<std::mutex> const guard(state_->channelsLock);
    ChannelEntry& entry = state_->channels[name];
    if (!entry.channel) {
        entry.channel = std::make_shared<Channel>(name, entry.level, state_->log);
    }
    return entry.channel;
}

std::vector<std::string> LogManager::GetChannels() const {
    std::lock_guard<std::mutex> const guard(state_->channelsLock);
    std::vector<std::string> names;
    for (auto const& [name, entry] : state_->channels) {
        if (entry.channel) {
            names.push_back(name);
        }
    }
    return names;
}

void LogManager::SetLevel(std::string const& channel, LogLevel_t level) {
    std::lock_guard<std::mutex> const guard(state_->channelsLock);
    ChannelEntry& entry = state_->channels[channel];
    entry.level = level;
    if (entry.channel) {
        entry.channel->SetLevel(level);
    }
}

void LogManager::SetConsole(LogLevel_t level) {
    state_->log.queue.Execute([&] {
        state_->log.outputs.Flush();
        state_->log.outputs.SetConsole(level);
    });
}

bool LogManager::SetFile(std::string const& path, LogFileLimits const& limits) {
    bool isSet = false;
    state_->log.queue.Execute([&] {
        state_->log.outputs.Flush();
        isSet = state_->log.outputs.SetFile(path, limits);
    });
    return isSet;
}

void LogManager::SetObserver(std::function<void(LogRecord const&)> observer) {
    state_->log.queue.Execute([&] { state_->log.outputs.SetObserver(std::move(observer)); });
}

void LogManager::Flush() {
    state_->log.queue.Flush();
}

std::uint64_t LogManager::CountLost() const {
    return state_->log.queue.CountLost();
}

} // namespace Kovra
