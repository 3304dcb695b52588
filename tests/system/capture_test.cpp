#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

#include "microphonefeed.h"
#include "noise.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"

namespace SystemTest {
namespace {

using Frames = std::vector<std::shared_ptr<Media::FrameAud>>;
using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t BlockSamples = 960;
constexpr std::int64_t BlockNanoSec = 20'000'000;
/// As often as a host should read, so that no read finds many blocks.
constexpr Milliseconds PollPeriod{10};
/// Nothing that is waited for takes so long unless it has failed.
constexpr std::chrono::seconds Patience{30};
/// A capture that has not given its first block by then gives none.
constexpr std::chrono::seconds FirstBlockPatience{2};
/// So long a silence is no stall of the audio server.
constexpr std::size_t EndBlocks = 40;
/// On a busy machine one capture in a hundred is born dead: so many in a row are not Wine's doing.
constexpr int CaptureAttempts = 5;

/// The level of blocks whose extremes lie `steps` of 255 apart.
float LevelOfRange(int steps) {
    return std::pow(static_cast<float>(steps) / 255.0F, 0.65625F);
}
constexpr float LevelTolerance = 1e-4F;

AudioHost::Samples Sine(double amplitude, std::size_t count) {
    // 1000 Hz: 48 samples a period, with both extremes among them.
    AudioHost::Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        constexpr double Pi = 3.14159265358979323846;
        samples[i] = static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(2.0 * Pi * static_cast<double>(i % 48) / 48.0)));
    }
    return samples;
}

AudioHost::Samples FullScaleSquare(std::size_t count) {
    AudioHost::Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = i / 24 % 2 == 0 ? INT16_MIN : INT16_MAX;
    }
    return samples;
}

AudioHost::Samples SamplesIn(Media::FrameAud const& frame) {
    Kovra::BufferInfo const& info = *frame.GetConstBufferBegin();
    AudioHost::Samples samples(info.GetLength() / sizeof(std::int16_t));
    std::memcpy(samples.data(), info.GetData(), samples.size() * sizeof(std::int16_t));
    return samples;
}

/// Finds blocks of a known sound, wherever in it they begin.
class BlockFinder {
public:
    explicit BlockFinder(AudioHost::Samples const& sound) : sound_(sound) {
        for (std::size_t i = 0; i + KeySamples <= sound.size(); ++i) {
            places_.emplace(KeyAt(sound.data() + i), i);
        }
    }

    /// Where in the sound `block` lies, every sample of it; nothing when it is not a part of it.
    std::optional<std::size_t> Find(AudioHost::Samples const& block) const {
        auto const [first, last] = places_.equal_range(KeyAt(block.data()));
        for (auto place = first; place != last; ++place) {
            if (place->second + block.size() <= sound_.size() &&
                std::equal(block.begin(), block.end(),
                           sound_.begin() + static_cast<std::ptrdiff_t>(place->second))) {
                return place->second;
            }
        }
        return std::nullopt;
    }

private:
    static constexpr std::size_t KeySamples = 4;

    static std::uint64_t KeyAt(std::int16_t const* samples) {
        std::uint64_t key = 0;
        std::memcpy(&key, samples, sizeof(key));
        return key;
    }

    AudioHost::Samples const& sound_;
    std::unordered_multimap<std::uint64_t, std::size_t> places_;
};

/// The module as a host runs it, with a microphone that the tests feed.
class CaptureTest : public testing::Test {
protected:
    CaptureTest() {
        Media::Pipeline::SetAudioRenderer(&renderer);
        EXPECT_EQ(renderer.Initialize(), 0);
        microphone = renderer.GetCaptureProxy();
    }
    ~CaptureTest() override {
        renderer.Shutdown();
        Media::Pipeline::SetAudioRenderer(nullptr);
    }

    void SetUp() override {
        ASSERT_NE(microphone, nullptr) << "no microphone: is the audio server there?";
        if (!Poll([this] { return microphone->SampleLineLevel() == 0; }, FirstBlockPatience)) {
            ASSERT_FALSE(RestartCapture().empty());
        }
        // What the test before has fed may still be on its way.
        int silentReads = 0;
        int reads = 0;
        int status = 0;
        ASSERT_TRUE(Poll([&] {
            for (status = microphone->SampleLineLevel(); status == 0;
                 status = microphone->SampleLineLevel()) {
                ++reads;
                silentReads = microphone->GetLineLevel() == 0.0F ? silentReads + 1 : 0;
            }
            // More than the meter remembers, and more than the server has under way.
            return silentReads >= 50;
        })) << "the microphone does not fall silent: "
            << reads << " reads, the last status " << status << ", level " << microphone->GetLineLevel();
    }

