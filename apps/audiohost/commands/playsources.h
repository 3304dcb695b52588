#pragma once

#include <istream>
#include <memory>
#include <vector>

#include "files/soundsource.h"
#include "live/livestream.h"
#include "terminal/options.h"

namespace AudioHost {

/// What each session plays: files first, then the tone, then the noise. Every file has been looked into.
/// Throws `HostError` (`FileMissing`, `NotAudio`, `NoSound`, `Usage`). `in` is standard input.
std::vector<std::unique_ptr<SoundSource>> OpenSources(PlayOptions const& options, std::istream* in);

/// Starts to open the streams that were asked for, all at once.
std::vector<std::unique_ptr<LiveStream>> OpenStreams(PlayOptions const& options);

} // namespace AudioHost
