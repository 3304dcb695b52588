#pragma once

#include <cstddef>
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
/// **Threads:** any thread may push at any time. The record's text is made and put into a queue; nothing is
/// written, flushed or shown to the observer by the thread that pushes.
class KOVRA_API Logger {
public:
    virtual ~Logger();
    /// Never throws. A record that finds the queue full, or no memory, is lost and counted.
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

/// A record as observers get it. All in it is its own: the library that pushed it may be unloaded by then.
struct LogRecord {
    std::string channel;
    LogLevel_t level = LogLevel_t::Debug;
    std::string message;
    /// Empty, empty and 0 when the site gave no location.
    std::string file;
    std::string function;
    int line = 0;
    /// The instant of the push, on both clocks.
    JiffyTime time;
    SysTime wallTime;
    /// Name of the pushing thread (`SetThreadName`), empty for an unnamed one.
    std::string threadName;
    /// What that thread worked for (`LogSubject`), 0 for nothing. Console and file show it: "session 3".
    std::uint64_t subject = 0;
};

/// Says for which session its thread works while it lives, in a number of the host's own that the thread's
/// records carry: whoever reads them cannot tell by the thread. The inner of two holds; 0 is no session.
///
/// **Threads:** to be ended by the thread that made it.
class KOVRA_API LogSubject {
public:
    explicit LogSubject(std::uint64_t subject);
    ~LogSubject();
    LogSubject(LogSubject const&) = delete;
    LogSubject& operator=(LogSubject const&) = delete;

private:
    std::uint64_t const outer_;
};

/// `text` with # for every number in it: what records of one kind have in common.
KOVRA_API std::string HideNumbers(std::string const& text);

/// When a log file is full, and how many are kept: `path` then becomes `path`.1, `path`.1 becomes `path`.2,
/// and so on; what would be one more than `oldFiles` goes.
struct LogFileLimits {
    std::uint64_t fullBytes = std::uint64_t{16} << 20U;
    unsigned int oldFiles = 4;
};

/// Records that may wait for the log's thread; what comes while so many do is lost. More than a second of
/// one record a frame from every session that a machine can play.
constexpr std::size_t MaxWaitingLogRecords = 4096;

/// The process-wide registry of channels and sinks, on Boost.Log severity-and-channel loggers. No sink is
/// there at first: a library that only logs prints nothing. It is never destroyed: libraries may log from
/// their static initialisers and destructors, but what is pushed after the static objects of Boost.Log have
/// ended reaches the observer only.
///
/// **Threads:** all operations from any thread. Console, file and observer are served by one thread of the
/// log's own, "Kovra.Log", which the first `Set...` starts (`std::system_error` when the system has none).
/// The `Set...` operations and `Flush` wait for it, and so for an observer that runs: do not call them with a
/// lock held that an observer takes, nor under the system's loader lock (static initialisers and destructors
/// of a DLL, `DllMain`). Records of one thread keep their order.
///
/// **End:** call `Flush` at the end of `main`. Nobody joins the thread: a process that ends stops it where it
/// is.
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

    /// Sends records of `level` and above to the standard error stream, one line each; `Off` ends it. Like
    /// the file and the observer, it gets what is pushed from now on, and what was pushed before still goes
    /// where it went.
    void SetConsole(LogLevel_t level);

    /// Appends every enabled record to the file at `path` (UTF-8), one line each. False when the file cannot
    /// be opened; the earlier file then stays in use. An empty path ends it.
    ///
    /// In file and console, records of one session that are alike but for the numbers in them are folded: the
    /// first one is written at once, the others as one line every ten seconds, the latest text with " ... 357
    /// times in 10 s".
    bool SetFile(std::string const& path, LogFileLimits const& limits = LogFileLimits());

    /// Called with every enabled record, on the log's thread, one record at a time; an empty function ends
    /// it. When this returns, no call of the previous observer is running or will run; called by that
    /// observer itself, it returns at once, and the call that made it is the last. Records that the observer
    /// pushes are not shown to it; what it throws is dropped.
    void SetObserver(std::function<void(LogRecord const&)> observer);

    /// Returns when all that was pushed before has reached console, file and observer, with what was folded
    /// written out. An observer that calls it does nothing by it.
    void Flush();

    /// Records lost so far because the queue was full or memory was short. Each time, a record of the channel
    /// "Kovra.Log" takes the place of those lost, and tells how many they were.
    std::uint64_t CountLost() const;

    LogManager(LogManager const&) = delete;
    LogManager& operator=(LogManager const&) = delete;

private:
    LogManager();
    ~LogManager();

    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Kovra
