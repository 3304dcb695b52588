#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/rendererview.h"

namespace Media {

using Frames = std::vector<std::shared_ptr<FrameAud>>;
using Outcome_t = PipelineStageJob::Outcome_t;

/// A number of random choices for one thread, by the test's seed and the thread's place.
class Dice {
public:
    Dice(std::uint64_t seed, std::uint64_t thread) : engine_(seed * 1000 + thread) {}

    /// 0 to `sides` - 1.
    std::uint32_t Throw(std::uint32_t sides) { return static_cast<std::uint32_t>(engine_() % sides); }

private:
    std::mt19937_64 engine_;
};

/// Threads of a test that are joined when it ends.
class Crew {
public:
    Crew() = default;
    ~Crew() { Join(); }
    Crew(Crew const&) = delete;
    Crew& operator=(Crew const&) = delete;

    template <class Work>
    void Add(Work work) {
        threads_.emplace_back(std::move(work));
    }
    void Join() {
        for (auto& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

private:
    std::vector<std::thread> threads_;
};

/// A renderer that shows the test a session's state, which a pipeline keeps to itself.
class ObservedRenderer final : public RendererAudio {
public:
    /// Where the states of the sessions registered from here on go; null for nowhere. **Threads:** while no
    /// other is inside.
    void ShowStatesIn(boost::intrusive_ptr<PipelineState>* place) { place_ = place; }

    void RegisterSession(PipelineSessionParams_t& params,
                         boost::intrusive_ptr<PipelineState>& state) override {
        RendererAudio::RegisterSession(params, state);
        if (place_ != nullptr) {
            *place_ = state;
        }
    }

private:
    boost::intrusive_ptr<PipelineState>* place_ = nullptr;
};

/// The whole renderer on a platform that shakes every schedule. The parameter is the seed.
///
/// Everything is bounded by counts and by the simulated clock. What threads tell each other goes through
/// relaxed atomics: nothing here puts two threads in an order that the module did not ask for, which would
/// hide its races.
///
/// Locks of a sound buffer exclude each other here where they meet in the same bytes (see
/// `DeviceSettings::SetLocksExclude`). A service pass that clears played samples and a frame that is written
/// share no lock, and in the moment in which an idle session comes back they may write the same bytes of the
/// ring: accepted by design, as neither shall wait for the other.
class RacesTest : public ::testing::TestWithParam<std::uint64_t> {
public:
    static constexpr std::size_t FrameSamples = 960;

    /// How often each test runs.
    static std::uint64_t Rounds();
    static std::uint64_t FirstSeed();
    /// What a test is called after its seed.
    static std::string NameOf(::testing::TestParamInfo<std::uint64_t> const& param) {
        return "Seed" + std::to_string(param.param);
    }

protected:
    static constexpr std::int64_t FrameMilliSec = 20;
    static constexpr std::int64_t FrameNanoSec = FrameMilliSec * UnitTest::NanoSecPerMilliSec;
    /// Timestamp of every session's first frame.
    static constexpr std::int64_t OriginNanoSec = 3'600'000'000'000;
    /// Presentations lie so far ahead that a session may be `MaxFramesBehind` late and wait through some
    /// time in which it gets no frames, and still be in time; yet less than the 312 ms at which a play cursor
    /// jumps.
    static constexpr std::int64_t LeadMilliSec = 280;
    static constexpr std::uint64_t MaxFramesBehind = 4;
    static constexpr std::uint32_t RingSamples = 240000;

    RacesTest();
    ~RacesTest() override;

    Dice MakeDice(std::uint64_t thread) const { return Dice(GetParam(), thread); }

    static Kovra::JiffyTime Ahead(std::int64_t milliSec) {
        return Kovra::JiffyTime::Now().AddMilliSec(milliSec);
    }

    /// Frame number `number` of a session: 960 samples of one value, raw, or coded when `isCoded`.
    static std::shared_ptr<FrameAud> MakeFrame(std::uint64_t number, std::int16_t value,
                                               bool isCoded = false);

    /// Moves time on by up to `milliSec`, one part after the other.
    void Advance(std::int64_t milliSec) { world.Clock().AdvanceMilliSec(milliSec); }

    /// A sound buffer after `frames` frames without a gap, with nothing idle meanwhile: zeros where it was
    /// played and cleared, the frames that are left, and zeros that nothing was written to. `valueOf` gives
    /// each frame's value.
    void ExpectRing(Simulation::SoundBuffer& buffer, std::uint64_t frames,
                    std::function<std::int16_t(std::uint64_t)> const& valueOf) const;

    Simulation::TestWorld world;
    std::unique_ptr<ObservedRenderer> renderer = std::make_unique<ObservedRenderer>();
};

/// Runs a suite's tests once a round.
#define RACES_INSTANTIATE(suite)                                                                         \
    INSTANTIATE_TEST_SUITE_P(                                                                            \
        , suite, ::testing::Range(RacesTest::FirstSeed(), RacesTest::FirstSeed() + RacesTest::Rounds()), \
        RacesTest::NameOf)

} // namespace Media
