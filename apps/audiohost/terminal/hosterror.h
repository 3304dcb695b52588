#pragma once

#include <stdexcept>
#include <string>

namespace AudioHost {

/// What the program ends with, for scripts. `help` lists them for people.
enum class ExitCode_t : int {
    Ok = 0,
    Internal = 1,
    Usage = 2,
    FileMissing = 3,
    NotAudio = 4,
    NoSound = 5,
    NoOutput = 6,
    NoInput = 7,
    NotWritten = 8,
    WentBadly = 9,
    OutputGlitch = 10,
    NoStream = 11,
    Interrupted = 130,
};

/// Ends a command: one clear sentence for the person and the exit code that belongs to it.
class HostError : public std::runtime_error {
public:
    HostError(ExitCode_t code, std::string const& sentence) : std::runtime_error(sentence), code_(code) {}

    ExitCode_t GetCode() const { return code_; }

private:
    ExitCode_t code_;
};

} // namespace AudioHost
