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
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ears/capturedsound.h"
#include "ears/retakes.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "support/recording/microphonefeed.h"
#include "support/recording/noise.h"

namespace SystemTest {
namespace {

using Frames = std::vector<std::shared_ptr<Media::FrameAud>>;
using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t BlockSamples = 960;
constexpr std::int64_t BlockNanoSec = 20'000'000;
/// As often as a host should read, so that no read finds many blocks.
constexpr Milliseconds PollPeriod{10};
/// Nothing that is waited for takes so long unless it has failed: the longest is the ten seconds of a sound
/// that is longer than the ring.
constexpr std::chrono::seconds Patience{120};
/// By then a second of sound has come and gone, unless the machine is busy.
constexpr std::chrono::seconds TakePatience{5};
/// A capture that has not given its first block by then gives none; it takes a tenth of a second. Each
/// further attempt waits as much longer.
constexpr std::chrono::seconds FirstBlockPatience{2};
/// A read that comes so late may find more than one block, of which the module leaves out what lies behind
/// the ring's end, and the machine that let it come so late may have lost sound elsewhere.
constexpr Milliseconds LateRead{60};
constexpr std::int64_t RingSamples = 240000;
/// At one end of the ring: what comes in between two reads that are not late, and a block that had begun.
constexpr std::int64_t MaxLostSamples = 4 * static_cast<std::int64_t>(BlockSamples);
/// So long a silence is no stall of the audio server.
constexpr std::size_t EndBlocks = 40;
/// On a busy machine one capture in a hundred is born dead: so many in a row are not Wine's doing.
constexpr int CaptureAttempts = 5;

/// The level of blocks whose extremes lie `steps` of 255 apart.
float LevelOfRange(int steps) {
    return std::pow(static_cast<float>(steps) / 255.0F, 0.65625F);
}
constexpr float LevelTolerance = 1e-4F;
/// What the meter remembers: 320 ms.
constexpr std::size_t MeterBlocks = 16;

/// The lowest and the highest sample of a block.
using Extremes = std::pair<int, int>;

Listening::Samples Sine(double amplitude, std::size_t count) {
    // 1000 Hz: 48 samples a period, with both extremes among them.
    Listening::Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(2.0 * Listening::Pi * static_cast<double>(i % 48) / 48.0)));
    }
    return samples;
}

Listening::Samples FullScaleSquare(std::size_t count) {
    Listening::Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = i / 24 % 2 == 0 ? INT16_MIN : INT16_MAX;
    }
    return samples;
}

Listening::Samples SamplesIn(Media::FrameAud const& frame) {
    Kovra::BufferInfo const& info = *frame.GetConstBufferBegin();
    Listening::Samples samples(info.GetLength() / sizeof(std::int16_t));
    std::memcpy(samples.data(), info.GetData(), samples.size() * sizeof(std::int16_t));
    return samples;
}

Listening::Samples Join(Frames const& frames) {
    Listening::Samples stream;
    for (auto const& frame : frames) {
        Listening::Samples const samples = SamplesIn(*frame);
        stream.insert(stream.end(), samples.begin(), samples.end());
    }
    return stream;
}

