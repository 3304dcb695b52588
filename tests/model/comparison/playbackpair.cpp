#include "model/comparison/playbackpair.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "model/comparison/limits.h"
#include "pipeline/pipelinestate.h"

namespace ModelTest {

namespace {

std::int64_t SaturatingSum(std::int64_t a, std::int64_t b) {
    if (b > 0 && a > std::numeric_limits<std::int64_t>::max() - b) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (b < 0 && a < std::numeric_limits<std::int64_t>::min() - b) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return a + b;
}

float LevelOf(std::int64_t thousandths) {
    return thousandths == NotANumber ? std::numeric_limits<float>::quiet_NaN()
                                     : static_cast<float>(thousandths) / 1000.0F;
}

bool IsSameFloat(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

} // namespace

PlaybackPair::PlaybackPair(Simulation::World& world, Rules const& rules, Trace& trace,
                           ModuleTrace& moduleTrace, Difference& difference)
    : world_(world), difference_(difference), model_(rules, trace, world.Clock().MonotonicNanoSec()) {
    world_.Device().SetRingCheck(false);
    Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(device_);
    state_ = new Media::RendererAudioPlaybackState(device_);
    moduleTrace.codec.decode = [this](UnitTest::Frames const& frames) {
        difference_.Check("the frame that is decoded",
                          frames.size() == 1 && frames.front().get() == incoming_.frame.get(), true);
        return incoming_.decoded;
    };
    moduleTrace.codec.transcode = [this](UnitTest::Frames const& frames, UnitTest::TranscodeRequest const&) {
        difference_.Check("the frames that are transcoded", frames == incoming_.decoded, true);
        return incoming_.transcoded;
    };
}

Media::RendererAudioPlaybackBuffer& PlaybackPair::Buffer() {
    return Media::RendererAudioPlaybackStatePeer::GetBuffer(*state_);
}

void PlaybackPair::Observe() {
    playByte_ = 0;
    if (auto const& sound = Media::RendererAudioPlaybackBufferPeer::GetFields(Buffer()).soundBuffer) {
        DWORD play = 0;
        DWORD write = 0;
        sound->GetCurrentPosition(&play, &write);
        playByte_ = play;
    }
    model_.changes.clear();
}

// --- steps

void PlaybackPair::Do(Render const& step) {
    incoming_ = StepFrame(step);
    std::int64_t const now = world_.Clock().MonotonicNanoSec();
    std::int64_t expected = SaturatingSum(now, step.aheadNanoSec);
    Kovra::JiffyTime presentation(expected);
    bool const isExpected = model_.Render(incoming_.model, expected, now, playByte_);
    difference_.Check("the result of Render", state_->Render(incoming_.frame, presentation), isExpected);
    difference_.Check("the presentation time", presentation.NanoSec(), expected);
}

void PlaybackPair::Do(Client const& step) {
    if (!hasClientState_) {
        difference_.Check("the client state that nobody set", state_->UpdateClientState(), false);
        hasClientState_ = true;
    }
    Media::PipelineClientState_t client;
    client.volume = LevelOf(step.volume);
    client.balance = LevelOf(step.balance);
    state_->SetClientState(client);
    model_.ApplyClientState(client.volume, client.balance);
    difference_.Check("the result of UpdateClientState", state_->UpdateClientState(), true);
}

void PlaybackPair::Do(Service const&) {
    // The playback thread knows a buffer only while it has a sound buffer.
    if (model_.record.hasSound) {
        model_.Service(world_.Clock().MonotonicNanoSec(), playByte_);
        Buffer().Service();
    }
}

void PlaybackPair::Do(Lose const&) {
    if (model_.record.hasSound) {
        model_.Lose();
        world_.LatestBuffer().Lose();
    }
}

void PlaybackPair::Do(Skew const& step) {
    world_.Device().SetSkewPartsPerMillion(LimitSkew(step.partsPerMillion));
}

void PlaybackPair::Do(CursorStep const& step) {
    world_.Device().SetCursorStep(std::max(LimitToRing(step.frames), 1U), LimitToRing(step.phaseFrames));
}

void PlaybackPair::Do(StartDelay const& step) {
    world_.Device().SetStartDelay(LimitToSecond(step.nanoSec));
}

void PlaybackPair::Do(LockSplit const& step) {
    world_.Device().SetLockSplit(LimitToRing(step.bytes));
    model_.SetLockSplit(LimitToRing(step.bytes));
}

// --- comparison

void PlaybackPair::Compare() {
    CompareRecord();
    CompareSound();
}

void PlaybackPair::CompareRecord() {
    auto const& actual = Media::RendererAudioPlaybackBufferPeer::GetFields(Buffer());
    PlaybackRecord const& expected = model_.record;
    Difference& d = difference_;
    d.Check("soundBuffer", actual.soundBuffer != nullptr, expected.hasSound);
    d.Check("notify", actual.notify != nullptr, expected.hasNotify);
    d.Check("notifyPosition.dwOffset", std::uint32_t{actual.notifyPosition->dwOffset}, expected.notifyByte);
    d.Check("notifyPosition.hEventNotify", world_.EventNumber(actual.notifyPosition->hEventNotify),
            expected.notifyEvent);
    d.Check("ringSamples", actual.ringSamples, expected.ringSamples);
    d.Check("sourceFrequency", actual.sourceFrequency, expected.sourceFrequency);
    d.Check("playFrequency", actual.playFrequency, expected.playFrequency);
    d.Check("bytesPerSample", actual.bytesPerSample, expected.bytesPerSample);
    d.Check("writePos", actual.writePos.load(), expected.writePos);
    d.Check("writeEnd", actual.writeEnd, expected.writeEnd);
    d.Check("clearedEnd", actual.clearedEnd.load(), expected.clearedEnd);
    d.Check("lastServicedWritePos", actual.lastServicedWritePos, expected.lastServicedWritePos);
    d.Check("measuredLagSum", actual.measuredLagSum, expected.measuredLagSum);
    d.Check("expectedLagSum", actual.expectedLagSum, expected.expectedLagSum);
    d.Check("nsPerSample", actual.nsPerSample, expected.nsPerSample);
    d.Check("baseTimestamp", actual.baseTimestamp.load(), expected.baseTimestamp);
    d.Check("lastPresentTime", actual.lastPresentTime.load().NanoSec(), expected.lastPresentTime);
    d.Check("driftWindowStart", actual.driftWindowStart.NanoSec(), expected.driftWindowStart);
    d.Check("volume", IsSameFloat(actual.volume, expected.volume), true);
    d.Check("pan", IsSameFloat(actual.pan, expected.pan), true);
    d.Check("lastSample", actual.lastSample, expected.lastSample);
    d.Check("active", int{actual.active.load()}, int{expected.active});
    d.Check("decodedFrame", actual.decodedFrame != nullptr, expected.hasDecoded);
    if (actual.decodedFrame != nullptr && expected.hasDecoded) {
        auto const* const info = actual.decodedFrame->GetConstBufferBegin();
        d.Check("decodedFrame's data", info == nullptr ? nullptr : info->GetData(), expected.decoded.data);
        d.Check("decodedFrame's length", info == nullptr ? 0 : info->GetLength(), expected.decoded.count);
    }
}

void PlaybackPair::CompareSound() {
    if (!model_.record.hasSound ||
        Media::RendererAudioPlaybackBufferPeer::GetFields(Buffer()).soundBuffer == nullptr) {
        return;
    }
    SoundModel const& expected = model_.sound;
    auto const& actual = world_.LatestBuffer();
    Difference& d = difference_;
    if (!d.Check("the sound buffer's number", actual.Number(), expected.number) ||
        !d.Check("the sound buffer's size", std::size_t{actual.RingBytes()}, expected.ring.size())) {
        return;
    }
    d.Check("playing", actual.IsPlaying(), expected.isPlaying);
    d.Check("lost", actual.IsLost(), expected.isLost);
    d.Check("the sound buffer's volume", std::int64_t{actual.Volume()}, std::int64_t{expected.volume});
    d.Check("the sound buffer's pan", std::int64_t{actual.Pan()}, std::int64_t{expected.pan});
    d.Check("the sound buffer's frequency", std::uint32_t{actual.Frequency()}, expected.frequency);
    for (auto const& change : model_.changes) {
        CompareStretch(actual, change.first, change.second);
    }
}

void PlaybackPair::CompareStretch(Simulation::SoundBuffer const& actual, std::uint32_t byte,
                                  std::uint32_t count) {
    std::vector<std::uint8_t> const& expected = model_.sound.ring;
    std::uint32_t const first = byte / 2;
    std::uint32_t const samples = (byte + count + 1) / 2 - first;
    if (!actual.Holds(2 * first, &expected[2 * std::size_t{first}], 2 * samples)) {
        difference_.Report("the ring", "other bytes",
                           std::to_string(count) + " bytes from " + std::to_string(byte) + " on");
    }
}

void PlaybackPair::CompareWholeRing() {
    if (!model_.record.hasSound || !difference_.IsNone()) {
        return;
    }
    auto const& expected = model_.sound.ring;
    auto const& actual = world_.LatestBuffer();
    bool const isSame =
        actual.RingBytes() == expected.size() && actual.Holds(0, expected.data(), actual.RingBytes());
    difference_.Check("every byte of the ring", isSame, true);
}

void PlaybackPair::End() {
    CompareWholeRing();
    model_.ReleaseSound();
    state_.reset();
}

} // namespace ModelTest
