#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <regex>
#include <set>
#include <string>

#include "interfacetest.h"

namespace SdkTest {
namespace {

using testing::IsSupersetOf;
using testing::SizeIs;

constexpr std::uint32_t MaxU32 = std::numeric_limits<std::uint32_t>::max();

/// All that is open once, to be misused.
class Misuse : public InterfaceTest {
protected:
    Misuse() {
        EXPECT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &capture), RA_SUCCESS);
        EXPECT_EQ(RaCodecOpen(FrequencyHz, 1, &codec), RA_SUCCESS);
    }
    ~Misuse() override { EXPECT_EQ(RaCodecClose(codec), RA_SUCCESS); }

    /// Every call gives -41, puts no handle anywhere, and leaves the session playing.
    void ExpectAllRefused(std::vector<std::pair<std::string, std::function<RaStatus()>>> const& calls) {
        for (auto const& [name, call] : calls) {
            EXPECT_EQ(call(), RA_INVALID_ARGUMENT) << name;
        }
        EXPECT_EQ(untouchedEngine, nullptr);
        EXPECT_EQ(untouchedSession, nullptr);
        EXPECT_EQ(untouchedCapture, nullptr);
        EXPECT_EQ(untouchedCodec, nullptr);
        EXPECT_EQ(Statistics().sessions, 1U);
        Play(session, 2);
        EXPECT_EQ(StatisticsOf(session).framesRendered, 2U);
        EXPECT_EQ(StatisticsOf(session).framesSubmitted, 2U);
    }

