#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "mediacore/frame.h"
#include "pipeline/pipelinejob.h"
#include "support/facts.h"

namespace UnitTest {

using namespace Facts;
using Outcome_t = Media::PipelineStageJob::Outcome_t;

/// Timestamp of the first frame of a session where it matters little.
constexpr std::int64_t FirstTimestampNanoSec = NanoSecPerSec;

inline Kovra::JiffyTime InMilliSec(std::int64_t milliSec) {
    return Kovra::JiffyTime::Now().AddMilliSec(milliSec);
}

/// A raw PCM frame of these samples (channels interleaved).
inline std::shared_ptr<Media::FrameAudRaw> RawFrame(std::int64_t timestampNanoSec,
                                                    std::vector<std::int16_t> const& samples,
                                                    std::uint32_t frequencyHz = FrequencyHz,
                                                    std::uint32_t channels = 1) {
    boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
    params->SetParamsAud(frequencyHz, channels, 16);
    auto frame = std::make_shared<Media::FrameAudRaw>(
        Media::FrameIdent(Kovra::SysTime(timestampNanoSec), 0, "Test"), params);
    std::size_t const bytes = samples.size() * sizeof(std::int16_t);
    auto block = Kovra::Buffer::Create(bytes, 16);
    if (bytes != 0) {
        std::memcpy(block->GetData(), samples.data(), bytes);
    }
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(std::move(block), 0, static_cast<std::uint32_t>(bytes)));
    frame->AttachBuffers(std::move(list));
    return frame;
}

/// A mono 48 kHz frame of `count` samples of one value.
inline std::shared_ptr<Media::FrameAudRaw> ConstantFrame(std::int64_t timestampNanoSec, std::size_t count,
                                                         std::int16_t value) {
    return RawFrame(timestampNanoSec, std::vector<std::int16_t>(count, value));
}

/// A coded frame of these bytes.
inline std::shared_ptr<Media::FrameAud> CodedFrame(Media::MediaCoding_t coding, std::int64_t timestampNanoSec,
                                                   std::vector<std::uint8_t> const& bytes = {1, 2, 3, 4},
                                                   std::uint32_t frequencyHz = FrequencyHz) {
    boost::intrusive_ptr<Media::ParamsAud> const params(new Media::ParamsAud(coding));
    params->SetParamsAud(frequencyHz, 1, 8);
    auto frame = std::make_shared<Media::FrameAud>(
        Media::FrameIdent(Kovra::SysTime(timestampNanoSec), 0, "Test"), params);
    auto block = Kovra::Buffer::Create(bytes.size(), 16);
    std::memcpy(block->GetData(), bytes.data(), bytes.size());
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(std::move(block), 0, static_cast<std::uint32_t>(bytes.size())));
    frame->AttachBuffers(std::move(list));
    return frame;
}

/// A render job of `state` for `frame` (raw or coded; null for none).
inline boost::intrusive_ptr<Media::PipelineStageRenderJob> RenderJob(
    boost::intrusive_ptr<Media::PipelineState> state, std::shared_ptr<Media::FrameAud> frame,
    Kovra::JiffyTime presentation) {
    Media::IPipelineRenderer::Params_t params;
    params.presentationTime = presentation;
    boost::intrusive_ptr<Media::PipelineStageRenderJob> job(
        new Media::PipelineStageRenderJob(std::move(state), params));
    if (auto raw = std::dynamic_pointer_cast<Media::FrameAudRaw>(frame)) {
        job->Registers().set(std::move(raw));
    } else if (frame != nullptr) {
        job->Registers().set(std::move(frame));
    }
    return job;
}

} // namespace UnitTest
