#include "commands/meter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <thread>

#include "pipeline/pipeline.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerSec;
constexpr std::int64_t StartNanoSec = 1000 * NanoSecPerSec;

/// A line-level thread that calls without a pause: 0.75, and 0.5 from two seconds on.
class TestMeter : public CaptureAccess {
public:
    explicit TestMeter(TestClock const& clock) : clock_(clock) {}
    ~TestMeter() override {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    std::shared_ptr<Microphone> Open() override { return nullptr; }

    bool StartMeter(std::function<bool(float)> const& callback) override {
        hadRenderer = Media::Pipeline::GetAudioRenderer() != nullptr;
        if (isThere) {
            thread_ = std::thread([this, copy = callback]() mutable {
                while (calls_ < maxCalls &&
                       copy(clock_.nanoSec < StartNanoSec + 2 * NanoSecPerSec ? 0.75F : 0.5F)) {
                    AddCall();
                }
                // Time enough for a command that does not wait to be gone.
                for (int i = 0; i < 1000; ++i) {
                    std::this_thread::yield();
                }
                SetEnded();
                copy = nullptr;
            });
        }
        return isThere;
    }

    /// Waits until a call has begun and ended, or no more will come.
    void WaitForCall() {
        std::unique_lock<std::mutex> guard(lock_);
        // One may be under way.
        std::uint64_t const enough = calls_ + 2;
        changed_.wait(guard, [&] { return calls_ >= enough || hasEnded; });
    }

    bool isThere = true;
    std::uint64_t maxCalls = UINT64_MAX;
    bool hadRenderer = false;
    std::atomic<bool> hasEnded{false};

private:
    void AddCall() {
        std::lock_guard<std::mutex> const guard(lock_);
        ++calls_;
        changed_.notify_all();
    }
    void SetEnded() {
        std::lock_guard<std::mutex> const guard(lock_);
        hasEnded = true;
        changed_.notify_all();
    }

    TestClock const& clock_;
    std::thread thread_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::atomic<std::uint64_t> calls_{0};
};

/// Remembers whether the line-level thread had ended when it was shut down.
class WatchfulRenderer : public TestRenderer {
public:
    explicit WatchfulRenderer(TestMeter const& meter) : meter_(meter) {}
    void Shutdown() override {
        TestRenderer::Shutdown();
        hadEnded = meter_.hasEnded;
    }

    bool hadEnded = false;

private:
    TestMeter const& meter_;
};

struct MeterFixture {
    TestClock clock;
    ClockPacer pacer{clock};
    TestMeter meter{clock};
    WatchfulRenderer renderer{meter};
    std::ostringstream out;
    MeterOptions options;
    bool isTerminal = false;

    MeterFixture() {
        pacer.onWait = [this](std::int64_t) { meter.WaitForCall(); };
    }

    ExitCode_t Run() {
        return CodeOf([this] { return Meter(options, {renderer, pacer, out, isTerminal}, meter); });
    }
};

} // namespace

TEST(Meter, ElsewhereThanOnATerminalWritesALineASecond) {
    MeterFixture fixture;
    fixture.options.seconds = 3.0;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_EQ(fixture.out.str(),
              "0:01.0  level -3.8 dBFS  highest -3.8 dBFS\n"
              "0:02.0  level -9.2 dBFS  highest -3.8 dBFS\n"
              "0:03.0  level -9.2 dBFS  highest -9.2 dBFS\n");
}

TEST(Meter, EndsAfterAPartOfASecond) {
    MeterFixture fixture;
    fixture.options.seconds = 0.5;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_EQ(fixture.clock.nanoSec, StartNanoSec + NanoSecPerSec / 2);
    EXPECT_EQ(fixture.out.str(), "0:00.5  level -3.8 dBFS  highest -3.8 dBFS\n");
}

TEST(Meter, OnATerminalMovesABarWithItsPeak) {
    MeterFixture fixture;
    fixture.isTerminal = true;
    fixture.options.seconds = 0.1;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    std::string const line = "\r[######################..] -3.8 dBFS  peak -3.8 dBFS";
    EXPECT_EQ(fixture.out.str(), line + line + "\n");
}

TEST(Meter, LetsGoOfTheThreadBeforeTheRenderer) {
    MeterFixture fixture;
    fixture.pacer.stopNanoSec = NanoSecPerSec;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_TRUE(fixture.meter.hadRenderer);
    EXPECT_TRUE(fixture.renderer.hadEnded);
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
    EXPECT_EQ(Media::Pipeline::GetAudioRenderer(), nullptr);
}

TEST(Meter, WithoutAMicrophoneEndsWithItsCode) {
    MeterFixture fixture;
    fixture.meter.isThere = false;
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Meter, OfAThreadThatEndsByItselfEndsWithItsCode) {
    for (std::uint64_t const calls : {0U, 3U}) {
        MeterFixture fixture;
        fixture.meter.maxCalls = calls;
        EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    }
}

} // namespace AudioHost
