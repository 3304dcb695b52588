#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/testworld.h"
#include "support/facts.h"

namespace Media {}

/// Tests of the module's classes, and the words that all of them use.
namespace UnitTest {

using namespace Facts;
using namespace Media;
using Simulation::Call_t;
using Simulation::CallSet;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::FloatNear;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// At 48 kHz.
inline void ExpectSixteenBitMono(WAVEFORMATEX const& format) {
    EXPECT_EQ(format.wFormatTag, 1);
    EXPECT_EQ(format.nChannels, 1);
    EXPECT_EQ(format.nSamplesPerSec, 48000U);
    EXPECT_EQ(format.nAvgBytesPerSec, 96000U);
    EXPECT_EQ(format.nBlockAlign, 2);
    EXPECT_EQ(format.wBitsPerSample, 16);
    EXPECT_EQ(format.cbSize, 0);
}

} // namespace UnitTest
