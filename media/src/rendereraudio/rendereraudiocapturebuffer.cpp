#include "rendereraudiocapturebuffer.h"

#include <new>
#include <optional>
#include <string>

#include "primitives/primitives.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudiocapturerecord.h"
#include "rendereraudiocapturewalk.h"
#include "rendereraudiocodes.h"
#include "rendereraudiolog.h"
#include "rendereraudioringlock.h"

namespace Media {

namespace {

using CaptureWalk::BlockBytes;
using CaptureWalk::BlockSamples;
using CaptureWalk::SampleSizeBytes;

std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudioCaptureBuffer");

constexpr char const* LocationFile = "media/src/rendereraudio/rendereraudiocapturebuffer";

constexpr std::uint32_t FrequencyHz = 48000;
constexpr std::uint32_t Channels = 1;
constexpr std::uint32_t SampleSizeBits = 16;
constexpr std::uint32_t RingLengthSamples = 240000;
static_assert(RingLengthSamples % BlockSamples == 0, "no block is split by the end of the ring");

constexpr Kovra::SysTime BlockDuration = Kovra::SysTime::FromMilliSec(20);
constexpr std::size_t FrameAlignmentBytes = 1;
constexpr char const* SourceName = "Microphone";

WAVEFORMATEX MakeFormat() {
    WAVEFORMATEX format;
    Primitives::ZeroBytes(&format, sizeof(format));
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = Channels;
    format.nSamplesPerSec = FrequencyHz;
    format.nAvgBytesPerSec = FrequencyHz * SampleSizeBytes;
    format.nBlockAlign = SampleSizeBytes;
    format.wBitsPerSample = SampleSizeBits;
    return format;
}

/// `format` must outlive the description.
DSCBUFFERDESC MakeDescription(WAVEFORMATEX& format) {
    DSCBUFFERDESC description;
    static_assert(sizeof(void*) != 8 || sizeof(description) == 40);
    Primitives::ZeroBytes(&description, sizeof(description));
    description.dwSize = sizeof(description);
    // The system may convert: the microphone need not know the format.
    description.dwFlags = DSCBCAPS_WAVEMAPPED;
    description.dwBufferBytes = RingLengthSamples * SampleSizeBytes;
    description.lpwfxFormat = &format;
    return description;
}

boost::intrusive_ptr<IDirectSoundCaptureBuffer8> CreateDirectSoundBuffer(IDirectSoundCapture8& capture) {
    WAVEFORMATEX format = MakeFormat();
    DSCBUFFERDESC const description = MakeDescription(format);
    IDirectSoundCaptureBuffer* created = nullptr;
    if (FAILED(capture.CreateCaptureBuffer(&description, &created, nullptr)) || created == nullptr) {
        return {};
    }
    boost::intrusive_ptr<IDirectSoundCaptureBuffer> const first = AdoptReference(created);
    return QueryInterfaceOf<IDirectSoundCaptureBuffer8>(*first, IID_IDirectSoundCaptureBuffer8);
}

CaptureWalk::Region FirstRegion(RendererAudioCaptureLock const& lock) {
    return {lock.GetFirst(), lock.GetFirst() == nullptr ? 0 : lock.GetFirstBytes() / SampleSizeBytes};
}

CaptureWalk::Region SecondRegion(RendererAudioCaptureLock const& lock) {
    return {lock.GetSecond(), lock.GetSecond() == nullptr ? 0 : lock.GetSecondBytes() / SampleSizeBytes};
}

/// DirectSound's memory is aligned for samples, so are all regions, which are whole samples long, and so is
/// the walk's own block.
std::int16_t const* AsSamples(std::uint8_t const* bytes) {
    return reinterpret_cast<std::int16_t const*>(bytes);
}

} // namespace

// --- construction, creation, destruction

RendererAudioCaptureBuffer::RendererAudioCaptureBuffer(RendererAudioCaptureDevice& device)
    : record_(std::make_unique<Record>(device.state_)) {}

RendererAudioCaptureBuffer::~RendererAudioCaptureBuffer() {
    Close();
}

int RendererAudioCaptureBuffer::Create() {
    boost::mutex::scoped_lock const guard(record_->lock);
    std::shared_ptr<RendererAudioCaptureDevice::State> const device = record_->device.lock();
    boost::intrusive_ptr<IDirectSoundCapture8> const capture =
        device == nullptr ? nullptr : device->GetUsableCapture();
    if (capture == nullptr) {
        return Status::NothingToCreateWith;
    }
    // Only the low half of the time is looked at: one start in four billion does not count as one, and the
    // buffer is made anew.
    if (static_cast<std::uint32_t>(record_->nextTime.NanoSec()) != 0) {
        return Status::AlreadyCreated;
    }
    record_->ringSamples = RingLengthSamples;
    auto dsBuffer = CreateDirectSoundBuffer(*capture);
    if (dsBuffer == nullptr) {
        return Status::Refused;
    }
    ReleaseDirectSoundBuffer();
    device->registry.Add(*this);
    record_->capture = capture;
    record_->dsBuffer = std::move(dsBuffer);
    record_->dsBuffer->Start(DSCBSTART_LOOPING);
    record_->nextTime = Kovra::SysTime::Now();
    return Status::Success;
}

void RendererAudioCaptureBuffer::Close() {
    boost::mutex::scoped_lock const guard(record_->lock);
    ReleaseDirectSoundBuffer();
}

void RendererAudioCaptureBuffer::ReleaseDirectSoundBuffer() {
    if (record_->dsBuffer == nullptr) {
        return;
    }
    record_->dsBuffer->Stop();
    if (auto const device = record_->device.lock()) {
        device->registry.Remove(*this);
    }
    record_->dsBuffer.reset();
    record_->capture.reset();
}

void RendererAudioCaptureBuffer::StartCapture() {
    boost::mutex::scoped_lock const guard(record_->lock);
    if (record_->dsBuffer == nullptr) {
        return;
    }
    WriteLogAt({LocationFile, "Media::RendererAudioCaptureBuffer::StartCapture", __LINE__}, *logger,
               Kovra::LogLevel_t::Debug, "Starting buffer capture");
    record_->dsBuffer->Start(DSCBSTART_LOOPING);
    record_->nextTime = Kovra::SysTime::Now();
}

void RendererAudioCaptureBuffer::StopCapture() {
    boost::mutex::scoped_lock const guard(record_->lock);
    if (record_->dsBuffer == nullptr) {
        return;
    }
    WriteLogAt({LocationFile, "Media::RendererAudioCaptureBuffer::StopCapture", __LINE__}, *logger,
               Kovra::LogLevel_t::Debug, "Stopping buffer capture");
    record_->dsBuffer->Stop();
}

bool RendererAudioCaptureBuffer::IsInitialized() const {
    boost::mutex::scoped_lock const guard(record_->lock);
    return record_->dsBuffer != nullptr;
}

// --- reading

int RendererAudioCaptureBuffer::ReadFrames(std::vector<std::shared_ptr<FrameAud>>& frames) {
    boost::mutex::scoped_lock const guard(record_->lock);
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
    // Asked of the whole vector: frames that the caller left in it count.
    auto const statusOf = [&frames] { return frames.empty() ? Status::NothingRead : Status::Success; };

    auto lock = RendererAudioCaptureLock::Acquire(record_->dsBuffer.get(), record_->readPos * SampleSizeBytes,
                                                  take * SampleSizeBytes);
    if (!lock) {
        return statusOf();
    }
    if (lock->GetFirst() == nullptr || lock->GetFirstBytes() == 0) {
        lock->Forget();
        return statusOf();
    }
    // Before the blocks are looked at: what the walk leaves out is not read again.
    Advance(take);
    CaptureWalk::ForEachFrame(FirstRegion(*lock), SecondRegion(*lock), take,
                              [&](std::uint8_t const* block, CaptureWalk::Block_t kind) {
                                  bool const isAppended = AppendFrame(block, frames);
                                  // A split block is metered also when there is no memory for its frame.
                                  if (isAppended || kind == CaptureWalk::Block_t::Split) {
                                      record_->lineLevel.MeterBlock(AsSamples(block), BlockSamples);
                                  }
                                  return isAppended;
                              });
    return statusOf();
}

int RendererAudioCaptureBuffer::SampleLineLevel() {
    boost::mutex::scoped_lock const guard(record_->lock);
    std::uint32_t blocks = 0;
    int const status = FindWholeBlocks(blocks);
    if (status != Status::Success) {
        return status;
    }
    std::uint32_t const take = blocks * BlockSamples;
    auto const lock = RendererAudioCaptureLock::Acquire(
        record_->dsBuffer.get(), record_->readPos * SampleSizeBytes, take * SampleSizeBytes);
    if (!lock) {
        return Status::NothingRead;
    }
    Advance(take);
    std::uint32_t const metered =
        CaptureWalk::ForEachMeteredBlock(FirstRegion(*lock), SecondRegion(*lock), take,
                                         [this](std::uint8_t const* samples, std::uint32_t count) {
                                             record_->lineLevel.MeterBlock(AsSamples(samples), count);
                                         });
    return metered == 0 ? Status::NothingRead : Status::Success;
}

float RendererAudioCaptureBuffer::GetLineLevel() {
    boost::mutex::scoped_lock const guard(record_->lock);
    return record_->lineLevel.GetLevel();
}

int RendererAudioCaptureBuffer::FindWholeBlocks(std::uint32_t& blocks) const {
    if (record_->dsBuffer == nullptr) {
        return Status::NoBuffer;
    }
    DWORD readByte = 0;
    HRESULT const result = record_->dsBuffer->GetCurrentPosition(nullptr, &readByte);
    if (FAILED(result)) {
        return StatusOfPositionFailure(result);
    }
    std::uint32_t const cursor = readByte / SampleSizeBytes;
    std::uint32_t const available = cursor >= record_->readPos
                                        ? cursor - record_->readPos
                                        : record_->ringSamples - record_->readPos + cursor;
    blocks = available / BlockSamples;
    return blocks == 0 ? Status::TooFewSamples : Status::Success;
}

void RendererAudioCaptureBuffer::Advance(std::uint32_t samples) {
    record_->readPos += samples;
    if (record_->readPos >= record_->ringSamples) {
        record_->readPos -= record_->ringSamples;
    }
}

bool RendererAudioCaptureBuffer::AppendFrame(std::uint8_t const* block,
                                             std::vector<std::shared_ptr<FrameAud>>& frames) {
    try {
        boost::intrusive_ptr<ParamsAudRaw> const params(new ParamsAudRaw);
        params->SetParamsAud(FrequencyHz, Channels, SampleSizeBits);
        auto frame = std::make_shared<FrameAudRaw>(
            FrameIdent(record_->nextTime, record_->frameNumber, SourceName), params);

        auto const data = Kovra::Buffer::Create(BlockBytes, FrameAlignmentBytes);
        Primitives::CopyBytes(block, data->GetData(), BlockBytes);
        Kovra::BufferInfoListScoped list;
        list.Append(Kovra::BufferInfo(data, 0, BlockBytes));
        frame->AttachBuffers(std::move(list));
        frames.push_back(std::move(frame));
    } catch (std::bad_alloc const&) {
        return false;
    }
    record_->nextTime += BlockDuration;
    ++record_->frameNumber;
    return true;
}

} // namespace Media
