#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "kovra/log.h"
#include "kovra/time.h"

namespace KovraTest {

// 2023-11-14 22:13:20.125 UTC
constexpr std::int64_t SomeInstantNanoSec = 1'700'000'000'125'000'000;
/// How a line of that instant begins.
constexpr char const* LineTime = "2023-11-14T22:13:20.125Z ";

/// The wall clock stands still, the monotonic one where it is put.
class SetClock : public Kovra::ClockSource {
public:
    std::int64_t SystemNanoSec() const override { return SomeInstantNanoSec; }
    std::int64_t MonotonicNanoSec() const override { return monotonicNanoSec; }

    std::atomic<std::int64_t> monotonicNanoSec{77};
};

inline std::shared_ptr<Kovra::LoggerFacade> GetLogger(char const* channel) {
    return Kovra::LogManager::Instance().GetLogger(channel, nullptr, std::string());
}

inline void Push(Kovra::LoggerFacade const& facade, Kovra::LogLevel_t level, std::string const& text) {
    facade.get().Push(Kovra::LogExec(level, text.c_str()));
}

/// What is in the file at `path` (UTF-8) when all is written that was pushed.
inline std::string ReadLog(std::string const& path) {
    Kovra::LogManager::Instance().Flush();
    std::ifstream file(std::filesystem::u8path(path));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// No output at the beginning and at the end, and a clock of its own.
class LogTest : public testing::Test {
protected:
    LogTest() { Kovra::SetClockSource(&clock); }

    ~LogTest() override {
        manager.SetObserver({});
        manager.SetConsole(Kovra::LogLevel_t::Off);
        manager.SetFile("");
        Kovra::SetClockSource(nullptr);
    }

    void Observe() {
        manager.SetObserver([this](Kovra::LogRecord const& record) { seen.push_back(record.message); });
    }

    /// The texts that the observer has seen of all that was pushed.
    std::vector<std::string> const& GetSeen() {
        manager.Flush();
        return seen;
    }

    /// The path (UTF-8) of a log file that is not there yet, nor what may be put aside of it.
    static std::string MakePath(std::string const& name) {
        std::string const path = testing::TempDir() + "kovra_" + name + ".log";
        for (char const* const age : {"", ".1", ".2", ".3"}) {
            std::filesystem::remove_all(std::filesystem::u8path(path + age));
        }
        return path;
    }

    SetClock clock;
    Kovra::LogManager& manager = Kovra::LogManager::Instance();
    std::vector<std::string> seen;
};

} // namespace KovraTest
