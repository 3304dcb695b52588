#pragma once

#include <memory>

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

private:
    struct Release {
        void operator()(IDirectSound8* sound) const;
        void operator()(IDirectSoundBuffer* buffer) const;
    };

    std::unique_ptr<IDirectSound8, Release> sound_;
    /// Released before its sound.
    std::unique_ptr<IDirectSoundBuffer, Release> buffer_;
};

} // namespace SystemTest
