#pragma once

#include <string>

#include "listening/samples.h"

namespace AudioHost {

/// The sound as a FLAC file, without a loss. Throws `std::runtime_error` when the encoder fails.
std::string EncodeFlac(Listening::SampleView sound);

} // namespace AudioHost
