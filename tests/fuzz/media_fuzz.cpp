// Any bytes as a media file, opened and read as `audiohost play` does. Nothing may crash, leak or take memory
// without bounds; what cannot be played is told by a `HostError` and by nothing else; frames are such that
// they can be timed.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "files/mediafile.h"
#include "terminal/hosterror.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

constexpr std::int64_t BaseNanoSec = 1'000'000'000'000;
/// Ten seconds of what the host cuts itself. More comes of small files only where a few bytes stand for much
/// sound.
constexpr int MaxFrames = 500;
/// A minute: more than any packet stands for.
constexpr std::size_t MaxFrameSamples = 60 * Listening::SoundRateHz;
constexpr std::int64_t MaxPositionNanoSec = 24 * Listening::NanoSecPerHour;

void Require(bool isRight, char const* what) {
    if (!isRight) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

/// A file without a place on any disk.
class FileInMemory {
public:
    FileInMemory(std::uint8_t const* data, std::size_t size) : descriptor_(memfd_create("media", 0)) {
        Require(descriptor_ >= 0 && write(descriptor_, data, size) == static_cast<ssize_t>(size),
                "no file in memory");
    }
    ~FileInMemory() { close(descriptor_); }
    FileInMemory(FileInMemory const&) = delete;
    FileInMemory& operator=(FileInMemory const&) = delete;

    std::string GetPath() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

void Check(AudioHost::MediaFrame const& next) {
    Require(next.positionNanoSec >= 0 && next.positionNanoSec <= MaxPositionNanoSec, "position out of range");
    Require(next.durationNanoSec > 0 && next.durationNanoSec <= MaxPositionNanoSec, "duration out of range");
    Require(next.frame->GetTimestamp().NanoSec() == BaseNanoSec + next.positionNanoSec,
            "timestamp elsewhere");
    Require(next.frame->GetConstBufferBegin() && next.frame->GetConstBufferBegin()->GetLength() > 0,
            "frame without data");
    Require(next.sound.size() <= MaxFrameSamples, "sound without bounds");
}

void Read(std::string const& path) {
    AudioHost::MediaFile file(path, Kovra::SysTime(BaseNanoSec));
    Require(file.GetDurationNanoSec() >= 0, "negative duration");
    Require(!file.GetDescription().empty(), "no description");
    AudioHost::MediaFrame next;
    for (int i = 0; i < MaxFrames && file.ReadFrame(next); ++i) {
        Check(next);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    av_log_set_level(AV_LOG_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FileInMemory const file(data, size);
    try {
        Read(file.GetPath());
    } catch (AudioHost::HostError const&) {
        // Which sentence it is, the tests of the host know.
    }
    return 0;
}
