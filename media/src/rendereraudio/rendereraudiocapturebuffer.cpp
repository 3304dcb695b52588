#include "rendereraudiocapturebuffer.h"

#include <new>
#include <optional>
#include <string>
#include <utility>

#include "arithmetic/capturewalk.h"
#include "directsound/creation.h"
#include "directsound/hold.h"
#include "directsound/regionlock.h"
#include "directsound/statuscodes.h"
#include "primitives/primitives.h"
#include "rendereraudiocapturebufferfields.h"
#include "rendereraudiolog.h"

namespace Media {

namespace {

using CaptureWalk::BlockBytes;
using CaptureWalk::BlockSamples;
using CaptureWalk::SampleSizeBytes;

std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudioCaptureBuffer");

constexpr char const* LocationFile = "media/src/rendereraudio/rendereraudiocapturebuffer";

static_assert(DirectSound::CaptureRingSamples % BlockSamples == 0,
              "no block is split by the end of the ring");

constexpr Kovra::SysTime BlockDuration = Kovra::SysTime::FromMilliSec(20);
constexpr std::size_t FrameAlignmentBytes = 1;
constexpr char const* SourceName = "Microphone";

CaptureWalk::Region FirstRegion(DirectSound::CaptureLock const& lock) {
    return {lock.GetFirst(), lock.GetFirst() == nullptr ? 0 : lock.GetFirstBytes() / SampleSizeBytes};
}

CaptureWalk::Region SecondRegion(DirectSound::CaptureLock const& lock) {
    return {lock.GetSecond(), lock.GetSecondBytes() / SampleSizeBytes};
}

/// DirectSound's memory is aligned for samples, and so are all regions, which are whole samples long; the
/// walk's own block is one of samples.
std::int16_t const* AsSamples(std::uint8_t const* bytes) {
    return reinterpret_cast<std::int16_t const*>(bytes);
}

} // namespace

// --- construction, creation, destruction

RendererAudioCaptureBuffer::RendererAudioCaptureBuffer(RendererAudioCaptureDevice::WeakFields device)
    : fields_(std::make_unique<Fields>(std::move(device))) {}

RendererAudioCaptureBuffer::~RendererAudioCaptureBuffer() {
    Close();
}

int RendererAudioCaptureBuffer::Create() {
    auto const guard = Hold(fields_->lock);
    std::shared_ptr<RendererAudioCaptureDevice::Fields> const device = fields_->device.lock();
    boost::intrusive_ptr<IDirectSoundCapture8> const capture =
        device == nullptr ? nullptr : device->GetUsableCapture();
    if (capture == nullptr) {
        return Status::NothingToCreateWith;
    }
    // Wanted: only the low half is looked at, so one start in four billion is none (docs/kept-behaviour.md).
    if (static_cast<std::uint32_t>(fields_->nextTime.NanoSec()) != 0) {
        return Status::AlreadyCreated;
    }
    fields_->ringSamples = DirectSound::CaptureRingSamples;
    auto dsBuffer = DirectSound::CreateCaptureBuffer(*capture);
    if (dsBuffer == nullptr) {
        return Status::Refused;
    }
    ReleaseDirectSoundBuffer();
    device->registry.Add(*this);
    fields_->capture = capture;
    fields_->dsBuffer = std::move(dsBuffer);
    fields_->dsBuffer->Start(DSCBSTART_LOOPING);
    fields_->nextTime = Kovra::SysTime::Now();
    return Status::Success;
}

void RendererAudioCaptureBuffer::Close() {
    auto const guard = Hold(fields_->lock);
    ReleaseDirectSoundBuffer();
}

void RendererAudioCaptureBuffer::ReleaseDirectSoundBuffer() {
    if (fields_->dsBuffer == nullptr) {
        return;
    }
    fields_->dsBuffer->Stop();
    if (auto const device = fields_->device.lock()) {
        device->registry.Remove(*this);
    }
    fields_->dsBuffer.reset();
    fields_->capture.reset();
}

void RendererAudioCaptureBuffer::StartCapture() {
    auto const guard = Hold(fields_->lock);
    if (fields_->dsBuffer == nullptr) {
        return;
    }
    WriteLogAt({LocationFile, "Media::RendererAudioCaptureBuffer::StartCapture", __LINE__}, *logger,
               Kovra::LogLevel_t::Debug, "Starting buffer capture");
    fields_->dsBuffer->Start(DSCBSTART_LOOPING);
    fields_->nextTime = Kovra::SysTime::Now();
}

void RendererAudioCaptureBuffer::StopCapture() {
    auto const guard = Hold(fields_->lock);
    if (fields_->dsBuffer == nullptr) {
        return;
    }
    WriteLogAt({LocationFile, "Media::RendererAudioCaptureBuffer::StopCapture", __LINE__}, *logger,
               Kovra::LogLevel_t::Debug, "Stopping buffer capture");
    fields_->dsBuffer->Stop();
}

bool RendererAudioCaptureBuffer::IsInitialized() const {
    auto const guard = Hold(fields_->lock);
    return fields_->dsBuffer != nullptr;
}

// --- reading

int RendererAudioCaptureBuffer::ReadFrames(std::vector<std::shared_ptr<FrameAud>>& frames) {
    auto const guard = Hold(fields_->lock);
    std::uint32_t blocks = 0;
    int const status = FindWholeBlocks(blocks);
    if (status != Status::Success) {
        return status;
    }
    try {
        frames.reserve(blocks);
    } catch (std::bad_alloc const&) {
        return Status::OutOfMemory;
    }
    std::uint32_t const take = blocks * BlockSamples;
    // Wanted: asked of the whole vector, frames of the caller's included (docs/kept-behaviour.md).
    auto const statusOf = [&frames] { return frames.empty() ? Status::NothingRead : Status::Success; };

    auto lock = DirectSound::CaptureLock::Acquire(
        fields_->dsBuffer.get(), {fields_->readPos * SampleSizeBytes, take * SampleSizeBytes});
    if (!lock) {
        return statusOf();
    }
    if (lock->GetFirst() == nullptr || lock->GetFirstBytes() == 0) {
        lock->Forget();
        return statusOf();
    }
    // Wanted: first, so that what the walk leaves out is not read again (docs/kept-behaviour.md).
    Advance(take);
    CaptureWalk::ForEachFrame(FirstRegion(*lock), SecondRegion(*lock), take,
                              [&](std::uint8_t const* block, CaptureWalk::Block_t kind) {
                                  bool const isAppended = AppendFrame(block, frames);
                                  // A split block is metered also when there is no memory for its frame.
                                  if (isAppended || kind == CaptureWalk::Block_t::Split) {
                                      fields_->lineLevel.MeterBlock(AsSamples(block), BlockSamples);
                                  }
                                  return isAppended;
                              });
    return statusOf();
}

int RendererAudioCaptureBuffer::SampleLineLevel() {
    auto const guard = Hold(fields_->lock);
    std::uint32_t blocks = 0;
    int const status = FindWholeBlocks(blocks);
    if (status != Status::Success) {
        return status;
    }
    std::uint32_t const take = blocks * BlockSamples;
    auto const lock = DirectSound::CaptureLock::Acquire(
        fields_->dsBuffer.get(), {fields_->readPos * SampleSizeBytes, take * SampleSizeBytes});
    if (!lock) {
        return Status::NothingRead;
    }
    // Wanted: an empty first region is not asked for, as ReadFrames does (docs/kept-behaviour.md).
    Advance(take);
    std::uint32_t const metered =
        CaptureWalk::ForEachMeteredBlock(FirstRegion(*lock), SecondRegion(*lock), take,
                                         [this](std::uint8_t const* samples, std::uint32_t count) {
                                             fields_->lineLevel.MeterBlock(AsSamples(samples), count);
                                         });
    return metered == 0 ? Status::NothingRead : Status::Success;
}

float RendererAudioCaptureBuffer::GetLineLevel() {
    auto const guard = Hold(fields_->lock);
    return fields_->lineLevel.GetLevel();
}

int RendererAudioCaptureBuffer::FindWholeBlocks(std::uint32_t& blocks) const {
    if (fields_->dsBuffer == nullptr) {
        return Status::NoBuffer;
    }
    DWORD readByte = 0;
    HRESULT const result = fields_->dsBuffer->GetCurrentPosition(nullptr, &readByte);
    if (FAILED(result)) {
        return StatusOfPositionFailure(result);
    }
    std::uint32_t const cursor = readByte / SampleSizeBytes;
    std::uint32_t const available = cursor >= fields_->readPos
                                        ? cursor - fields_->readPos
                                        : fields_->ringSamples - fields_->readPos + cursor;
    blocks = available / BlockSamples;
    return blocks == 0 ? Status::TooFewSamples : Status::Success;
}

void RendererAudioCaptureBuffer::Advance(std::uint32_t samples) {
    fields_->readPos += samples;
    if (fields_->readPos >= fields_->ringSamples) {
        fields_->readPos -= fields_->ringSamples;
    }
}

bool RendererAudioCaptureBuffer::AppendFrame(std::uint8_t const* block,
                                             std::vector<std::shared_ptr<FrameAud>>& frames) {
    try {
        boost::intrusive_ptr<ParamsAudRaw> const params(new ParamsAudRaw);
        params->SetParamsAud(DirectSound::CaptureFrequencyHz, DirectSound::CaptureChannels,
                             DirectSound::SampleSizeBits);
        auto frame = std::make_shared<FrameAudRaw>(
            FrameIdent(fields_->nextTime, fields_->frameNumber, SourceName), params);

        auto const data = Kovra::Buffer::Create(BlockBytes, FrameAlignmentBytes);
        Primitives::CopyBytes(block, data->GetData(), BlockBytes);
        Kovra::BufferInfoListScoped list;
        list.Append(Kovra::BufferInfo(data, 0, BlockBytes));
        frame->AttachBuffers(std::move(list));
        frames.push_back(std::move(frame));
    } catch (...) {
        // Of what the host's libraries throw, want of memory is the likeliest: the frame is lost.
        return false;
    }
    fields_->nextTime += BlockDuration;
    ++fields_->frameNumber;
    return true;
}

} // namespace Media
