#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "rendereraudio/rendereraudio_c.h"
#include "simulation/testworld.h"
#include "support/facts.h"

namespace SdkTest {

using namespace Facts;

inline RaOptions WithoutSilence() {
    return {sizeof(RaOptions), RA_NO_SILENCE, 0, 0};
}

inline RaStreamFormat PcmFormat() {
    return {sizeof(RaStreamFormat), RA_CODING_PCM, FrequencyHz, 1, 16, 0, nullptr, 0, 0};
}

inline RaStreamFormat G711Format(std::uint32_t law = RA_LAW_MU) {
    return {sizeof(RaStreamFormat), RA_CODING_G711, 8000, 1, 8, law, nullptr, 0, 0};
}

/// A simulated machine whose clock the tests move, and an engine on it.
class InterfaceTest : public testing::Test {
protected:
    InterfaceTest() {
        RaOptions const options = WithoutSilence();
        EXPECT_EQ(RaOpen(&options, &engine), RA_SUCCESS);
    }
    ~InterfaceTest() override {
        if (engine != nullptr) {
            EXPECT_EQ(RaClose(engine), RA_SUCCESS);
        }
    }

    RaSession OpenSession(RaReportCallback callback = nullptr, void* context = nullptr) {
        RaSession session = nullptr;
        RaStreamFormat const format = PcmFormat();
        EXPECT_EQ(RaSessionOpen(engine, &format, callback, context, &session), RA_SUCCESS);
        return session;
    }

    /// Frame number `number` of a stream, 20 ms of one value, heard in `leadMilliSec`.
    static RaStatus Submit(RaSession session, std::uint64_t number, std::int16_t value = 1000,
                           std::int64_t leadMilliSec = 200) {
        std::vector<std::int16_t> const samples(FrameSamples, value);
        RaFrame const frame = {sizeof(RaFrame), FrameBytes, samples.data(),
                               NanoSecPerSec + static_cast<std::int64_t>(number) * FrameNanoSec,
                               RaGetTimeNanoSec() + leadMilliSec * NanoSecPerMilliSec};
        return RaSessionSubmit(session, &frame);
    }

    /// Plays `frames` frames in time, each rendered before the next.
    void Play(RaSession session, std::uint64_t frames, std::int16_t value = 1000) {
        for (std::uint64_t number = 0; number < frames; ++number) {
            EXPECT_EQ(Submit(session, number, value), RA_SUCCESS);
            EXPECT_EQ(RaDrain(engine), RA_SUCCESS);
            world.Clock().AdvanceMilliSec(FrameMilliSec);
        }
    }

    RaSessionStatistics StatisticsOf(RaSession session) {
        RaSessionStatistics statistics = {};
        statistics.size = sizeof statistics;
        EXPECT_EQ(RaSessionGetStatistics(session, &statistics), RA_SUCCESS);
        return statistics;
    }
    RaStatistics Statistics() {
        RaStatistics statistics = {};
        statistics.size = sizeof statistics;
        EXPECT_EQ(RaGetStatistics(engine, &statistics), RA_SUCCESS);
        return statistics;
    }

    Simulation::TestWorld world;
    RaEngine engine = nullptr;
};

} // namespace SdkTest
