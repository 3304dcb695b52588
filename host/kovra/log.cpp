#include "kovra/log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <mutex>

#include "kovra/thread.h"
#include "logsinks.h"

namespace Kovra {

namespace {

using Observer = std::function<void(LogRecord const&)>;

LogRecord MakeRecord(std::string const& channel, LogExec const& made) {
    LogRecord record;
    record.channel = channel;
    record.level = made.GetLevel();
    record.message = made.GetMessage();
    if (CodeLocation const* const location = made.GetLocation()) {
        record.file = location->file;
        record.function = location->function;
        record.line = location->line;
    }
    record.time = JiffyTime::Now();
    record.threadName = GetThreadName();
    return record;
}

/// The lowest level that any output wants, in one word: it is read on paths that run for every frame.
class Demand {
public:
    enum Output_t : std::size_t { Console, File, Observer, Outputs };

    bool Includes(LogLevel_t level) const { return level >= lowest_.load(std::memory_order_relaxed); }

    void Set(Output_t output, LogLevel_t level) {
        std::lock_guard<std::mutex> const guard(lock_);
        levels_[output] = level;
        lowest_.store(*std::min_element(levels_.begin(), levels_.end()), std::memory_order_relaxed);
    }

private:
    std::mutex lock_;
    // guarded by lock_
    std::array<LogLevel_t, Outputs> levels_{LogLevel_t::Off, LogLevel_t::Off, LogLevel_t::Off};
    // shared without a lock
    std::atomic<LogLevel_t> lowest_{LogLevel_t::Off};
};

/// Shows records to the observer, one at a time. Not a sink of Boost.Log: thread checkers have to be told to
/// overlook what happens below its calls, and an observer is not to be overlooked.
class Watch {
public:
    explicit Watch(Demand& demand) : demand_(demand) {}

    void Set(Observer observer) {
        auto next = observer ? std::make_shared<Observer const>(std::move(observer)) : nullptr;
        std::lock_guard<std::recursive_mutex> const guard(lock_);
        // Exchanged, so that the previous one ends after the lock is released.
        observer_.swap(next);
        demand_.Set(Demand::Observer, observer_ ? LogLevel_t::Debug : LogLevel_t::Off);
    }

    void Tell(LogRecord const& record) {
        std::lock_guard<std::recursive_mutex> const guard(lock_);
        if (!observer_ || isTelling_)
            return;
        // An observer may put another in its place while it runs.
        std::shared_ptr<Observer const> const observer = observer_;
        isTelling_ = true;
        try {
            (*observer)(record);
        } catch (...) {
        }
        isTelling_ = false;
    }

private:
    Demand& demand_;
    // Recursive, because an observer may call anything that logs.
    std::recursive_mutex lock_;
    // guarded by lock_
    std::shared_ptr<Observer const> observer_;
    bool isTelling_ = false;
};

/// What all channels share.
struct Outputs {
    Demand demand;
    Watch watch{demand};
    LogSinks sinks;
};

class Channel : public LoggerFacade {
public:
    Channel(std::string const& name, LogLevel_t level, Outputs& outputs)
        : name_(name), level_(level), outputs_(outputs), logger_(*this) {}

    bool IsEnabled(LogLevel_t const& level) const override {
        return level >= level_.load(std::memory_order_relaxed) && outputs_.demand.Includes(level) &&
               level < LogLevel_t::Off;
    }

    Logger& get() const override { return logger_; }
    std::string const& GetChannel() const override { return name_; }

    void SetLevel(LogLevel_t level) { level_.store(level, std::memory_order_relaxed); }

private:
    class ChannelLogger : public Logger {
    public:
        explicit ChannelLogger(Channel& channel)
            : channel_(channel), source_(channel.outputs_.sinks.MakeSource(channel.name_)) {}

        void Push(LogExec const& made) override {
            if (!channel_.IsEnabled(made.GetLevel()))
                return;
            LogRecord const record = MakeRecord(channel_.name_, made);
            channel_.outputs_.watch.Tell(record);
            source_->Write(record);
        }

    private:
        Channel& channel_;
        std::unique_ptr<LogSource> const source_;
    };

    std::string const name_;
    std::atomic<LogLevel_t> level_;
    Outputs& outputs_;
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

struct LogManager::State {
    Outputs outputs;
    // Keeps a setting of the sinks and the demand for it together.
    std::mutex settingLock;

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
    if (!entry.channel)
        entry.channel = std::make_shared<Channel>(name, entry.level, state_->outputs);
    return entry.channel;
}

std::vector<std::string> LogManager::GetChannels() const {
    std::lock_guard<std::mutex> const guard(state_->channelsLock);
    std::vector<std::string> names;
    for (auto const& [name, entry] : state_->channels) {
        if (entry.channel)
            names.push_back(name);
    }
    return names;
}

void LogManager::SetLevel(std::string const& channel, LogLevel_t level) {
    std::lock_guard<std::mutex> const guard(state_->channelsLock);
    ChannelEntry& entry = state_->channels[channel];
    entry.level = level;
    if (entry.channel)
        entry.channel->SetLevel(level);
}

void LogManager::SetConsole(LogLevel_t level) {
    std::lock_guard<std::mutex> const guard(state_->settingLock);
    state_->outputs.sinks.SetConsole(level);
    state_->outputs.demand.Set(Demand::Console, level);
}

bool LogManager::SetFile(std::string const& path) {
    std::lock_guard<std::mutex> const guard(state_->settingLock);
    if (!state_->outputs.sinks.SetFile(path))
        return false;
    state_->outputs.demand.Set(Demand::File, path.empty() ? LogLevel_t::Off : LogLevel_t::Debug);
    return true;
}

void LogManager::SetObserver(std::function<void(LogRecord const&)> observer) {
    state_->outputs.watch.Set(std::move(observer));
}

} // namespace Kovra
