#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kovra/export.h"
#include "kovra/time.h"

namespace Kovra {

/// Severities, the more verbose first.
enum class LogLevel_t : int {
    Debug = 0,
    Info = 1,
    Warning = 2,
    Error = 3,
    /// Not a severity of records: as a threshold it turns a channel off.
    Off = 4,
};

/// A place in the sources that a record names. The texts are borrowed and must be literals.
struct CodeLocation {
    constexpr CodeLocation(char const* file_, char const* function_, int line_)
        : file(file_), function(function_), line(line_) {}

    char const* file;
    char const* function;
    int line;
};

/// One record in the making: a printf-style text, fed its arguments one by one with `%`.
///
/// A place is a `%`, then flags, width, precision and length as `printf` knows them (no `*`), then a letter.
/// An argument is written by its own type, whatever sign or length the place claims: in hexadecimal for x and
/// X, octal for o, else decimal. `%%` is a percent sign; any other `%` is plain text. A text with more places
/// than arguments keeps the empty places as they are written, one with fewer ignores the rest; nothing throws
/// but `std::bad_alloc`.
class KOVRA_API LogExec {
public:
    LogExec(LogLevel_t level, char const* format);
    ~LogExec();
    LogExec(LogExec const&) = delete;
    LogExec& operator=(LogExec const&) = delete;

    LogExec& operator%(int argument);
    LogExec& operator%(unsigned int argument);
    LogExec& At(CodeLocation const& location);

    LogLevel_t GetLevel() const { return level_; }
    /// The text with every argument fed so far in its place.
    std::string GetMessage() const;
    /// Null when the site gives none.
    CodeLocation const* GetLocation() const { return hasLocation_ ? &location_ : nullptr; }

private:
    LogLevel_t level_;
    std::string done_;
    char const* rest_;
    bool hasLocation_ = false;
    CodeLocation location_{nullptr, nullptr, 0};
};

/// Where a channel's finished records go. Made by `LogManager` only.
///
/// **Threads:** any thread may push at any time.
class KOVRA_API Logger {
public:
    virtual ~Logger();
    virtual void Push(LogExec const& record) = 0;
};

/// The one object through which a source file logs: asks whether a level is wanted, then hands out the
/// logger to push to.
///
/// **Threads:** all operations from any thread.
class KOVRA_API LoggerFacade {
public:
    virtual ~LoggerFacade();

    /// True when a record of `level` on this channel would reach a sink.
    virtual bool IsEnabled(LogLevel_t const& level) const = 0;
    virtual Logger& get() const = 0;
    virtual std::string const& GetChannel() const = 0;
};

/// A record as observers get it.
struct LogRecord {
    std::string channel;
    LogLevel_t level = LogLevel_t::Debug;
    std::string message;
    /// Null, null and 0 when the site gave no location.
    char const* file = nullptr;
    char const* function = nullptr;
    int line = 0;
    /// The monotonic instant of the push.
    JiffyTime time;
    /// Name of the pushing thread (`SetThreadName`), empty for an unnamed one.
    std::string threadName;
};

/// The process-wide registry of channels and sinks, on Boost.Log severity-and-channel loggers. No sink is
/// there at first: a library that only logs prints nothing. It is never destroyed: libraries may log from
/// their static initialisers and destructors, but what is pushed after the static objects of Boost.Log have
/// ended reaches the observer only.
///
/// **Threads:** all operations from any thread.
class KOVRA_API LogManager {
public:
    static LogManager& Instance();

    /// The facade of `channel`, made at the first call and shared by all later ones. `parent` and
    /// `configuration` are the host's own business and may be null and empty: this library ignores both.
    std::shared_ptr<LoggerFacade> GetLogger(char const* channel, LoggerFacade const* parent,
                                            std::string const& configuration);

    /// Names of all channels fetched so far, sorted.
    std::vector<std::string> GetChannels() const;

    /// Records below `level` on `channel` are not made. Every channel starts at `Debug`.
    void SetLevel(std::string const& channel, LogLevel_t level);

    /// Sends records of `level` and above to the standard error stream, one line each; `Off` ends it.
    void SetConsole(LogLevel_t level);

    /// Appends every enabled record to a file, one line each, flushed at each record. False when the file
    /// cannot be opened; the earlier file then stays in use. An empty path ends it.
    bool SetFile(std::string const& path);

    /// Called with every enabled record, on the pushing thread, one record at a time; an empty function
    /// ends it. When the call returns, no call of the previous observer is running or will run (but for the
    /// one that made the call itself). Records that the observer pushes are not shown to it; what it throws
    /// is dropped.
    void SetObserver(std::function<void(LogRecord const&)> observer);

    LogManager(LogManager const&) = delete;
    LogManager& operator=(LogManager const&) = delete;

private:
    LogManager();
    ~LogManager();

    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Kovra
