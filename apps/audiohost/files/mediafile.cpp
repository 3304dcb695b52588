#include "files/mediafile.h"

#include <stdexcept>

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

std::string CodingName(AVCodecID id) {
    switch (id) {
        case AV_CODEC_ID_AAC:
            return "AAC";
        case AV_CODEC_ID_PCM_MULAW:
            return "G.711 mu-law";
        case AV_CODEC_ID_PCM_ALAW:
            return "G.711 A-law";
        case AV_CODEC_ID_MP3:
            return "MP3";
        case AV_CODEC_ID_MP2:
            return "MP2";
        case AV_CODEC_ID_OPUS:
            return "Opus";
        case AV_CODEC_ID_VORBIS:
            return "Vorbis";
        case AV_CODEC_ID_FLAC:
            return "FLAC";
        case AV_CODEC_ID_PCM_S16LE:
            return "16-bit PCM";
        case AV_CODEC_ID_PCM_S24LE:
            return "24-bit PCM";
        default:
            return avcodec_get_name(id);
    }
}

std::string Describe(AVCodecParameters const& stream, bool isCoded) {
    int const channels = stream.ch_layout.nb_channels;
    std::string const layout = channels == 1   ? "mono"
                               : channels == 2 ? "stereo"
                                               : std::to_string(channels) + " channels";
    return CodingName(stream.codec_id) + ", " + std::to_string(stream.sample_rate) + " Hz, " + layout +
           (isCoded ? ", decoded by the renderer" : ", handed over as 48 kHz mono PCM");
}

} // namespace

MediaFile::MediaFile(MediaInput const& input, Kovra::SysTime base)
    : name_(FileNameOf(input.path)),
      packets_(input),
      maker_(CreateMaker(packets_, base, input.path, name_)),
      description_(Describe(packets_.GetParameters(), maker_->IsCoded())) {}

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
