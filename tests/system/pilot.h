#pragma once

struct IDirectSound8;
struct IDirectSoundBuffer;

namespace SystemTest {

/// Plays the pilot's sound (`pilotsound.h`) on the right of the output that the module plays to, without the
/// module, as long as it lives. Under Wine all of a process's sounds are mixed by one thread: what disturbs
/// that or anything behind it breaks the pilot as well.
///
/// **Threads:** one at a time.
class Pilot {
public:
    /// Throws `std::runtime_error` when there is no sound output.
    Pilot();
    ~Pilot();
    Pilot(Pilot const&) = delete;
    Pilot& operator=(Pilot const&) = delete;

private:
    IDirectSound8* sound_ = nullptr;
    IDirectSoundBuffer* buffer_ = nullptr;
};

} // namespace SystemTest
