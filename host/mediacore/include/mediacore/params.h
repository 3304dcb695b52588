#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <utility>
#include <vector>

#include "mediacore/export.h"

namespace Media {

/// How the bytes of an audio frame are to be read.
enum class MediaCoding_t : std::uint32_t {
    /// Signed 16-bit little-endian samples, channels interleaved.
    RawPcm = 0x300,
    /// ITU-T G.711, 8 bits a sample; `ParamsAud` tells the law.
    G711 = 0x301,
    /// ITU-T G.726, 2 to 5 bits a sample; `ParamsAud` tells how many.
    G726 = 0x302,
    /// MPEG-1 and MPEG-2 audio, layers I to III, one coded frame each.
    MpegAudio = 0x303,
    /// AAC: ADTS frames, or raw frames whose AudioSpecificConfig stands in `ParamsAud`.
    Aac = 0x304,
    /// Opus packets (RFC 6716).
    Opus = 0x305,
};

/// Companding laws of G.711.
enum class G711Law_t : std::uint8_t { MuLaw, ALaw };

/// Parameters of an audio stream that all its frames share.
///
/// **Threads:** set up by one thread before frames carry it; read by any after that.
/// **Ownership:** counted, through `boost::intrusive_ptr`.
class MEDIACORE_API ParamsAud {
public:
    explicit ParamsAud(MediaCoding_t coding);
    virtual ~ParamsAud();
    ParamsAud(ParamsAud const&) = delete;
    ParamsAud& operator=(ParamsAud const&) = delete;

    /// `frequency` in Hz, `channels` interleaved in each frame, `bits` a sample (of the coded sample, for
    /// G.711 and G.726). Any value is stored: whoever uses them checks them.
    void SetParamsAud(std::uint32_t frequency, std::uint32_t channels, std::uint32_t bits);
    void SetLaw(G711Law_t law) { law_ = law; }
    /// Out-of-band decoder set-up, copied: AudioSpecificConfig for AAC, OpusHead for Opus. Empty for none.
    void SetDecoderConfig(std::vector<std::uint8_t> config) { decoderConfig_ = std::move(config); }

    MediaCoding_t GetCoding() const { return coding_; }
    std::uint32_t GetFrequency() const { return frequency_; }
    std::uint32_t GetNumChannels() const { return channels_; }
    std::uint32_t GetBitsPerSample() const { return bits_; }
    G711Law_t GetLaw() const { return law_; }
    std::vector<std::uint8_t> const& GetDecoderConfig() const { return decoderConfig_; }

    friend MEDIACORE_API void intrusive_ptr_add_ref(ParamsAud const* params);
    friend MEDIACORE_API void intrusive_ptr_release(ParamsAud const* params);

private:
    MediaCoding_t const coding_;
    std::uint32_t frequency_ = 0;
    std::uint32_t channels_ = 0;
    std::uint32_t bits_ = 0;
    G711Law_t law_ = G711Law_t::MuLaw;
    std::vector<std::uint8_t> decoderConfig_;
    mutable std::atomic<std::uint32_t> references_{0};
};

MEDIACORE_API void intrusive_ptr_add_ref(ParamsAud const* params);
MEDIACORE_API void intrusive_ptr_release(ParamsAud const* params);

/// Parameters of raw PCM.
class MEDIACORE_API ParamsAudRaw : public ParamsAud {
public:
    ParamsAudRaw();
    ~ParamsAudRaw() override;
};

} // namespace Media
