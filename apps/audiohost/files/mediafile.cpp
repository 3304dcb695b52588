#include "files/mediafile.h"

#include <stdexcept>

#include "files/codedframes.h"
#include "listening/soundlevel.h"
#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

/// A-law has no zero: its smallest value decodes to 8, a silent file holds nothing else, and the resampler
/// overshoots a little where it starts.
constexpr int SilencePeakLsb = 16;

std::unique_ptr<FrameMaker> CreateMaker(PacketSource& packets, Kovra::SysTime base, std::string const& path,
                                        std::string const& name) {
    try {
        return CreateFrameMaker(packets, base, name);
    } catch (std::runtime_error const&) {
        throw HostError(ExitCode_t::NotAudio, "'" + path + "' is in a coding that cannot be decoded here.");
    }
}

} // namespace

MediaFile::MediaFile(MediaInput const& input, Kovra::SysTime base)
    : name_(FileNameOf(input.path)),
      packets_(input),
      maker_(CreateMaker(packets_, base, input.path, name_)),
      description_(DescribeCoding(packets_.GetParameters(), maker_->IsCoded())) {}

void RequireSound(MediaInput const& input) {
    std::string const& path = input.path;
    MediaFile file(input, Kovra::SysTime(1));
    bool hasSamples = false;
    MediaFrame frame;
    while (file.ReadFrame(frame)) {
        hasSamples = hasSamples || !frame.sound.empty();
        if (Listening::Peak(frame.sound) > SilencePeakLsb) {
            return;
        }
    }
    if (file.HasReadData() && !hasSamples) {
        throw HostError(ExitCode_t::NotAudio, "'" + path + "' is damaged: nothing in it can be decoded.");
    }
    throw HostError(ExitCode_t::NoSound, hasSamples ? "'" + path + "' holds only silence."
                                                    : "'" + path + "' ends before its first sample.");
}

Listening::Samples ReadSound(MediaInput const& input) {
    MediaFile file(input, Kovra::SysTime(1));
    Listening::Samples sound;
    MediaFrame frame;
    while (file.ReadFrame(frame)) {
        sound.insert(sound.end(), frame.sound.begin(), frame.sound.end());
    }
    return sound;
}

} // namespace AudioHost
