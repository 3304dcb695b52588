#include "simulation/world.h"

#include <gmock/gmock.h>

#include "helpers.h"

namespace Simulation {
namespace {

using testing::ElementsAre;

TEST(World_Destructor, ReportsWhatWasNotGivenBack) {
    Complaints complaints;
    {
        World const world(complaints.Reporter());
        IDirectSound8* sound = nullptr;
        DirectSoundCreate8(nullptr, &sound, nullptr);
        sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY);
        WAVEFORMATEX format = MakeFormat();
        DSBUFFERDESC const description = MakeDescription(format);
        IDirectSoundBuffer* buffer = nullptr;
        sound->CreateSoundBuffer(&description, &buffer, nullptr);
        void* notify = nullptr;
        buffer->QueryInterface(IID_IDirectSoundNotify, &notify);
        void* address = nullptr;
        DWORD bytes = 0;
        buffer->Lock(0, 2, &address, &bytes, nullptr, nullptr, 0);
        CreateEventA(nullptr, FALSE, FALSE, nullptr);
    }
    EXPECT_THAT(
        complaints.texts,
        ElementsAre("leak: DirectSound object 1 has 1 references", "leak: sound buffer 1 has 1 references",
                    "leak: sound buffer 1 has 1 references to its notify interface",
                    "leak: sound buffer 1 has 1 open locks", "leak: event 1 is not closed"));
}

TEST(World_Destructor, ReportsWhatCaptureDidNotGiveBack) {
    Complaints complaints;
    {
        World const world(complaints.Reporter());
        IDirectSoundCapture* capture = nullptr;
        DirectSoundCaptureCreate8(nullptr, &capture, nullptr);
        capture->AddRef();
        WAVEFORMATEX format = MakeFormat();
        DSCBUFFERDESC const description = MakeCaptureDescription(format);
        IDirectSoundCaptureBuffer* buffer = nullptr;
        capture->CreateCaptureBuffer(&description, &buffer, nullptr);
        buffer->Start(DSCBSTART_LOOPING);
        world.OnlyCaptureBuffer().CaptureAtOnce(1);
        LockOf(buffer, 0, 2);
        EXPECT_EQ(world.CaptureReferences(), 2U);
    }
    EXPECT_THAT(complaints.texts, ElementsAre("leak: capture object 1 has 2 references",
                                              "leak: capture buffer 1 has 1 references",
                                              "leak: capture buffer 1 has 1 open locks"));
}

TEST(World_Destructor, IsContentWhenAllWasGivenBack) {
    Complaints complaints;
    {
        World const world(complaints.Reporter());
        TestEvent const event;
        Playable playable;
        playable.Fill(0, 2, 1);
        playable->Play(0, 0, DSBPLAY_LOOPING);
        Microphone const microphone;
        microphone->Start(DSCBSTART_LOOPING);
    }
    EXPECT_THAT(complaints.texts, ElementsAre());
}

TEST(World_ReportMisuse, ReportsAtOnceUnlessAllowed) {
    Complaints complaints;
    World world(complaints.Reporter());
    SetEvent(nullptr);
    EXPECT_THAT(complaints.texts, ElementsAre("misuse: SetEvent on a handle that is not open"));
    world.AllowMisuse();
    SetEvent(nullptr);
    EXPECT_EQ(complaints.texts.size(), 1U);
    EXPECT_EQ(world.Misuse().size(), 2U);
    EXPECT_EQ(world.TakeMisuse().size(), 2U);
    EXPECT_TRUE(world.Misuse().empty());
}

TEST(World_Constructor, StartsAFreshClock) {
    for (int i = 0; i < 2; ++i) {
        World world;
        EXPECT_EQ(Kovra::JiffyTime::Now().NanoSec(), ManualClock::StartMonotonicNanoSec);
        world.Clock().AdvanceMilliSec(1);
    }
}

TEST(WorldDeathTest, CallsWithNoWorldEndTheProgram) {
    IDirectSound8* sound = nullptr;
    EXPECT_DEATH(DirectSoundCreate8(nullptr, &sound, nullptr), "DirectSoundCreate8 is called with no World");
    EXPECT_DEATH(SetEvent(nullptr), "SetEvent is called with no World");
}

TEST(WorldDeathTest, ThereIsOneAtATime) {
    World const world;
    EXPECT_DEATH(World(), "there is a World already");
}

TEST(WorldDeathTest, MisuseEndsTheProgramWithoutAReporter) {
    World const world;
    EXPECT_DEATH(SetEvent(nullptr), "misuse: SetEvent");
}

TEST(WorldDeathTest, OnlyBufferNeedsExactlyOne) {
    World const world;
    EXPECT_DEATH(world.OnlyBuffer(), "there are 0");
    Playable const a;
    Playable const b;
    EXPECT_DEATH(world.OnlyBuffer(), "there are 2");
}

TEST(WorldDeathTest, OnlyCaptureBufferNeedsExactlyOneAndLatestAny) {
    World const world;
    EXPECT_DEATH(world.OnlyCaptureBuffer(), "OnlyCaptureBuffer: there are 0");
    EXPECT_DEATH(world.LatestCaptureBuffer(), "none was made");
    Microphone const a;
    Microphone const b;
    EXPECT_DEATH(world.OnlyCaptureBuffer(), "OnlyCaptureBuffer: there are 2");
    EXPECT_EQ(world.LatestCaptureBuffer().Number(), 2U);
}

} // namespace
} // namespace Simulation
