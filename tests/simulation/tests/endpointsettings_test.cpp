#include <gtest/gtest.h>

#include "sides.h"

// What a playing and a capturing device are told alike. One second of sound is 96,000 bytes.

namespace Simulation {
namespace {

template <class Side>
class EndpointSettings_Set : public testing::Test {
protected:
    DWORD Cursor() { return Side::Cursor(usual); }

    TestWorld world;
    typename Side::Usual usual;
    EndpointSettings& settings = Side::Settings(world);
};

TYPED_TEST_SUITE(EndpointSettings_Set, Sides, );

TYPED_TEST(EndpointSettings_Set, SkewSpeedsTheCursorFromNowOn) {
    TypeParam::Start(this->usual);
    this->world.Clock().AdvanceMilliSec(1000);
    this->settings.SetSkewPartsPerMillion(1000);
    this->world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(this->Cursor(), (48'000U + 48'048U) * 2);
    this->settings.SetSkewPartsPerMillion(-1000);
    this->world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(this->Cursor(), (48'000U + 48'048U + 47'952U) * 2);
}

TYPED_TEST(EndpointSettings_Set, SkewHoldsForBuffersMadeLater) {
    this->settings.SetSkewPartsPerMillion(0.5);
    typename TypeParam::Usual later;
    TypeParam::Start(later);
    // 12 h at 48000.024 Hz: 1036.8 frames more than the whole rings.
    this->world.Clock().AdvanceMilliSec(12LL * 3600 * 1000);
    EXPECT_EQ(TypeParam::Cursor(later), 1'036U * 2);
}

TYPED_TEST(EndpointSettings_Set, CursorStepReportsTheCursorLate) {
    this->settings.SetCursorStep(480);
    TypeParam::Start(this->usual);
    this->world.Clock().Advance(10 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(this->Cursor(), 0U);
    this->world.Clock().Advance(1);
    EXPECT_EQ(this->Cursor(), 960U);
    this->world.Clock().Advance(10 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(this->Cursor(), 960U);
}

TYPED_TEST(EndpointSettings_Set, CursorPhaseBringsTheFirstStepForward) {
    this->settings.SetCursorStep(480, 96);
    TypeParam::Start(this->usual);
    // 480 - 96 = 384 frames take 8 ms.
    this->world.Clock().Advance(8 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(this->Cursor(), 0U);
    this->world.Clock().Advance(1);
    EXPECT_EQ(this->Cursor(), 768U);
    this->world.Clock().Advance(10 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(this->Cursor(), 768U);
    this->world.Clock().Advance(1);
    EXPECT_EQ(this->Cursor(), 768U + 960);
}

TYPED_TEST(EndpointSettings_Set, StartDelayHoldsTheCursorBack) {
    this->settings.SetStartDelay(15 * NanoSecPerMilliSec);
    TypeParam::Start(this->usual);
    this->world.Clock().AdvanceMilliSec(15);
    EXPECT_EQ(this->Cursor(), 0U);
    this->world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(this->Cursor(), 96U);
}

} // namespace
} // namespace Simulation