std::string Describe(CaptureBreak const& each) {
    return "at sample " + std::to_string(each.place) + ": " + std::to_string(each.silent) + " silent, " +
           std::to_string(each.lost) + " lost, " + std::to_string(each.foreign) + " foreign";
}

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
            Poll([&] { return microphone->ReadFrames(frames) == 0; }, (attempt + 1) * FirstBlockPatience);
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
    /// Notes when the machine let a read come late.
    void ReadSound(Frames& frames) {
        std::size_t seen = frames.size();
        std::size_t silent = 0;
        bool isHeard = false;
        auto lastRead = std::chrono::steady_clock::now();
        ASSERT_TRUE(Poll([&] {
            auto const now = std::chrono::steady_clock::now();
            wasReadLate = wasReadLate || now - lastRead > LateRead;
            lastRead = now;
            microphone->ReadFrames(frames);
            for (; seen < frames.size(); ++seen) {
                Listening::Samples const samples = SamplesIn(*frames[seen]);
                bool const isSilent = std::all_of(samples.begin(), samples.end(),
                                                  [](std::int16_t sample) { return sample == 0; });
                isHeard = isHeard || !isSilent;
                silent = isSilent ? silent + 1 : 0;
            }
            return isHeard && silent >= EndBlocks;
        })) << frames.size()
            << " frames, " << (isHeard ? "sound" : "no sound") << " among them, the last " << silent
            << " silent";
    }

    /// Plays `sound`, each block of which has these extremes. When nothing else is in the meter it tells
    /// `level`, and never more. Where the machine tears the sound, so that it never fills the meter, it is
    /// played again.
    void ExpectLevel(Listening::SampleView sound, Extremes const& extremes, float level) {
        Retakes retakes(1);
        while (!HasFailure() && retakes.Begin()) {
            feed.Play(sound);
            Frames frames;
            std::size_t filled = 0;
            std::size_t silent = 0;
            bool isHeard = false;
            ASSERT_TRUE(Poll([&] {
                std::size_t const seen = frames.size();
                microphone->ReadFrames(frames);
                for (std::size_t i = seen; i < frames.size(); ++i) {
                    Listening::Samples const samples = SamplesIn(*frames[i]);
                    auto const [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
                    Extremes const found{*lowest, *highest};
                    bool const isSilent = found == Extremes{0, 0};
                    isHeard = isHeard || !isSilent;
                    silent = isSilent ? silent + 1 : 0;
                    filled = found == extremes ? filled + 1 : 0;
                }
                float const metered = microphone->GetLineLevel();
                EXPECT_LT(metered, level + LevelTolerance);
                if (filled >= MeterBlocks) {
                    EXPECT_NEAR(metered, level, LevelTolerance);
                    retakes.Settle(0);
                }
                return isHeard && silent >= EndBlocks;
            }));
        }
        retakes.Conclude();
    }

    /// Plays `sound` and gives the frames that have come back, from the ring's start on, to `judge`, with the
    /// breaks that are not the machine's. When the machine has lost a part of it, it is played again: the
    /// test's own read came late, or the sound is torn within a frame, where the module, which reads whole
    /// blocks, cannot lose anything. Silence that a late feed puts in loses nothing.
    void PlayUntilClear(Listening::SampleView sound,
                        std::function<void(Frames const&, CapturedSound const&)> const& judge) {
        Retakes retakes(1);
        while (!HasFailure() && retakes.Begin()) {
            wasReadLate = false;
            Frames frames = RestartCapture();
            feed.Play(sound);
            ASSERT_NO_FATAL_FAILURE(ReadSound(frames));
            CapturedSound captured = FollowSound(sound, Join(frames));
            bool const isLate = wasReadLate || captured.begin >= RingSamples;
            auto const isMachines = [isLate](CaptureBreak const& each) {
                bool const isWithinFrame = each.place % static_cast<std::int64_t>(BlockSamples) != 0;
                return each.lost != 0 && each.foreign == 0 && (isLate || isWithinFrame);
            };
            auto const machines = std::remove_if(captured.breaks.begin(), captured.breaks.end(), isMachines);
            if (machines == captured.breaks.end()) {
                retakes.Settle(0);
            }
            captured.breaks.erase(machines, captured.breaks.end());
            judge(frames, captured);
        }
        retakes.Conclude();
    }

    Media::RendererAudio renderer;
    std::shared_ptr<Media::RendererAudioCaptureProxy> microphone;
    TestSupport::MicrophoneFeed const feed = TestSupport::MicrophoneFeed::FromEnvironment();
    bool wasReadLate = false;
};

class CaptureProxy_ReadFrames : public CaptureTest {};
class CaptureProxy_GetLineLevel : public CaptureTest {};
class CaptureProxy_StartBufferCapture : public CaptureTest {};
class RendererAudio_GetLineLevelCallbacks : public CaptureTest {};