    /// Begins anew at frame number 0 and at the ring's start. Its first frames; none when it cannot be had.
    ///
    /// A capture of Wine 8.0 stays silent for ever when the thread that CreateCaptureBuffer makes runs before
    /// that call has counted the buffer's first reference: the thread ends at once. Nothing tells, and only
    /// another buffer helps, which is what a host would do (docs/integration.md). A trace of dsound shows it.
    Frames RestartCapture() {
        Frames frames;
        for (int attempt = 0; attempt < CaptureAttempts && frames.empty(); ++attempt) {
            microphone->StopBufferCapture();
            microphone->StartBufferCapture();
            EXPECT_TRUE(microphone->IsInitialized());
            Poll([&] { return microphone->ReadFrames(frames) == 0; }, FirstBlockPatience);
        }
        return frames;
    }

    /// Asks every 10 ms; false when `isDone` stays so for too long.
    template <class IsDone>
    bool Poll(IsDone isDone, std::chrono::seconds patience = Patience) {
        auto const deadline = std::chrono::steady_clock::now() + patience;
        while (!isDone()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(PollPeriod);
        }
        return true;
    }

    /// Reads until `frames` holds `count` frames.
    bool ReadFrames(Frames& frames, std::size_t count) {
        return Poll([&] {
            microphone->ReadFrames(frames);
            return frames.size() >= count;
        });
    }

    /// Reads until a sound has come and silence has followed it, however late the audio server comes to it.
    bool ReadSound(Frames& frames) {
        std::size_t seen = frames.size();
        std::size_t silent = 0;
        bool isHeard = false;
        return Poll([&] {
            microphone->ReadFrames(frames);
            for (; seen < frames.size(); ++seen) {
                AudioHost::Samples const samples = SamplesIn(*frames[seen]);
                bool const isSilent = std::all_of(samples.begin(), samples.end(),
                                                  [](std::int16_t sample) { return sample == 0; });
                isHeard = isHeard || !isSilent;
                silent = isSilent ? silent + 1 : 0;
            }
            return isHeard && silent >= EndBlocks;
        });
    }

    /// The levels that every metered stretch has left, from now until `count` were metered.
    std::vector<float> TakeLevels(std::size_t count) {
        std::vector<float> levels;
        EXPECT_TRUE(Poll([&] {
            if (microphone->SampleLineLevel() == 0) {
                levels.push_back(microphone->GetLineLevel());
            }
            return levels.size() >= count;
        }));
        return levels;
    }

    Media::RendererAudio renderer;
    std::shared_ptr<Media::RendererAudioCaptureProxy> microphone;
    MicrophoneFeed const feed = MicrophoneFeed::FromEnvironment();
};

class CaptureProxy_ReadFrames : public CaptureTest {};
class CaptureProxy_GetLineLevel : public CaptureTest {};
class CaptureProxy_StartBufferCapture : public CaptureTest {};
class RendererAudio_GetLineLevelCallbacks : public CaptureTest {};

TEST_F(CaptureProxy_ReadFrames, GiveAKnownSoundBackWithoutAChangedSample) {
    // From the ring's start, so that it does not come round while this lasts.
    Frames frames = RestartCapture();
    constexpr std::size_t SoundBlocks = 150;
    AudioHost::Samples const sound = MakeNoise(7, SoundBlocks * BlockSamples);
    feed.Play(sound);
    ASSERT_TRUE(ReadSound(frames));

    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(frames[i]->GetIdent().sequenceNumber, i);
        ASSERT_EQ(frames[i]->GetIdent().sourceName, "Microphone");
        ASSERT_EQ(frames[i]->GetTimestamp() - frames[0]->GetTimestamp(),
                  Kovra::SysTime(static_cast<std::int64_t>(i) * BlockNanoSec));
    }

    BlockFinder const finder(sound);
    std::size_t found = 0;
    std::size_t jumps = 0;
    std::optional<std::size_t> expected;
    for (auto const& frame : frames) {
        auto const place = finder.Find(SamplesIn(*frame));
        if (!place) {
            continue;
        }
        jumps += expected && *place != *expected ? 1 : 0;
        expected = *place + BlockSamples;
        ++found;
    }
    // The sound begins and ends within blocks; beyond that a busy machine may make the audio server miss a
    // beat or two, each of which spoils at most the blocks that it touches.
    EXPECT_GE(found, SoundBlocks - 8);
    EXPECT_LE(jumps, 2U);
}

TEST_F(CaptureProxy_ReadFrames, OfMoreThanTheRingLoseNoMoreThanTheBlocksBehindItsEnd) {
    Frames frames = RestartCapture();
    constexpr std::size_t SoundBlocks = 400;
    AudioHost::Samples const sound = MakeNoise(8, SoundBlocks * BlockSamples);
    feed.Play(sound);
    ASSERT_TRUE(ReadSound(frames));
    BlockFinder const finder(sound);
    auto const found =
        static_cast<std::size_t>(std::count_if(frames.begin(), frames.end(), [&](auto const& frame) {
            return finder.Find(SamplesIn(*frame)).has_value();
        }));
    // Two ends of the ring, at each of which a read that came late on a busy machine skips a handful of
    // blocks.
    EXPECT_GE(found, SoundBlocks - 30);
}