    std::function<RaStatus()> Open(RaOptions const& options) {
        return [=] { return RaOpen(&options, &untouchedEngine); };
    }
    std::function<RaStatus()> OpenWith(std::function<void(RaStreamFormat&)> const& change) {
        RaStreamFormat format = PcmFormat();
        change(format);
        return [=] {
            RaStatus const status = RaSessionSetFormat(session, &format);
            EXPECT_EQ(RaSessionOpen(engine, &format, nullptr, nullptr, &untouchedSession), status);
            return status;
        };
    }
    std::function<RaStatus()> SubmitWith(std::function<void(RaFrame&)> const& change) {
        RaFrame frame = {sizeof(RaFrame), FrameBytes, samples.data(), NanoSecPerSec, 2'000 * NanoSecPerSec};
        change(frame);
        return [=] { return RaSessionSubmit(session, &frame); };
    }
    std::function<RaStatus()> FeedWith(std::function<void(RaStreamFormat&)> const& change) {
        RaStreamFormat format = G711Format();
        change(format);
        return [=] { return RaCodecFeed(codec, &format, samples.data(), 160); };
    }

    RaSession const session = OpenSession();
    RaCapture capture = nullptr;
    RaCodec codec = nullptr;
    RaEngine untouchedEngine = nullptr;
    RaSession untouchedSession = nullptr;
    RaCapture untouchedCapture = nullptr;
    RaCodec untouchedCodec = nullptr;
    std::vector<std::int16_t> samples = std::vector<std::int16_t>(FrameSamples, 5);
};

TEST_F(Misuse, OfAHandleIsRefused) {
    RaSession const closed = OpenSession();
    ASSERT_EQ(RaSessionClose(closed), RA_SUCCESS);
    RaStreamFormat const format = PcmFormat();
    RaFrame const frame = {sizeof(RaFrame), FrameBytes, samples.data(), 1, 1};
    RaStatistics statistics = {sizeof(RaStatistics), 0, 0, 0, 0, 0};
    RaSessionStatistics sessionStatistics = {sizeof(RaSessionStatistics), 0, 0, 0, 0, 0, 0, 0, 0};
    RaCapturedFrame captured = {sizeof(RaCapturedFrame), 0, 0, 0, 0, 0, 0};
    float level = 0.0F;
    std::uint32_t count = 0;
    std::vector<std::pair<std::string, std::function<RaStatus()>>> calls;
    // Null, a closed one's, one of another kind, made up.
    for (void* const handle :
         {static_cast<void*>(nullptr), static_cast<void*>(closed), static_cast<void*>(codec),
          reinterpret_cast<void*>(UINTPTR_MAX), static_cast<void*>(samples.data())}) {
        auto* const asEngine = static_cast<RaEngine>(handle);
        auto* const asSession = static_cast<RaSession>(handle);
        auto* const asCapture = static_cast<RaCapture>(handle);
        calls.insert(
            calls.end(),
            {{"RaClose", [=] { return RaClose(asEngine); }},
             {"RaDrain", [=] { return RaDrain(asEngine); }},
             {"RaGetStatistics", [&statistics, asEngine] { return RaGetStatistics(asEngine, &statistics); }},
             {"RaSessionOpen",
              [&, asEngine] {
                  return RaSessionOpen(asEngine, &format, nullptr, nullptr, &untouchedSession);
              }},
             {"RaCaptureOpen",
              [&, asEngine] { return RaCaptureOpen(asEngine, nullptr, nullptr, &untouchedCapture); }},
             {"RaSessionClose", [=] { return RaSessionClose(asSession); }},
             {"RaSessionSetFormat", [&format, asSession] { return RaSessionSetFormat(asSession, &format); }},
             {"RaSessionSubmit", [&frame, asSession] { return RaSessionSubmit(asSession, &frame); }},
             {"RaSessionSetVolume", [=] { return RaSessionSetVolume(asSession, 1.0F, 0.5F); }},
             {"RaSessionGetStatistics",
              [&, asSession] { return RaSessionGetStatistics(asSession, &sessionStatistics); }},
             {"RaCaptureClose", [=] { return RaCaptureClose(asCapture); }},
             {"RaCaptureReadFrame",
              [&, asCapture] {
                  return RaCaptureReadFrame(asCapture, &captured, samples.data(), FrameSamples);
              }},
             {"RaCaptureGetLevel", [&level, asCapture] { return RaCaptureGetLevel(asCapture, &level); }},
             {"RaCaptureRestart", [=] { return RaCaptureRestart(asCapture); }}});
    }
    for (void* const handle : {static_cast<void*>(nullptr), static_cast<void*>(session),
                               static_cast<void*>(engine), reinterpret_cast<void*>(UINTPTR_MAX)}) {
        auto* const asCodec = static_cast<RaCodec>(handle);
        calls.insert(calls.end(),
                     {{"RaCodecClose", [=] { return RaCodecClose(asCodec); }},
                      {"RaCodecFlush", [=] { return RaCodecFlush(asCodec); }},
                      {"RaCodecFeed",
                       [&, asCodec] { return RaCodecFeed(asCodec, &format, samples.data(), FrameBytes); }},
                      {"RaCodecRead",
                       [&, asCodec] { return RaCodecRead(asCodec, samples.data(), FrameSamples, &count); }}});
    }
    ExpectAllRefused(calls);
}

TEST_F(Misuse, OfAPlaceForTheResultIsRefused) {
    RaStreamFormat const format = PcmFormat();
    RaOptions const options = WithoutSilence();
    RaCapturedFrame captured = {sizeof(RaCapturedFrame), 0, 0, 0, 0, 0, 0};
    RaCapturedFrame const same = captured;
    std::uint32_t count = 7;
    ExpectAllRefused({
        {"no engine", [&] { return RaOpen(&options, nullptr); }},
        {"no statistics", [&] { return RaGetStatistics(engine, nullptr); }},
        {"no session", [&] { return RaSessionOpen(engine, &format, nullptr, nullptr, nullptr); }},
        {"no session statistics", [&] { return RaSessionGetStatistics(session, nullptr); }},
        {"no capture", [&] { return RaCaptureOpen(engine, nullptr, nullptr, nullptr); }},
        {"no frame", [&] { return RaCaptureReadFrame(capture, nullptr, samples.data(), FrameSamples); }},
        {"no samples", [&] { return RaCaptureReadFrame(capture, &captured, nullptr, FrameSamples); }},
        {"too few samples",
         [&] { return RaCaptureReadFrame(capture, &captured, samples.data(), FrameSamples - 1); }},
        {"no level", [&] { return RaCaptureGetLevel(capture, nullptr); }},
        {"no codec", [&] { return RaCodecOpen(FrequencyHz, 1, nullptr); }},
        {"no samples of the codec", [&] { return RaCodecRead(codec, nullptr, 1, &count); }},
        {"no capacity", [&] { return RaCodecRead(codec, samples.data(), 0, &count); }},
        {"no count", [&] { return RaCodecRead(codec, samples.data(), 1, nullptr); }},
    });
    EXPECT_EQ(captured.timestampNanoSec, same.timestampNanoSec);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(samples.front(), 5);
}

TEST_F(Misuse, OfOptionsIsRefused) {
    ExpectAllRefused({{"size 0", Open({0, 0, 0, 0})},
                      {"size too small", Open({15, 0, 0, 0})},
                      {"size too large", Open({RA_MAX_STRUCT_BYTES + 1, 0, 0, 0})},
                      {"warm-up below none", Open({16, -2, 0, 0})},
                      {"warm-up too long", Open({16, 10001, 0, 0})},
                      {"too many workers", Open({16, RA_NO_SILENCE, 65, 0})},
                      {"absurdly many workers", Open({16, RA_NO_SILENCE, MaxU32, 0})},
                      {"reserved", Open({16, RA_NO_SILENCE, 0, 1})}});
}

TEST_F(Misuse, OfAFormatIsRefused) {
    static std::uint8_t const config[2] = {0x11, 0x88};
    ExpectAllRefused({
        {"null", [&] { return RaSessionOpen(engine, nullptr, nullptr, nullptr, &untouchedSession); }},
        {"set null", [&] { return RaSessionSetFormat(session, nullptr); }},
        {"feed null", [&] { return RaCodecFeed(codec, nullptr, samples.data(), 160); }},
        {"size", OpenWith([](auto& format) { format.size = 39; })},
        {"coding 0", OpenWith([](auto& format) { format.coding = 0; })},
        {"coding before the first", OpenWith([](auto& format) { format.coding = 0x2FF; })},
        {"coding behind the last", OpenWith([](auto& format) { format.coding = 0x306; })},
        {"coding that is silent", OpenWith([](auto& format) { format.coding = RA_CODING_OPUS; })},
        {"frequency 0", OpenWith([](auto& format) { format.frequencyHz = 0; })},
        {"other frequency of PCM", OpenWith([](auto& format) { format.frequencyHz = 44100; })},
        {"channels 0", OpenWith([](auto& format) { format.channels = 0; })},
        {"stereo", OpenWith([](auto& format) { format.channels = 2; })},
        {"bits", OpenWith([](auto& format) { format.bitsPerSample = 8; })},
        {"law of PCM", OpenWith([](auto& format) { format.law = RA_LAW_A; })},
        {"config without bytes", OpenWith([](auto& format) { format.decoderConfig = config; })},
        {"bytes without config", OpenWith([](auto& format) { format.decoderConfigBytes = 2; })},
        {"reserved", OpenWith([](auto& format) { format.reserved = 1; })},
        {"fed coding", FeedWith([](auto& format) { format.coding = MaxU32; })},
        {"fed frequency", FeedWith([](auto& format) { format.frequencyHz = 768001; })},
        {"fed channels", FeedWith([](auto& format) { format.channels = 9; })},
        {"fed bits", FeedWith([](auto& format) { format.bitsPerSample = 16; })},
        {"fed bits of G.726", FeedWith([](auto& format) {
             format.coding = RA_CODING_G726;
             format.bitsPerSample = 6;
         })},
        {"fed law", FeedWith([](auto& format) { format.law = 2; })},
        {"fed config too long", FeedWith([this](auto& format) {
             format.decoderConfig = samples.data();
             format.decoderConfigBytes = RA_MAX_DECODER_CONFIG_BYTES + 1;
         })},
    });
}

TEST_F(Misuse, OfAFrameIsRefused) {
    RaStreamFormat const format = G711Format();
    ExpectAllRefused({
        {"null", [&] { return RaSessionSubmit(session, nullptr); }},
        {"size", SubmitWith([](auto& frame) { frame.size = 31; })},
        {"no data", SubmitWith([](auto& frame) { frame.data = nullptr; })},
        {"no bytes", SubmitWith([](auto& frame) { frame.bytes = 0; })},
        {"half a sample", SubmitWith([](auto& frame) { frame.bytes = 1919; })},
        {"too many bytes", SubmitWith([](auto& frame) { frame.bytes = RA_MAX_FRAME_BYTES + 2; })},
        {"absurdly many bytes", SubmitWith([](auto& frame) { frame.bytes = MaxU32 - 1; })},
        {"no timestamp", SubmitWith([](auto& frame) { frame.timestampNanoSec = 0; })},
        {"timestamp below 0", SubmitWith([](auto& frame) { frame.timestampNanoSec = INT64_MIN; })},
        {"no presentation time", SubmitWith([](auto& frame) { frame.presentationNanoSec = 0; })},
        {"presentation time below 0", SubmitWith([](auto& frame) { frame.presentationNanoSec = -1; })},
        {"fed no data", [&] { return RaCodecFeed(codec, &format, nullptr, 160); }},
        {"fed no bytes", [&] { return RaCodecFeed(codec, &format, samples.data(), 0); }},
        {"fed too many bytes",
         [&] { return RaCodecFeed(codec, &format, samples.data(), RA_MAX_FRAME_BYTES + 1); }},
    });
}

TEST_F(Misuse, OfANumberIsRefused) {
    float const none = std::nanf("");
    ExpectAllRefused({
        {"volume below 0", [&] { return RaSessionSetVolume(session, -0.01F, 0.5F); }},
        {"volume above 1", [&] { return RaSessionSetVolume(session, 1.01F, 0.5F); }},
        {"volume no number", [&] { return RaSessionSetVolume(session, none, 0.5F); }},
        {"balance below 0", [&] { return RaSessionSetVolume(session, 1.0F, -0.01F); }},
        {"balance infinite", [&] { return RaSessionSetVolume(session, 1.0F, HUGE_VALF); }},
        {"balance no number", [&] { return RaSessionSetVolume(session, 1.0F, none); }},
        {"frequency 0", [&] { return RaCodecOpen(0, 1, &untouchedCodec); }},
        {"frequency too high", [&] { return RaCodecOpen(768001, 1, &untouchedCodec); }},
        {"channels 0", [&] { return RaCodecOpen(48000, 0, &untouchedCodec); }},
        {"channels 9", [&] { return RaCodecOpen(48000, 9, &untouchedCodec); }},
        {"log level below 0", [] { return RaSetLog(nullptr, nullptr, -1); }},
        {"log level above", [] { return RaSetLog(nullptr, nullptr, 4); }},
    });
    Play(session, 13);
    EXPECT_EQ(world.OnlyBuffer().Volume(), DSBVOLUME_MAX);
}

TEST_F(Misuse, OfTheClockAndOfHugeTimesIsTheRenderersToJudge) {
    RaFrame const frame = {sizeof(RaFrame), FrameBytes, samples.data(), INT64_MAX, INT64_MAX};
    EXPECT_EQ(RaSessionSubmit(session, &frame), RA_SUCCESS);
    EXPECT_EQ(RaDrain(engine), RA_SUCCESS);
    EXPECT_EQ(StatisticsOf(session).framesSubmitted, 1U);
}

// --- statuses

std::set<int> FindCodes(char const* path, std::string const& pattern) {
    std::ifstream file(path);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    std::set<int> codes;
    std::regex const code(pattern);
    for (std::sregex_iterator found(text.begin(), text.end(), code), end; found != end; ++found) {
        codes.insert(std::stoi((*found)[1]));
    }
    return codes;
}

TEST(StatusText, EveryStatusOfHeaderAndModuleHasOneOfItsOwn) {
    std::set<int> const known =
        FindCodes(SDK_HEADER, "RA_[A-Z_]+ = (-?[0-9]+),?\n(?=[^;]*RA_OUT_OF_MEMORY|\\};)");
    EXPECT_THAT(known, SizeIs(12));
    EXPECT_THAT(known, IsSupersetOf(FindCodes(MODULE_STATUSES, "constexpr int [A-Za-z]+ = (-?[0-9]+);")));
    std::set<std::string> texts = {RaGetStatusText(1)};
    for (int const code : known) {
        EXPECT_TRUE(texts.insert(RaGetStatusText(code)).second) << code << ": " << RaGetStatusText(code);
    }
}

TEST(StatusText, OfANumberThatIsNoneTellsThatItIsUnknown) {
    for (RaStatus const status : {1, -2, -203, INT32_MIN, INT32_MAX}) {
        EXPECT_STREQ(RaGetStatusText(status), "unknown status");
    }
}

} // namespace
} // namespace SdkTest
