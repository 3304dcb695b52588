#include "sources/playlist.h"

#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"

namespace AudioHost {

namespace {

constexpr std::int64_t BaseNanoSec = 1'000'000'000'000;

struct PlaylistFixture {
    TestFolder folder;
    Listening::Samples const one = Listening::MakeVoice(1000, 1);
    Listening::Samples const two = Listening::MakeVoice(1500, 2);
    std::vector<MediaInput> const inputs = {folder.Write("one.wav", MakeWav({}, BytesOf(one))),
                                            folder.Write("two.wav", MakeWav({}, BytesOf(two)))};
};

Listening::Samples Read(Playlist& list, std::size_t frames) {
    Listening::Samples sound;
    MediaFrame frame;
    for (std::size_t i = 0; i < frames && list.ReadFrame(frame); ++i) {
        EXPECT_EQ(frame.positionNanoSec, static_cast<std::int64_t>(i) * PcmFrameNanoSec);
        EXPECT_EQ(frame.frame->GetTimestamp().NanoSec(), BaseNanoSec + frame.positionNanoSec);
        sound.insert(sound.end(), frame.sound.begin(), frame.sound.end());
    }
    return sound;
}

} // namespace

TEST(Playlist_ReadFrame, JoinsTheFilesWithoutAGap) {
    PlaylistFixture const fixture;
    Playlist list(fixture.inputs, false, Kovra::SysTime(BaseNanoSec));
    EXPECT_EQ(Read(list, 1000), Listening::Join({fixture.one, fixture.two}));
    EXPECT_EQ(list.GetName(), "one.wav, then two.wav");
    // 2500 samples at 48000 Hz are 52.083333 ms.
    EXPECT_NEAR(static_cast<double>(list.GetDurationNanoSec()), 52'083'333.0, 2.0);
}

TEST(Playlist_ReadFrame, OfALoopBeginsAgainInTheSameFrame) {
    PlaylistFixture const fixture;
    Playlist list(fixture.inputs, true, Kovra::SysTime(BaseNanoSec));
    Listening::Samples const round = Listening::Join({fixture.one, fixture.two});
    // 25 frames are 24000 samples: nine rounds of 2500 and 1500 more.
    Listening::Samples const sound = Read(list, 25);
    ASSERT_EQ(sound.size(), 24000U);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        ASSERT_EQ(sound[i], round[i % round.size()]) << i;
    }
    EXPECT_EQ(list.GetDurationNanoSec(), 0);
}

TEST(Playlist_ReadFrame, OfAFileThatHasGoneIsAnError) {
    PlaylistFixture const fixture;
    Playlist list({fixture.inputs[0], fixture.folder.PathOf("none.wav")}, true, Kovra::SysTime(BaseNanoSec));
    EXPECT_EQ(CodeOf([&] { Read(list, 2); }), ExitCode_t::FileMissing);
}

TEST(Playlist_ReadFrame, OfALoopWithoutASampleEnds) {
    PlaylistFixture const fixture;
    // A whole frame has been cut off: the file's header is all there is.
    Playlist list({fixture.folder.Write("empty.wav", MakeWav({}, ""))}, true, Kovra::SysTime(BaseNanoSec));
    EXPECT_TRUE(Read(list, 10).empty());
}

TEST(Playlist, OfManyFilesNamesTheFirst) {
    PlaylistFixture const fixture;
    std::vector<MediaInput> const inputs(5, fixture.inputs[0]);
    Playlist const list(inputs, true, Kovra::SysTime(BaseNanoSec));
    EXPECT_EQ(list.GetName(), "one.wav, then one.wav, then one.wav, then 2 more");
    EXPECT_EQ(list.GetDescription(),
              "5 files one after the other over and over, handed over as 48 kHz mono PCM");
}

} // namespace AudioHost
