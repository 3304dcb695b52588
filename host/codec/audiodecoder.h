#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ffmpegowners.h"
#include "mediacore/frame.h"
#include "pcmframe.h"

namespace Media {

/// The coded bytes of one frame with libavcodec's zeroed padding behind them.
struct CodedBytes {
    std::vector<std::uint8_t> padded;

    std::size_t GetCount() const { return padded.size() - AV_INPUT_BUFFER_PADDING_SIZE; }
};

/// Everything about a stream that its decoder is set up with.
struct DecoderSetup {
    explicit DecoderSetup(ParamsAud const& params);

    bool operator==(DecoderSetup const& other) const;

    MediaCoding_t coding;
    PcmFormat format;
    /// Bits of a coded sample.
    std::uint32_t bits;
    G711Law_t law;
    std::vector<std::uint8_t> config;
};

/// An open libavcodec decoder of one stream and the conversion of what it gives to interleaved 16-bit PCM.
///
/// **Threads:** one at a time.
class AudioDecoder {
public:
    /// Null when the set-up has no decoder or parameters that cannot be. Throws `std::bad_alloc`.
    ///
    /// G.711 and G.726 need a rate and channel count (G.726: mono) and their bits a sample (8; 2 to 5). The
    /// other codings describe themselves: 0 Hz, 0 channels and any bits are fine there.
    static std::unique_ptr<AudioDecoder> Open(DecoderSetup const& setup);

    bool IsOpenFor(DecoderSetup const& setup) const { return setup_ == setup; }

    /// Decodes one frame's bytes and appends what comes out, each with `ident`: nothing when the decoder
    /// refuses the bytes; it can be used on. Throws `std::bad_alloc`.
    void Decode(CodedBytes const& bytes, FrameIdent const& ident, FrameList& decoded);

private:
    AudioDecoder(DecoderSetup setup, CodecContextOwner context);

    void DecodeCodedFrame(std::uint8_t const* bytes, std::size_t byteCount, FrameIdent const& ident,
                          FrameList& decoded);
    void AppendPcm(FrameIdent const& ident, FrameList& decoded);
    bool PrepareConversion(PcmFormat format, AVSampleFormat sampleFormat);

    DecoderSetup const setup_;
    CodecContextOwner const context_;
    PacketOwner const packet_;
    AvFrameOwner const frame_;
    /// Sample format conversion only; no rate, no mixing. Made at the first frame and when it changes.
    SwrOwner conversion_;
    PcmFormat conversionFormat_;
    AVSampleFormat conversionSampleFormat_ = AV_SAMPLE_FMT_NONE;
};

} // namespace Media
