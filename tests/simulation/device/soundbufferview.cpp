// The test's side of the sound buffer.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "simulation/device/soundbuffer.h"
#include "simulation/win32/fatal.h"

namespace Simulation {

std::uint32_t SoundBuffer::PlayByte() const {
    PlatformLock const lock(PlatformMutex());
    CursorClock cursor = cursor_;
    cursor.AdvanceTo(Now());
    return ByteOf(cursor.Frame());
}

std::uint32_t SoundBuffer::PlayFrame() const {
    return PlayByte() / format_.nBlockAlign;
}

void SoundBuffer::CheckMayRead(char const* what) const {
    if (ring_.HasForeignLock()) {
        machine_.ReportMisuse(std::string(what) + " while another thread has the sound buffer locked");
    }
}

bool SoundBuffer::Holds(std::uint32_t offset, std::uint8_t const* bytes, std::uint32_t count) const {
    PlatformLock const lock(PlatformMutex());
    CheckMayRead("Holds");
    return offset <= ring_.Size() && count <= ring_.Size() - offset &&
           std::memcmp(ring_.Data() + offset, bytes, count) == 0;
}

std::int16_t SoundBuffer::SampleAt(std::uint32_t index) const {
    return Samples(index, 1).front();
}

std::vector<std::int16_t> SoundBuffer::Samples(std::uint32_t first, std::uint32_t count) const {
    PlatformLock const lock(PlatformMutex());
    CheckMayRead("Samples");
    return ring_.Samples(first, count);
}

bool SoundBuffer::IsSilent(std::uint32_t first, std::uint32_t count) const {
    std::vector<std::int16_t> const samples = Samples(first, count);
    return std::all_of(samples.begin(), samples.end(), [](std::int16_t sample) { return sample == 0; });
}

void SoundBuffer::Write(std::uint32_t first, std::vector<std::int16_t> const& samples) {
    PlatformLock const lock(PlatformMutex());
    CheckMayRead("Write");
    CatchUp();
    std::uint32_t const total = ring_.Size() / RingMemory::SampleBytes;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::uint8_t bytes[RingMemory::SampleBytes];
        std::memcpy(bytes, &samples[i], RingMemory::SampleBytes);
        auto const index = static_cast<std::uint32_t>((first + i) % total);
        ring_.Write(index * RingMemory::SampleBytes, bytes, RingMemory::SampleBytes);
    }
}

void SoundBuffer::Lose() {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    Halt();
    isLost_ = true;
}

Speaker& SoundBuffer::EnableSpeaker() {
    PlatformLock const lock(PlatformMutex());
    if (format_.wBitsPerSample != 16) {
        Fatal("only 16-bit sound buffers can be heard");
    }
    if (speaker_ == nullptr) {
        CatchUp();
        ring_.KeepCopy();
        // The frame under the cursor began before anyone listened, unless it begins at this instant.
        nextUnheardFrame_ = cursor_.Frame() + (cursor_.IsAtFrameStart() ? 0 : 1);
        speaker_ = std::make_unique<Speaker>(format_.nChannels);
    }
    return *speaker_;
}

Speaker& SoundBuffer::GetSpeaker() {
    PlatformLock const lock(PlatformMutex());
    if (speaker_ == nullptr) {
        Fatal("GetSpeaker without EnableSpeaker");
    }
    CatchUp();
    return *speaker_;
}

} // namespace Simulation
