#include "commands/doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>

#include "listening/tests/testsounds.h"
#include "sources/testsignal.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"

namespace AudioHost {

using testing::HasSubstr;

namespace {

using Listening::NanoSecPerSec;

class TestCapture : public CaptureAccess {
public:
    std::shared_ptr<Microphone> Open() override {
        if (microphone) {
            microphone->Restart();
        }
        return microphone;
    }
    bool StartMeter(std::function<bool(float)> const&) override { return false; }

    std::shared_ptr<TestMicrophone> microphone;
};

/// An output that is `ppm` faster than the clock. Its cursor is looked at once at each time.
class SteppedOutput : public OutputAccess {
public:
    explicit SteppedOutput(TestClock const& clock) : clock_(clock) {}

    std::unique_ptr<SilentSound> Open() override {
        if (!isThere) {
            return nullptr;
        }
        startNanoSec_ = clock_.nanoSec;
        isOpen_ = true;
        return std::make_unique<Sound>(*this);
    }

    /// Until the cursor has been looked at, at the present time.
    void WaitForLook() {
        std::unique_lock<std::mutex> guard(lock_);
        changed_.wait(guard, [this] { return !isOpen_ || restedAt_ == clock_.nanoSec; });
    }

    bool isThere = false;
    std::int64_t ppm = 0;

private:
    class Sound : public SilentSound {
    public:
        explicit Sound(SteppedOutput& owner) : owner_(owner) {}
        ~Sound() override {
            std::lock_guard<std::mutex> const guard(owner_.lock_);
            owner_.isOpen_ = false;
            owner_.changed_.notify_all();
        }
        Sound(Sound const&) = delete;
        Sound& operator=(Sound const&) = delete;

        std::optional<std::int64_t> GetPositionNanoSec() override {
            std::int64_t const passed = owner_.clock_.nanoSec - owner_.startNanoSec_;
            return (passed + passed / 1'000'000 * owner_.ppm) % GetLengthNanoSec();
        }
        std::int64_t GetLengthNanoSec() const override { return 5 * NanoSecPerSec; }
        void Rest() override {
            std::unique_lock<std::mutex> guard(owner_.lock_);
            owner_.restedAt_ = owner_.clock_.nanoSec;
            owner_.changed_.notify_all();
            // The clock tells nobody that it moved, and the watch may end.
            owner_.changed_.wait_for(guard, std::chrono::microseconds(200));
        }

    private:
        SteppedOutput& owner_;
    };

    TestClock const& clock_;
    std::int64_t startNanoSec_ = 0;
    std::mutex lock_;
    std::condition_variable changed_;
    bool isOpen_ = false;
    std::int64_t restedAt_ = 0;
};

struct DoctorFixture {
    TestFolder folder;
    TestClock clock;
    ClockPacer pacer{clock};
    TestRenderer renderer;
    TestCapture capture;
    SteppedOutput output{clock};
    std::ostringstream out;
    std::ostringstream json;
    DoctorOptions options;

    DoctorFixture() {
        options.seconds = 6.0;
        capture.microphone = std::make_shared<TestMicrophone>(clock, Listening::MakeVoice(96000));
        pacer.onWait = [this](std::int64_t) { output.WaitForLook(); };
    }

    ExitCode_t Run() {
        Surroundings surroundings{renderer, pacer, out};
        surroundings.json = &json;
        DeviceList const devices = {{{"Primary Sound Driver", "", ""}}, {}};
        return Doctor(options, devices, surroundings, capture, output);
    }
    nlohmann::json ReadObject() const { return nlohmann::json::parse(json.str()); }

    /// What is played comes back that much after it is due.
    void Loop(std::int64_t milliSec) {
        Listening::Samples noise;
        std::unique_ptr<PcmStream> const stream = MakeNoise();
        while (noise.size() < 3 * Listening::SoundRateHz) {
            stream->Read(noise);
        }
        // Frames are due 200 ms after their handing over.
        auto const before = static_cast<std::size_t>(Listening::MilliSecToSamples(200 + milliSec));
        capture.microphone = std::make_shared<TestMicrophone>(
            clock, Listening::Join({Listening::Samples(before, 0), noise, Listening::Samples(480'000, 0)}));
    }
};

} // namespace

TEST(Doctor, MeasuresTheWayFromOutputToInput) {
    DoctorFixture fixture;
    fixture.Loop(150);
    fixture.options.pagePath = fixture.folder.PathOf("page.txt");
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(ReadFile(fixture.options.pagePath),
                HasSubstr("What is played comes back 150.0 ms after it was due."));
    EXPECT_THAT(fixture.out.str(), HasSubstr("Output and input are well."));
    auto const object = fixture.ReadObject();
    EXPECT_EQ(object["command"], "doctor");
    EXPECT_NEAR(object["loopbackMilliSec"].get<double>(), 150.0, 0.1);
    EXPECT_EQ(object["exitCode"], 0);
    // Three seconds of noise, no more.
    EXPECT_EQ(fixture.renderer.rendered.size(), 150U);
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Doctor, WithoutALoopSaysSo) {
    DoctorFixture fixture;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), HasSubstr("Nothing of what was played came back"));
    EXPECT_TRUE(fixture.ReadObject()["loopbackMilliSec"].is_null());
}

TEST(Doctor, MeasuresHowFastTheDevicesRun) {
    DoctorFixture fixture;
    fixture.output.isThere = true;
    fixture.output.ppm = 200;
    // A look that the clock overtakes may be taken for a glitch.
    ExitCode_t const code = fixture.Run();
    EXPECT_TRUE(code == ExitCode_t::Ok || code == ExitCode_t::OutputGlitch);
    auto const object = fixture.ReadObject();
    EXPECT_NEAR(object["outputRate"]["ppm"].get<double>(), 200.0, 0.1);
    EXPECT_NEAR(object["inputRate"]["ppm"].get<double>(), 0.0, 0.1);
    EXPECT_EQ(object["output"]["isWatched"], true);
}

TEST(Doctor, WithoutAnOutputLooksAtTheInput) {
    DoctorFixture fixture;
    fixture.renderer.status = -200;
    fixture.renderer.hasOutput = false;
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoOutput);
    EXPECT_THAT(fixture.out.str(), HasSubstr("There is no audio output that can be opened."));
    EXPECT_GT(fixture.ReadObject()["input"]["frames"], 290);
}

TEST(Doctor, WithoutAMicrophoneLooksAtTheOutputToTheEnd) {
    DoctorFixture fixture;
    std::int64_t const start = fixture.clock.nanoSec;
    fixture.capture.microphone.reset();
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    EXPECT_THAT(fixture.out.str(), HasSubstr("It failed: there is no microphone."));
    EXPECT_EQ(fixture.clock.nanoSec - start, 6 * NanoSecPerSec);
    EXPECT_EQ(fixture.renderer.rendered.size(), 150U);
}

TEST(Doctor, OfAMicrophoneThatGoesAwayLooksAtTheOutputToTheEnd) {
    DoctorFixture fixture;
    fixture.capture.microphone->endNanoSec = NanoSecPerSec;
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    EXPECT_THAT(fixture.out.str(), HasSubstr("The microphone stopped giving anything."));
    EXPECT_THAT(fixture.out.str(), HasSubstr("6.0 s of looking"));
}

TEST(Doctor, InterruptedTellsWhatItHasSeen) {
    DoctorFixture fixture;
    fixture.pacer.stopNanoSec = 2 * NanoSecPerSec;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_THAT(fixture.out.str(), HasSubstr("Output and input are well, until interrupted."));
}

} // namespace AudioHost
