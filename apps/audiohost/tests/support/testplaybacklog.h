#pragma once

#include "play/playbacklog.h"

namespace AudioHost {

/// A session of two seconds: 100 frames, errors of 1 ms with every tenth 4 ms, a start and two changes of
/// frequency, 30 small gaps.
SessionLog MakeSession(std::string const& name);

/// One such session, lead 200 ms.
PlaybackLog MakeLog();

/// The same with sound and a recording of it that starts half a second early.
PlaybackLog MakeHeardLog();

} // namespace AudioHost
