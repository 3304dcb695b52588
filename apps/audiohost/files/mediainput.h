#pragma once

#include <istream>
#include <memory>
#include <string>

#include "files/ffmpegpointers.h"

namespace AudioHost {

/// A media file, or the bytes of one.
struct MediaInput {
    // Not explicit: a path is an input.
    MediaInput(std::string path_) : path(std::move(path_)) {}
    MediaInput(char const* path_) : path(path_) {}

    /// In UTF-8; with bytes their name, for people.
    std::string path;
    /// Null: those of the file.
    std::shared_ptr<std::string const> bytes;
};

/// All of `in`, as standard input. Throws `HostError` (`NotAudio`) when there is nothing, or more than
/// `maxBytes`.
MediaInput ReadToEnd(std::istream& in, std::size_t maxBytes);

/// Opens the input for reading, which only `containers` may be in. Null when it is none of them.
FormatPointer OpenFormat(MediaInput const& input, char const* containers);

} // namespace AudioHost
