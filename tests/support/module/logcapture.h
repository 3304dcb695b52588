#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "kovra/log.h"

namespace UnitTest {

/// Collects every log record while it lives: what was pushed before a look is there. **Threads:** any.
class LogCapture {
public:
    LogCapture() {
        Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) {
            std::lock_guard<std::mutex> const guard(lock_);
            records_.push_back(record);
        });
    }
    ~LogCapture() { Kovra::LogManager::Instance().SetObserver({}); }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<Kovra::LogRecord> GetRecords() const {
        Kovra::LogManager::Instance().Flush();
        std::lock_guard<std::mutex> const guard(lock_);
        return records_;
    }

    /// The messages, in order.
    std::vector<std::string> GetTexts() const {
        std::vector<std::string> texts;
        for (auto const& record : GetRecords()) {
            texts.push_back(record.message);
        }
        return texts;
    }

    void Clear() {
        Kovra::LogManager::Instance().Flush();
        std::lock_guard<std::mutex> const guard(lock_);
        records_.clear();
    }

private:
    mutable std::mutex lock_;
    std::vector<Kovra::LogRecord> records_;
};

} // namespace UnitTest
