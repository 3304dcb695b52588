#pragma once

#include <memory>
#include <string>

#include "kovra/log.h"

namespace Kovra {

/// The console and the file that records go to, folded, on Boost.Log. Everything of Boost.Log stands behind
/// this class, because its headers are slow to compile.
///
/// **Threads:** one at a time.
class LogSinks {
public:
    LogSinks();
    ~LogSinks();
    LogSinks(LogSinks const&) = delete;
    LogSinks& operator=(LogSinks const&) = delete;

    /// As `LogManager::SetConsole`.
    void SetConsole(LogLevel_t level);
    /// As `LogManager::SetFile`.
    bool SetFile(std::string const& path, LogFileLimits const& limits);
    /// The lowest level that console or file let through.
    LogLevel_t GetLowestLevel() const;

    void Add(LogRecord const& record);
    /// Writes what folding holds back.
    void CloseFolds();
    void Flush();

private:
    struct State;
    std::unique_ptr<State> const state_;
};

} // namespace Kovra
