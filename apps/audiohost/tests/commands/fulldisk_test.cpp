#include <gtest/gtest.h>

#include <sstream>

#include "commands/record.h"
#include "files/wavfile.h"
#include "listening/tests/testsounds.h"
#include "play/trace.h"
#include "support/testerror.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"

namespace AudioHost {

namespace {

/// A file on a disk that is always full.
constexpr char const* FullPath = "/dev/full";

class OneMicrophone : public CaptureAccess {
public:
    explicit OneMicrophone(TestClock const& clock)
        : microphone_(std::make_shared<TestMicrophone>(clock, Listening::MakeVoice(48000))) {}

    std::shared_ptr<Microphone> Open() override { return microphone_; }
    bool StartMeter(std::function<bool(float)> const&) override { return false; }

private:
    std::shared_ptr<TestMicrophone> const microphone_;
};

} // namespace

TEST(WavFile_Append, OnAFullDiskEndsWithItsCode) {
    WavFile file(FullPath);
    EXPECT_EQ(CodeOf([&] { file.Append(Listening::Samples(10000)); }), ExitCode_t::NotWritten);
}

TEST(Record, OnAFullDiskSumsUpShutsDownAndEndsWithItsCode) {
    TestClock clock;
    ClockPacer pacer(clock);
    TestRenderer renderer;
    OneMicrophone capture(clock);
    std::ostringstream out;
    RecordOptions options;
    options.outPath = FullPath;
    EXPECT_EQ(CodeOf([&] { Record(options, {renderer, pacer, out}, capture); }), ExitCode_t::NotWritten);
    EXPECT_NE(out.str().find("The recording broke off."), std::string::npos);
    EXPECT_EQ(renderer.shutdowns, 1);
}

TEST(Trace_Close, OnAFullDiskSaysSo) {
    Trace trace(FullPath);
    std::string sentence;
    EXPECT_EQ(CodeOf([&] { trace.Close(); }, &sentence), ExitCode_t::Internal);
    EXPECT_NE(sentence.find("is the disk full?"), std::string::npos) << sentence;
}

} // namespace AudioHost
