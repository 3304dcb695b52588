#include "frames.h"

#include <cstring>
#include <utility>

#include "testencoder.h"

namespace SystemTest {

namespace {

using Listening::SampleView;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t RawFrameSamples = 960;
constexpr std::size_t TelephoneRateHz = 8000;
constexpr std::size_t TelephoneFrameSamples = 160;
constexpr std::size_t BlockAlignmentBytes = 16;
/// High enough that noise, the most that a codec can be asked for, comes out much as it went in.
constexpr int AacBitsPerSec = 256'000;

Kovra::BufferInfoListScoped MakeBuffers(void const* data, std::size_t bytes) {
    auto block = Kovra::Buffer::Create(bytes, BlockAlignmentBytes);
    std::memcpy(block->GetData(), data, bytes);
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(std::move(block), 0, static_cast<std::uint32_t>(bytes)));
    return list;
}

Media::FrameIdent MakeIdent(std::int64_t positionNanoSec, std::size_t number) {
    return {Kovra::SysTime(FirstTimestampNanoSec + positionNanoSec), static_cast<std::uint32_t>(number),
            "SystemTest"};
}

/// Frames of one packet each, `frameNanoSec(k)` into the stream.
template <class Position>
Stream MakeCodedStream(boost::intrusive_ptr<Media::ParamsAud> const& params,
                       std::vector<Bytes> const& packets, Position position) {
    Stream stream;
    for (std::size_t k = 0; k < packets.size(); ++k) {
        std::int64_t const at = position(static_cast<std::int64_t>(k));
        auto frame = std::make_shared<Media::FrameAud>(MakeIdent(at, k), params);
        frame->AttachBuffers(MakeBuffers(packets[k].data(), packets[k].size()));
        stream.push_back({std::move(frame), at});
    }
    return stream;
}

} // namespace

Stream MakeRawStream(SampleView sound) {
    boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
    params->SetParamsAud(Listening::SoundRateHz, 1, 16);
    Stream stream;
    for (std::size_t k = 0; (k + 1) * RawFrameSamples <= sound.GetSize(); ++k) {
        auto const at = static_cast<std::int64_t>(k) * FrameNanoSec;
        auto frame = std::make_shared<Media::FrameAudRaw>(MakeIdent(at, k), params);
        frame->AttachBuffers(
            MakeBuffers(sound.begin() + k * RawFrameSamples, RawFrameSamples * sizeof(std::int16_t)));
        stream.push_back({std::move(frame), at});
    }
    return stream;
}

Stream MakeG711Stream(SampleView sound) {
    constexpr std::size_t Step = Listening::SoundRateHz / TelephoneRateHz;
    CodecTest::Samples telephone;
    for (std::size_t i = 0; i < sound.GetSize(); i += Step) {
        telephone.push_back(sound[i]);
    }
    telephone.resize(telephone.size() / TelephoneFrameSamples * TelephoneFrameSamples);
    CodecTest::TestEncoder encoder("pcm_mulaw", TelephoneRateHz, 1, 64'000);
    boost::intrusive_ptr<Media::ParamsAud> const params(new Media::ParamsAud(Media::MediaCoding_t::G711));
    params->SetParamsAud(TelephoneRateHz, 1, 8);
    params->SetLaw(Media::G711Law_t::MuLaw);
    return MakeCodedStream(params, encoder.Encode(telephone, TelephoneFrameSamples),
                           [](std::int64_t k) { return k * FrameNanoSec; });
}

Stream MakeAacStream(SampleView sound) {
    CodecTest::TestEncoder encoder("aac", Listening::SoundRateHz, 1, AacBitsPerSec);
    CodecTest::Samples samples(sound.begin(), sound.end());
    samples.resize(samples.size() / AacFrameSamples * AacFrameSamples);
    boost::intrusive_ptr<Media::ParamsAud> const params(new Media::ParamsAud(Media::MediaCoding_t::Aac));
    params->SetParamsAud(Listening::SoundRateHz, 1, 16);
    params->SetDecoderConfig(encoder.Config());
    return MakeCodedStream(params, encoder.Encode(samples, AacFrameSamples), [](std::int64_t k) {
        constexpr auto FrameSamples = static_cast<std::int64_t>(AacFrameSamples);
        return k * FrameSamples * Listening::NanoSecPerSec / Listening::SoundRateHz;
    });
}

} // namespace SystemTest