TEST_F(CaptureProxy_GetLineLevel, OfSilenceIsZero) {
    for (float const level : TakeLevels(25)) {
        EXPECT_EQ(level, 0.0F);
    }
}

TEST_F(CaptureProxy_GetLineLevel, OfASineOfMinus20DecibelsIsWhatItsExtremesGive) {
    feed.Play(Sine(3277, 2 * AudioHost::SoundRateHz));
    auto const levels = TakeLevels(75);
    // -3277 and 3277 reduce to 115 and 140.
    auto const count = std::count_if(levels.begin(), levels.end(), [](float level) {
        return std::abs(level - LevelOfRange(25)) < LevelTolerance;
    });
    // Once the sine fills the meter's 320 ms, which leaves most of its two seconds.
    EXPECT_GE(count, 20);
    // Nothing louder was ever there.
    EXPECT_LT(*std::max_element(levels.begin(), levels.end()), LevelOfRange(25) + LevelTolerance);
}

TEST_F(CaptureProxy_GetLineLevel, OfAFullScaleSquareIsOne) {
    feed.Play(FullScaleSquare(2 * AudioHost::SoundRateHz));
    auto const levels = TakeLevels(75);
    EXPECT_GE(std::count(levels.begin(), levels.end(), 1.0F), 20);
}

TEST_F(CaptureProxy_StartBufferCapture, AfterAStopBeginsAtFrameNumberZero) {
    Frames before;
    ASSERT_TRUE(ReadFrames(before, 5));
    microphone->StopBufferCapture();
    Frames stopped;
    EXPECT_EQ(microphone->ReadFrames(stopped), -30);
    EXPECT_TRUE(stopped.empty());
    Frames after = RestartCapture();
    ASSERT_TRUE(ReadFrames(after, 5));
    for (std::uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(after[i]->GetIdent().sequenceNumber, i);
    }
    EXPECT_LT(before.back()->GetTimestamp(), after.front()->GetTimestamp());
}

/// Counts calls of a level callback; tells when there were enough.
class LevelListener {
public:
    /// Asks for more until it was called `limit` times.
    explicit LevelListener(int limit) : limit_(limit) {}

    std::function<bool(float)> Callback() {
        return [this](float level) {
            std::lock_guard<std::mutex> const guard(lock_);
            ++calls_;
            highest_ = std::max(highest_, level);
            changed_.notify_all();
            return calls_ < limit_;
        };
    }

    bool WaitForCalls(int count) {
        std::unique_lock<std::mutex> guard(lock_);
        return changed_.wait_for(guard, Patience, [&] { return calls_ >= count; });
    }
    int GetCalls() {
        std::lock_guard<std::mutex> const guard(lock_);
        return calls_;
    }
    float GetHighest() {
        std::lock_guard<std::mutex> const guard(lock_);
        return highest_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int const limit_;
    int calls_ = 0;
    float highest_ = 0.0F;
};

TEST_F(RendererAudio_GetLineLevelCallbacks, AFalseEndsTheThreadOfThatCallbackAlone) {
    LevelListener once(1);
    LevelListener often(50);
    ASSERT_TRUE(renderer.GetLineLevelCallbacks(once.Callback()));
    ASSERT_TRUE(once.WaitForCalls(1));
    ASSERT_TRUE(renderer.GetLineLevelCallbacks(often.Callback()));
    ASSERT_TRUE(often.WaitForCalls(50));
    // A second of reports to the other, and none to the first.
    EXPECT_EQ(once.GetCalls(), 1);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, TwoRunSideBySideAndHearTheSame) {
    LevelListener first(100);
    LevelListener second(100);
    ASSERT_TRUE(renderer.GetLineLevelCallbacks(first.Callback()));
    ASSERT_TRUE(renderer.GetLineLevelCallbacks(second.Callback()));
    feed.Play(Sine(16384, AudioHost::SoundRateHz));
    ASSERT_TRUE(first.WaitForCalls(100));
    ASSERT_TRUE(second.WaitForCalls(100));
    // -16384 and 16384 reduce to 64 and 192.
    EXPECT_NEAR(first.GetHighest(), LevelOfRange(128), LevelTolerance);
    EXPECT_NEAR(second.GetHighest(), LevelOfRange(128), LevelTolerance);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, EndWithTheShutdown) {
    auto const listener = std::make_shared<LevelListener>(1'000'000);
    auto token = std::make_shared<std::promise<void>>();
    std::future<void> const end = token->get_future();
    // The thread has the only callback: what the promise is broken by is the thread's end.
    ASSERT_TRUE(renderer.GetLineLevelCallbacks(
        [token, listener, report = listener->Callback()](float level) { return report(level); }));
    token.reset();
    ASSERT_TRUE(listener->WaitForCalls(5));
    microphone.reset();
    renderer.Shutdown();
    EXPECT_EQ(end.wait_for(Patience), std::future_status::ready);
}

} // namespace
} // namespace SystemTest
