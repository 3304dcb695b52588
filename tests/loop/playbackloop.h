#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <set>

#include "heardframes.h"
#include "rendereraudioplaybackdevice.h"
#include "rendereraudioplaybackstate.h"
#include "simulation/world.h"
#include "support/facts.h"

namespace ClosedLoop {

using namespace Facts;

/// What a session has to cope with.
struct Conditions {
    /// From a frame's due arrival to its presentation.
    std::int64_t leadMilliSec = 100;
    /// How fast the device's crystal runs.
    std::int64_t skewPartsPerMillion = 0;
    /// The device tells its cursor in steps of so many samples, the first so much shorter.
    std::uint32_t cursorStepSamples = 1;
    std::uint32_t cursorPhaseSamples = 0;
    /// Frames come up to this much later than due, but never before the one before them.
    std::int64_t jitterMilliSec = 0;
    /// The device begins to play so much later than it is told to.
    std::int64_t startDelayMilliSec = 0;
    /// Timestamp at position 0 of the ring, and of the first frame.
    std::int64_t originNanoSec = 7'000'000'000'123;
    std::int64_t firstOffsetNanoSec = 0;
    /// Of the jitter.
    std::uint32_t seed = 1;

    std::int64_t LeadNanoSec() const { return leadMilliSec * NanoSecPerMilliSec; }
    std::int64_t CursorStepNanoSec() const {
        return static_cast<std::int64_t>(cursorStepSamples) * NanoSecPerSec / Facts::FrequencyHz;
    }
};

/// One playback session on the simulated device, fed with raw frames of 20 ms, while time is moved by hand.
/// The session's state renders each frame as the renderer has it do; the service pass runs every 200 ms, as
/// the playback thread's timeout would have it (there is no thread, and the notification point, which calls
/// it once in five seconds more, calls nobody).
class PlaybackLoop {
public:
    using Listener = HeardFrames::Listener;

    static constexpr std::int64_t ServiceNanoSec = 200 * NanoSecPerMilliSec;

    /// `listener` learns when each frame is heard. `world` outlives the loop; its clock may have been moved.
    PlaybackLoop(Simulation::World& world, Conditions const& conditions, Listener listener);
    ~PlaybackLoop();
    PlaybackLoop(PlaybackLoop const&) = delete;
    PlaybackLoop& operator=(PlaybackLoop const&) = delete;

    /// Time passes until the next frame is due, and the frame is rendered.
    void PlayFrame();
    /// Time passes until a frame that somebody else sends arrives, and it is rendered.
    void PlayArrived(std::int64_t number, std::int64_t arrivalNanoSec, std::int64_t timestampNanoSec,
                     std::int64_t presentationNanoSec);
    /// The next frame never arrives; time passes all the same.
    void LoseFrame() { ++nextNumber_; }
    /// Time passes, without a frame.
    void Wait(std::int64_t nanoSec);

    /// When the first frame was rendered.
    std::int64_t StartNanoSec() const { return startNanoSec_; }
    std::int64_t NowNanoSec() const { return world_.Clock().MonotonicNanoSec(); }
    std::int64_t NextNumber() const { return nextNumber_; }
    HeardFrames const& Heard();
    Simulation::SoundBuffer& Sound() { return *sound_; }

    /// The playback frequency now, in Hz.
    std::uint32_t FrequencyHz() const { return frequencyHz_; }
    /// Frequencies in force after any frame, how often they changed, and the least time between two changes.
    std::set<std::uint32_t> const& Frequencies() const { return frequencies_; }
    std::int64_t FrequencyChanges() const { return frequencyChanges_; }
    std::int64_t ShortestFrequencyNanoSec() const { return shortestFrequencyNanoSec_; }

private:
    void MoveTo(std::int64_t nanoSec);
    std::shared_ptr<Media::FrameAudRaw> MakeFrame(std::int64_t number, std::int64_t timestampNanoSec);
    void Render(std::int64_t number, std::int64_t timestampNanoSec, std::int64_t presentationNanoSec);
    void WatchFrequency();

    Simulation::World& world_;
    Conditions const conditions_;
    HeardFrames heard_;
    Media::RendererAudioPlaybackDevice device_;
    boost::intrusive_ptr<Media::RendererAudioPlaybackState> state_;
    boost::intrusive_ptr<Media::ParamsAudRaw> const params_;
    boost::intrusive_ptr<Kovra::Buffer> const block_;
    Simulation::SoundBuffer* sound_ = nullptr;
    std::mt19937 random_;

    std::int64_t const startNanoSec_;
    std::int64_t nextServiceNanoSec_;
    std::int64_t nextNumber_ = 0;

    std::set<std::uint32_t> frequencies_;
    std::uint32_t frequencyHz_ = 0;
    std::int64_t frequencyChanges_ = 0;
    std::int64_t frequencySinceNanoSec_ = INT64_MIN;
    std::int64_t shortestFrequencyNanoSec_ = INT64_MAX;
};

} // namespace ClosedLoop
