#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "kovra/log.h"

namespace Kovra {

/// A file of lines that is put aside when it is full, see `LogFileLimits`.
///
/// **Threads:** one at a time.
class RotatingFile {
public:
    /// Opens the file at `path` (UTF-8, else `std::system_error` on Windows), to go on at its end.
    RotatingFile(std::string const& path, LogFileLimits const& limits);

    bool IsOpen() const { return stream_.is_open(); }
    void Write(std::string const& line);
    void Flush() { stream_.flush(); }

private:
    void Rotate();
    /// The name of what has been put aside `age` times.
    std::filesystem::path GetName(unsigned int age) const;

    std::filesystem::path const path_;
    LogFileLimits const limits_;
    std::ofstream stream_;
    std::uint64_t bytes_ = 0;
};

} // namespace Kovra
