#include "codec/audiocodecproxy.h"

#include <utility>

#include "audiodecoder.h"
#include "audioresampler.h"
#include "pcmframe.h"

extern "C" {
#include <libavutil/log.h>
}

namespace Media {

namespace {

/// Larger than any coded frame: Opus ends at 61 KB, a second of G.711 in eight channels at 48 kHz is 375 KiB.
/// More is a damaged length, and decoding multiplies it.
constexpr std::size_t MaxCodedFrameBytes = std::size_t{1024} * 1024;

/// Damaged frames are an everyday event that the caller sees in the result; libavcodec would write several
/// lines about each to the standard error stream. Its level is one for the whole process, so it is set once
/// and a host that wants to hear it can set it back.
void SilenceLibrariesOnce() {
    static bool const done = [] {
        av_log_set_level(AV_LOG_QUIET);
        return true;
    }();
    static_cast<void>(done);
}

PcmFormat FormatOf(FrameAud const& frame) {
    return {frame.GetFrequency(), frame.GetNumChannels()};
}

/// Where the samples that follow a raw frame of `sampleGroups` groups belong.
FrameIdent IdentBehind(FrameAud const& frame, std::size_t sampleGroups) {
    FrameIdent ident = frame.GetIdent();
    // Below 2^25 groups: no overflow.
    ident.time +=
        Kovra::SysTime(static_cast<std::int64_t>(sampleGroups) * Kovra::NanoSecPerSec / frame.GetFrequency());
    return ident;
}

} // namespace

struct AudioCodecProxy::State {
    void DecodeFrame(FrameAud const& frame, FrameList& decoded);
    void TranscodeFrame(FrameAud const& frame, PcmFormat target, FrameList& transcoded);
    void FlushResampler(PcmFormat target, FrameList& transcoded);

    std::unique_ptr<AudioDecoder> decoder;
    std::unique_ptr<AudioResampler> resampler;
    /// Identity of what the resampler holds back.
    FrameIdent tailIdent;
    /// Work memory, kept so that a frame need not allocate it.
    CodedBytes codedBytes;
    std::vector<std::uint8_t> rawBytes;
};

AudioCodecProxy::AudioCodecProxy() : state_(std::make_unique<State>()) {
    SilenceLibrariesOnce();
}

AudioCodecProxy::~AudioCodecProxy() = default;

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Decode(
    std::vector<std::shared_ptr<FrameAud>> const& frames) {
    FrameList decoded;
    for (auto const& frame : frames) {
        if (!frame) {
            continue;
        }
        if (frame->GetCoding() != MediaCoding_t::RawPcm) {
            state_->DecodeFrame(*frame, decoded);
        } else if (IsUsableRawFrame(*frame)) {
            decoded.push_back(frame);
        }
    }
    return decoded;
}

void AudioCodecProxy::State::DecodeFrame(FrameAud const& frame, FrameList& decoded) {
    std::size_t const byteCount = CountBytes(frame);
    if (byteCount == 0 || byteCount > MaxCodedFrameBytes) {
        return;
    }
    DecoderSetup const setup(frame.GetParams());
    if (!decoder || !decoder->IsOpenFor(setup)) {
        decoder = AudioDecoder::Open(setup);
    }
    if (!decoder) {
        return;
    }
    GatherBytes(frame, AV_INPUT_BUFFER_PADDING_SIZE, codedBytes.padded);
    decoder->Decode(codedBytes, frame.GetIdent(), decoded);
}

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Transcode(
    std::vector<std::shared_ptr<FrameAud>> const& frames, MediaCoding_t coding, unsigned char channels,
    unsigned int frequency, Kovra::SysTime /*duration*/, bool flush) {
    PcmFormat const target{frequency, channels};
    if (coding != MediaCoding_t::RawPcm || !IsUsable(target)) {
        return {};
    }
    FrameList transcoded;
    transcoded.reserve(frames.size() + (flush ? 1 : 0));
    for (auto const& frame : frames) {
        if (frame && IsUsableRawFrame(*frame)) {
            state_->TranscodeFrame(*frame, target, transcoded);
        }
    }
    if (flush) {
        state_->FlushResampler(target, transcoded);
    }
    return transcoded;
}

void AudioCodecProxy::State::TranscodeFrame(FrameAud const& frame, PcmFormat target, FrameList& transcoded) {
    PcmFormat const source = FormatOf(frame);
    if (!resampler || !resampler->IsFrom(source) || !resampler->IsTo(target)) {
        resampler = AudioResampler::Create(source, target);
    }
    if (!resampler) {
        return;
    }
    GatherBytes(frame, 0, rawBytes);
    std::size_t const sampleGroups = rawBytes.size() / BytesPerSampleGroup(source);
    PcmBlock const block = resampler->Convert(rawBytes.data(), sampleGroups);
    tailIdent = IdentBehind(frame, sampleGroups);
    if (block.sampleGroups != 0) {
        transcoded.push_back(MakePcmFrame(frame.GetIdent(), target, block));
    }
}

void AudioCodecProxy::State::FlushResampler(PcmFormat target, FrameList& transcoded) {
    auto const ending = std::move(resampler);
    if (!ending || !ending->IsTo(target)) {
        return;
    }
    PcmBlock const tail = ending->Flush();
    if (tail.sampleGroups != 0) {
        transcoded.push_back(MakePcmFrame(tailIdent, target, tail));
    }
}

} // namespace Media
