#pragma once

#include <memory>
#include <string>

#include "kovra/log.h"

namespace Kovra {

/// Where the records of one channel enter Boost.Log.
///
/// **Threads:** any.
class LogSource {
public:
    virtual ~LogSource() = default;
    virtual void Write(LogRecord const& record) = 0;
};

/// The console and the file that records go to, on Boost.Log. Everything of Boost.Log stands behind this
/// class, because its headers are slow to compile.
///
/// **Threads:** any; the two settings one at a time.
class LogSinks {
public:
    LogSinks();
    ~LogSinks();
    LogSinks(LogSinks const&) = delete;
    LogSinks& operator=(LogSinks const&) = delete;

    /// As `LogManager::SetConsole`.
    void SetConsole(LogLevel_t level);
    /// As `LogManager::SetFile`.
    bool SetFile(std::string const& path);
    std::unique_ptr<LogSource> MakeSource(std::string const& channel);

private:
    struct State;
    std::unique_ptr<State> const state_;
};

} // namespace Kovra
