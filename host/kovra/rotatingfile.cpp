#include "rotatingfile.h"

#include <system_error>

namespace Kovra {

RotatingFile::RotatingFile(std::string const& path, LogFileLimits const& limits)
    : path_(std::filesystem::u8path(path)), limits_(limits), stream_(path_, std::ios::app) {
    std::error_code error;
    std::uintmax_t const bytes = std::filesystem::file_size(path_, error);
    bytes_ = error ? 0 : bytes;
}

void RotatingFile::Write(std::string const& line) {
    std::uint64_t const bytes = line.size() + 1;
    if (bytes_ > 0 && bytes_ + bytes > limits_.fullBytes) {
        Rotate();
    }
    // A disk that was full may have room again.
    stream_.clear();
    stream_ << line << '\n';
    bytes_ += bytes;
}

void RotatingFile::Rotate() {
    std::error_code ignored;
    stream_.close();
    if (limits_.oldFiles == 0) {
        std::filesystem::remove(path_, ignored);
    }
    for (unsigned int age = limits_.oldFiles; age > 0; --age) {
        std::filesystem::rename(GetName(age - 1), GetName(age), ignored);
    }
    stream_.open(path_, std::ios::app);
    // Also when the file could not be put aside, because somebody reads it: the next try comes when it has
    // grown by as much again.
    bytes_ = 0;
}

std::filesystem::path RotatingFile::GetName(unsigned int age) const {
    std::filesystem::path name = path_;
    if (age > 0) {
        name += "." + std::to_string(age);
    }
    return name;
}

} // namespace Kovra
