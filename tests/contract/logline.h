#pragma once

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "support/module/logcapture.h"

namespace ContractTest {

/// What a record says, but when and on which thread.
struct LogLine {
    std::string channel;
    int level = 0;
    std::string message;
    /// Empty, empty and 0 when the record names no place in the sources.
    std::string file;
    std::string function;
    int line = 0;

    friend bool operator==(LogLine const& a, LogLine const& b) {
        return std::tie(a.channel, a.level, a.message, a.file, a.function, a.line) ==
               std::tie(b.channel, b.level, b.message, b.file, b.function, b.line);
    }
    friend std::ostream& operator<<(std::ostream& out, LogLine const& line) {
        return out << line.channel << ", level " << line.level << ": " << line.message << " [" << line.file
                   << ", " << line.function << ", " << line.line << "]";
    }
};

/// The records since the last look.
inline std::vector<LogLine> TakeLines(UnitTest::LogCapture& log) {
    std::vector<LogLine> lines;
    for (auto const& record : log.GetRecords()) {
        lines.push_back({record.channel, static_cast<int>(record.level), record.message, record.file,
                         record.function, record.line});
    }
    log.Clear();
    return lines;
}

} // namespace ContractTest
