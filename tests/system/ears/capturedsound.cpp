#include "ears/capturedsound.h"

#include <algorithm>

namespace SystemTest {

namespace {

using Listening::SampleView;

/// 1 ms: by so many samples a place in a noise is known.
constexpr std::int64_t KeySamples = 48;

/// Where in `sound` the key that begins at `at` of `stream` lies; the sound's size when nowhere.
std::int64_t FindKey(SampleView sound, SampleView stream, std::int64_t at) {
    SampleView const key = stream.Cut(at, KeySamples);
    return std::search(sound.begin(), sound.end(), key.begin(), key.end()) - sound.begin();
}

std::int64_t CountLeadingSilence(SampleView sound) {
    return std::find_if(sound.begin(), sound.end(), [](std::int16_t sample) { return sample != 0; }) -
           sound.begin();
}

bool IsSilent(SampleView sound) {
    return std::all_of(sound.begin(), sound.end(), [](std::int16_t sample) { return sample == 0; });
}

} // namespace

CapturedSound FollowSound(SampleView sound, SampleView stream) {
    auto const size = static_cast<std::int64_t>(sound.GetSize());
    auto const streamSize = static_cast<std::int64_t>(stream.GetSize());
    CapturedSound captured;
    std::int64_t next = CountLeadingSilence(sound);
    std::int64_t at = CountLeadingSilence(stream);
    captured.begin = at - next;
    while (next < size) {
        while (next < size && at < streamSize &&
               stream[static_cast<std::size_t>(at)] == sound[static_cast<std::size_t>(next)]) {
            ++at;
            ++next;
            ++captured.heard;
        }
        if (next == size) {
            break;
        }
        CaptureBreak found;
        found.place = at;
        std::int64_t goesOn = size;
        for (; at < streamSize && goesOn == size; at += goesOn == size ? 1 : 0) {
            if (stream[static_cast<std::size_t>(at)] == 0) {
                ++found.silent;
            } else {
                goesOn = FindKey(sound, stream, at);
                found.foreign += goesOn == size ? 1 : 0;
            }
        }
        found.lost = goesOn - next;
        // Silence in the sound cannot be told from silence put in.
        if (found.lost > 0 && found.lost < KeySamples && IsSilent(sound.Cut(next, found.lost))) {
            found.lost = 0;
        }
        if (found.lost != 0 || found.foreign != 0 || found.silent != 0) {
            captured.breaks.push_back(found);
        }
        next = goesOn;
    }
    return captured;
}

} // namespace SystemTest
