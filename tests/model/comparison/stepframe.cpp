#include "model/comparison/stepframe.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace ModelTest {

namespace {

/// Noise to cut frames from: every place of it is different from its neighbours.
boost::intrusive_ptr<Kovra::Buffer> const& Noise() {
    static auto const noise = [] {
        auto block = Kovra::Buffer::Create(static_cast<std::size_t>(NoiseBytes), 16);
        std::uint32_t state = 1;
        for (std::size_t i = 0; i < block->GetSize(); ++i) {
            state = state * 1664525U + 1013904223U;
            block->GetData()[i] = static_cast<std::uint8_t>(state >> 24);
        }
        return block;
    }();
    return noise;
}

/// `bytes` of noise from `place` on; no buffer when negative.
std::optional<Kovra::BufferInfo> CutNoise(std::int64_t place, std::int64_t bytes) {
    if (bytes < 0) {
        return std::nullopt;
    }
    auto const from = static_cast<std::uint32_t>(static_cast<std::uint64_t>(place) %
                                                 static_cast<std::uint64_t>(NoiseBytes - MaxFrameBytes));
    return Kovra::BufferInfo(Noise(), from, static_cast<std::uint32_t>(std::min(bytes, MaxFrameBytes)));
}

Bytes BytesOf(std::optional<Kovra::BufferInfo> const& info) {
    return info ? Bytes{info->GetData(), info->GetLength()} : Bytes();
}

void Attach(Media::Frame& frame, std::optional<Kovra::BufferInfo> info) {
    if (info) {
        Kovra::BufferInfoListScoped list;
        list.Append(std::move(*info));
        frame.AttachBuffers(std::move(list));
    }
}

std::shared_ptr<Media::FrameAud> MakeFrame(IncomingFrame const& model) {
    Media::FrameIdent const ident(Kovra::SysTime(model.timestampNanoSec), 0, "Model");
    if (model.coding == 0x300) {
        boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
        params->SetParamsAud(model.rate, model.channels, 16);
        return std::make_shared<Media::FrameAudRaw>(ident, params);
    }
    boost::intrusive_ptr<Media::ParamsAud> const params(
        new Media::ParamsAud(static_cast<Media::MediaCoding_t>(model.coding)));
    params->SetParamsAud(model.rate, model.channels, 8);
    return std::make_shared<Media::FrameAud>(ident, params);
}

/// A PCM frame that sounds for as long as the codec says, whatever its samples say.
class TimedFrame final : public Media::FrameAud {
public:
    TimedFrame(boost::intrusive_ptr<Media::ParamsAud> params, std::int64_t durationNanoSec)
        : FrameAud(Media::FrameIdent(), std::move(params)), duration_(durationNanoSec) {}

    Kovra::SysTime GetDuration() const override { return duration_; }

private:
    Kovra::SysTime const duration_;
};

/// What the codec gives: `count` frames of which the last one counts, possibly as a null.
void AddCodecFrames(UnitTest::Frames& frames, std::vector<DecodedFrame>& models, std::int64_t count,
                    std::uint32_t rate, std::int64_t place, std::int64_t bytes, bool endsInNull) {
    constexpr std::int64_t MaxFrames = 4;
    constexpr std::int64_t PlaceStep = 10'007;
    for (std::int64_t i = 0; i < std::min(count, MaxFrames); ++i) {
        auto const info = CutNoise(place + PlaceStep * (i + 1), bytes);
        DecodedFrame const model{false, rate, bytes * 10'417 + 7, BytesOf(info)};
        boost::intrusive_ptr<Media::ParamsAud> const params(
            new Media::ParamsAud(Media::MediaCoding_t::RawPcm));
        params->SetParamsAud(rate, 1, 16);
        frames.push_back(std::make_shared<TimedFrame>(params, model.durationNanoSec));
        Attach(*frames.back(), info);
        models.push_back(model);
    }
    // A first frame of null would be a codec that breaks its promise.
    if (endsInNull && frames.size() > 1) {
        frames.back() = nullptr;
        models.back().isNull = true;
    }
}

} // namespace

StepFrame::StepFrame(Render const& step) {
    auto const info = CutNoise(step.dataAt, step.bytes);
    auto const channels = static_cast<std::uint32_t>(step.channels);
    model.timestampNanoSec = step.timestampNanoSec;
    model.coding = static_cast<std::uint32_t>(step.coding);
    model.rate = static_cast<std::uint32_t>(step.rate);
    // A sound buffer without a channel is nothing that can be asked for.
    model.channels = channels % 65536 == 0 ? 1 : channels;
    model.samples = BytesOf(info);
    frame = MakeFrame(model);
    Attach(*frame, info);
    AddCodecFrames(decoded, model.decoded, step.decoded, static_cast<std::uint32_t>(step.decodedRate),
                   step.dataAt, step.decodedBytes, step.endsInNull != 0);
    AddCodecFrames(transcoded, model.transcoded, step.transcoded, 48000, step.dataAt + 1,
                   step.transcodedBytes, step.endsInNull != 0);
}

} // namespace ModelTest
