#include "playbackloop.h"

#include <algorithm>
#include <utility>

#include "support/module/peers.h"

namespace ClosedLoop {

namespace {

constexpr std::size_t BlockAlignmentBytes = 16;

boost::intrusive_ptr<Media::ParamsAudRaw> MakeParams() {
    boost::intrusive_ptr<Media::ParamsAudRaw> params(new Media::ParamsAudRaw);
    params->SetParamsAud(FrequencyHz, 1, 16);
    return params;
}

} // namespace

PlaybackLoop::PlaybackLoop(Simulation::World& world, Conditions const& conditions, Listener listener)
    : world_(world),
      conditions_(conditions),
      heard_(std::move(listener)),
      params_(MakeParams()),
      block_(Kovra::Buffer::Create(FrameBytes, BlockAlignmentBytes)),
      random_(conditions.seed),
      startNanoSec_(world.Clock().MonotonicNanoSec()),
      nextServiceNanoSec_(startNanoSec_ + ServiceNanoSec) {
    auto& settings = world.Device();
    settings.SetRingCheck(false);
    settings.SetSkewPartsPerMillion(static_cast<double>(conditions.skewPartsPerMillion));
    settings.SetCursorStep(conditions.cursorStepSamples, conditions.cursorPhaseSamples);
    settings.SetStartDelay(conditions.startDelayMilliSec * NanoSecPerMilliSec);
    heard_.SetOrigin(startNanoSec_);
    Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(device_);
    state_.reset(new Media::RendererAudioPlaybackState(device_));
    // The first frame would do the same, with its own timestamp as the origin.
    Media::RendererAudioPlaybackStatePeer::GetBuffer(*state_).CreateSoundBuffer(
        MakeFrame(0, conditions.originNanoSec));
    sound_ = &world.OnlyBuffer();
    sound_->EnableSpeaker().SetCallback(
        [this](Simulation::HeardRun const& run, std::uint64_t index, std::int16_t const* samples,
               std::size_t frames) { heard_.Hear(run, index, samples, frames); });
}

PlaybackLoop::~PlaybackLoop() = default;

void PlaybackLoop::PlayFrame() {
    std::int64_t arrivalNanoSec = startNanoSec_ + nextNumber_ * FrameNanoSec;
    if (conditions_.jitterMilliSec != 0) {
        // Not a distribution of the library's, which differs from one library to the next.
        arrivalNanoSec +=
            static_cast<std::int64_t>(random_()) % (conditions_.jitterMilliSec * NanoSecPerMilliSec);
    }
    // Timestamps wrap.
    std::int64_t const sinceStartNanoSec = nextNumber_ * FrameNanoSec;
    auto const timestampNanoSec = static_cast<std::int64_t>(
        static_cast<std::uint64_t>(conditions_.originNanoSec) +
        static_cast<std::uint64_t>(conditions_.firstOffsetNanoSec + sinceStartNanoSec));
    PlayArrived(nextNumber_, std::max(arrivalNanoSec, NowNanoSec()), timestampNanoSec,
                startNanoSec_ + sinceStartNanoSec + conditions_.LeadNanoSec());
    ++nextNumber_;
}

void PlaybackLoop::PlayArrived(std::int64_t number, std::int64_t arrivalNanoSec,
                               std::int64_t timestampNanoSec, std::int64_t presentationNanoSec) {
    MoveTo(arrivalNanoSec);
    Render(number, timestampNanoSec, presentationNanoSec);
}

void PlaybackLoop::Wait(std::int64_t nanoSec) {
    MoveTo(NowNanoSec() + nanoSec);
}

HeardFrames const& PlaybackLoop::Heard() {
    // Has it catch up.
    sound_->GetSpeaker();
    return heard_;
}

void PlaybackLoop::MoveTo(std::int64_t nanoSec) {
    while (nextServiceNanoSec_ <= nanoSec) {
        world_.Clock().AdvanceTo(nextServiceNanoSec_);
        Media::RendererAudioPlaybackStatePeer::GetBuffer(*state_).Service();
        nextServiceNanoSec_ += ServiceNanoSec;
    }
    world_.Clock().AdvanceTo(nanoSec);
}

std::shared_ptr<Media::FrameAudRaw> PlaybackLoop::MakeFrame(std::int64_t number,
                                                            std::int64_t timestampNanoSec) {
    auto* const samples = reinterpret_cast<std::int16_t*>(block_->GetData());
    std::fill_n(samples, FrameSamples, HeardFrames::ValueOf(number));
    auto frame = std::make_shared<Media::FrameAudRaw>(
        Media::FrameIdent(Kovra::SysTime(timestampNanoSec), static_cast<std::uint32_t>(number), "Loop"),
        params_);
    Kovra::BufferInfoListScoped slices;
    slices.Append(Kovra::BufferInfo(block_, 0, FrameBytes));
    frame->AttachBuffers(std::move(slices));
    return frame;
}

void PlaybackLoop::Render(std::int64_t number, std::int64_t timestampNanoSec,
                          std::int64_t presentationNanoSec) {
    Kovra::JiffyTime presentation(presentationNanoSec);
    heard_.Expect(number, presentationNanoSec);
    state_->Render(MakeFrame(number, timestampNanoSec), presentation);
    WatchFrequency();
}

void PlaybackLoop::WatchFrequency() {
    std::uint32_t const frequencyHz = sound_->Frequency();
    if (frequencyHz == frequencyHz_) {
        return;
    }
    frequencies_.insert(frequencyHz);
    if (frequencyHz_ != 0) {
        if (frequencyChanges_ != 0) {
            shortestFrequencyNanoSec_ =
                std::min(shortestFrequencyNanoSec_, NowNanoSec() - frequencySinceNanoSec_);
        }
        frequencySinceNanoSec_ = NowNanoSec();
        ++frequencyChanges_;
    }
    frequencyHz_ = frequencyHz;
}

} // namespace ClosedLoop
