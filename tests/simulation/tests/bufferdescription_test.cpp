#include "simulation/device/bufferdescription.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

struct Case {
    char const* name;
    std::function<void(DSBUFFERDESC&, WAVEFORMATEX&)> change;
    /// Invalid where it names a mistake.
    HRESULT result;
};

class BufferDescription_Judge : public testing::TestWithParam<Case> {};

TEST_P(BufferDescription_Judge, GivesTheVerdictOfTheRealThing) {
    WAVEFORMATEX format = MakeFormat();
    DSBUFFERDESC description = MakeDescription(format);
    GetParam().change(description, format);
    DescriptionVerdict const verdict = JudgeDescription(&description);
    EXPECT_EQ(verdict.result, GetParam().result);
    EXPECT_EQ(!verdict.mistake.empty(), verdict.result == DSERR_INVALIDPARAM) << verdict.mistake;
}

INSTANTIATE_TEST_SUITE_P(
    All, BufferDescription_Judge,
    testing::Values(
        Case{"AsItShouldBe", [](DSBUFFERDESC&, WAVEFORMATEX&) {}, DS_OK},
        Case{"OldSize", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize = sizeof(DSBUFFERDESC1); }, DS_OK},
        Case{"SizeOneLess", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize -= 1; }, DSERR_INVALIDPARAM},
        Case{"SizeOneMore", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize += 1; }, DSERR_INVALIDPARAM},
        Case{"Reserved", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwReserved = 1; }, DSERR_INVALIDPARAM},
        Case{"Primary", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags = DSBCAPS_PRIMARYBUFFER; },
             DSERR_UNSUPPORTED},
        Case{"TwoPlaces", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags |= DSBCAPS_LOCHARDWARE; },
             DSERR_INVALIDPARAM},
        Case{"SpaceAndPan", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags |= DSBCAPS_CTRL3D; },
             DSERR_INVALIDPARAM},
        Case{"NoFormat", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.lpwfxFormat = nullptr; }, DSERR_INVALIDPARAM},
        Case{"BytesBelowLeast", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = DSBSIZE_MIN - 2; },
             DSERR_INVALIDPARAM},
        Case{"BytesLeast", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = DSBSIZE_MIN; }, DS_OK},
        Case{"BytesMost", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = DSBSIZE_MAX - 1; }, DS_OK},
        Case{"BytesAboveMost", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = DSBSIZE_MAX + 1U; },
             DSERR_INVALIDPARAM},
        Case{"BytesOdd", [](DSBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes += 1; }, DSERR_INVALIDPARAM},
        Case{"NotPcm", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.wFormatTag = 3; }, DSERR_BADFORMAT},
        Case{"NoChannel", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(0); }, DSERR_INVALIDPARAM},
        Case{"TwoChannels", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(2); }, DS_OK},
        Case{"ThreeChannels", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(3); }, DSERR_BADFORMAT},
        Case{"EightBits", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 48'000, 8); }, DS_OK},
        Case{"TwelveBits", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.wBitsPerSample = 12; }, DSERR_INVALIDPARAM},
        Case{"RateBelowLeast", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 99); },
             DSERR_INVALIDPARAM},
        Case{"RateLeast", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 100); }, DS_OK},
        Case{"RateMost", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 200'000); }, DS_OK},
        Case{"RateAboveMost", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 200'001); },
             DSERR_INVALIDPARAM},
        Case{"WrongAlignment", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nBlockAlign = 1; }, DSERR_INVALIDPARAM},
        Case{"WrongAverage", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.nAvgBytesPerSec += 1; },
             DSERR_INVALIDPARAM},
        Case{"FormatNotCleared", [](DSBUFFERDESC&, WAVEFORMATEX& f) { f.cbSize = 1; }, DSERR_INVALIDPARAM}),
    [](testing::TestParamInfo<Case> const& tested) { return std::string(tested.param.name); });

struct CaptureCase {
    char const* name;
    std::function<void(DSCBUFFERDESC&, WAVEFORMATEX&)> change;
    /// Invalid where it names a mistake.
    HRESULT result;
};

class BufferDescription_JudgeCapture : public testing::TestWithParam<CaptureCase> {};

TEST_P(BufferDescription_JudgeCapture, GivesTheVerdictOfTheRealThing) {
    WAVEFORMATEX format = MakeFormat();
    DSCBUFFERDESC description = MakeCaptureDescription(format);
    GetParam().change(description, format);
    DescriptionVerdict const verdict = JudgeDescription(&description);
    EXPECT_EQ(verdict.result, GetParam().result);
    EXPECT_EQ(!verdict.mistake.empty(), verdict.result == DSERR_INVALIDPARAM) << verdict.mistake;
}

DSCEFFECTDESC effect{};

INSTANTIATE_TEST_SUITE_P(
    All, BufferDescription_JudgeCapture,
    testing::Values(
        CaptureCase{"AsItShouldBe", [](DSCBUFFERDESC&, WAVEFORMATEX&) {}, DS_OK},
        CaptureCase{"OldSize",
                    [](DSCBUFFERDESC& d, WAVEFORMATEX&) {
                        // What lies behind an old description is none of its fields.
                        d.dwSize = sizeof(DSCBUFFERDESC1);
                        d.dwFXCount = 1;
                    },
                    DS_OK},
        CaptureCase{"SizeOneLess", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize -= 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"SizeOneMore", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwSize += 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"Reserved", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwReserved = 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"NoFlags", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags = 0; }, DS_OK},
        CaptureCase{"UnknownFlag", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwFlags |= 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"EffectCountAlone", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwFXCount = 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"EffectsAlone", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.lpDSCFXDesc = &effect; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"Effects",
                    [](DSCBUFFERDESC& d, WAVEFORMATEX&) {
                        d.dwFXCount = 1;
                        d.lpDSCFXDesc = &effect;
                    },
                    DSERR_UNSUPPORTED},
        CaptureCase{"NoFormat", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.lpwfxFormat = nullptr; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"NoBytes", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = 0; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"OneFrame", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes = 2; }, DS_OK},
        CaptureCase{"BytesOdd", [](DSCBUFFERDESC& d, WAVEFORMATEX&) { d.dwBufferBytes += 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"TwoChannels", [](DSCBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(2); }, DS_OK},
        CaptureCase{"EightBits", [](DSCBUFFERDESC&, WAVEFORMATEX& f) { f = MakeFormat(1, 48'000, 8); },
                    DSERR_BADFORMAT},
        CaptureCase{"WrongAverage", [](DSCBUFFERDESC&, WAVEFORMATEX& f) { f.nAvgBytesPerSec += 1; },
                    DSERR_INVALIDPARAM},
        CaptureCase{"FormatNotCleared", [](DSCBUFFERDESC&, WAVEFORMATEX& f) { f.cbSize = 1; },
                    DSERR_INVALIDPARAM}),
    [](testing::TestParamInfo<CaptureCase> const& tested) { return std::string(tested.param.name); });

TEST(BufferDescription_JudgeNull, IsAMistake) {
    DSBUFFERDESC const* const none = nullptr;
    DSCBUFFERDESC const* const noneOfCapture = nullptr;
    for (DescriptionVerdict const& verdict : {JudgeDescription(none), JudgeDescription(noneOfCapture)}) {
        EXPECT_EQ(verdict.result, DSERR_INVALIDPARAM);
        EXPECT_FALSE(verdict.mistake.empty());
    }
}

} // namespace
} // namespace Simulation