TEST_F(CaptureProxy_ReadFrames, GiveAKnownSoundBackWithoutAChangedSample) {
    constexpr std::size_t SoundBlocks = 150;
    PlayUntilClear(TestSupport::MakeNoise(7, SoundBlocks * BlockSamples),
                   [](Frames const& frames, CapturedSound const& captured) {
                       for (std::size_t i = 0; i < frames.size(); ++i) {
                           ASSERT_EQ(frames[i]->GetIdent().sequenceNumber, i);
                           ASSERT_EQ(frames[i]->GetIdent().sourceName, "Microphone");
                           ASSERT_EQ(frames[i]->GetTimestamp() - frames[0]->GetTimestamp(),
                                     Kovra::SysTime(static_cast<std::int64_t>(i) * BlockNanoSec));
                       }
                       for (CaptureBreak const& each : captured.breaks) {
                           EXPECT_EQ(each.lost, 0) << Describe(each);
                           EXPECT_EQ(each.foreign, 0) << Describe(each);
                       }
                   });
}

TEST_F(CaptureProxy_ReadFrames, OfMoreThanTheRingLoseNoMoreThanTheBlocksBehindItsEnd) {
    constexpr std::size_t SoundBlocks = 400;
    PlayUntilClear(TestSupport::MakeNoise(8, SoundBlocks * BlockSamples), [](Frames const&,
                                                                             CapturedSound const& captured) {
        // From the ring's start to its end, again and again; what is lost has its place there too.
        std::int64_t lost = 0;
        for (CaptureBreak const& each : captured.breaks) {
            EXPECT_EQ(each.foreign, 0) << Describe(each);
            if (each.lost != 0) {
                EXPECT_EQ((each.place + lost) % RingSamples, 0) << Describe(each);
                EXPECT_EQ(each.lost % static_cast<std::int64_t>(BlockSamples), 0) << Describe(each);
                EXPECT_GT(each.lost, 0) << Describe(each);
                EXPECT_LE(each.lost, MaxLostSamples) << Describe(each);
            }
            lost += each.lost;
        }
    });
}

TEST_F(CaptureProxy_GetLineLevel, OfSilenceIsZero) {
    int levels = 0;
    ASSERT_TRUE(Poll([&] {
        if (microphone->SampleLineLevel() == 0) {
            EXPECT_EQ(microphone->GetLineLevel(), 0.0F);
            ++levels;
        }
        return levels == 25;
    }));
}

TEST_F(CaptureProxy_GetLineLevel, OfASineOfMinus20DecibelsIsWhatItsExtremesGive) {
    // -3277 and 3277 reduce to 115 and 140.
    ExpectLevel(Sine(3277, 2 * Listening::SoundRateHz), {-3277, 3277}, LevelOfRange(25));
}

TEST_F(CaptureProxy_GetLineLevel, OfAFullScaleSquareIsOne) {
    ExpectLevel(FullScaleSquare(2 * Listening::SoundRateHz), {INT16_MIN, INT16_MAX}, 1.0F);
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
    bool WaitForLevel(float level) {
        std::unique_lock<std::mutex> guard(lock_);
        return changed_.wait_for(guard, TakePatience, [&] { return highest_ >= level; });
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
    // The threads may call until after the shutdown.
    auto const first = std::make_shared<LevelListener>(1'000'000);
    auto const second = std::make_shared<LevelListener>(1'000'000);
    for (auto const& listener : {first, second}) {
        ASSERT_TRUE(renderer.GetLineLevelCallbacks(
            [listener, report = listener->Callback()](float level) { return report(level); }));
    }
    // -16384 and 16384 reduce to 64 and 192.
    float const level = LevelOfRange(128);
    // Where the machine tears the sine, so that it never fills the meter, it is played again.
    bool isHeard = false;
    for (int take = 0; take < Retakes::MaxTakes && !isHeard; ++take) {
        feed.Play(Sine(16384, Listening::SoundRateHz));
        isHeard = first->WaitForLevel(level - LevelTolerance) && second->WaitForLevel(level - LevelTolerance);
    }
    for (auto const& listener : {first, second}) {
        // Two seconds of reports: through the sine, and to nothing louder.
        ASSERT_TRUE(listener->WaitForCalls(listener->GetCalls() + 100));
        EXPECT_NEAR(listener->GetHighest(), level, LevelTolerance);
    }
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
