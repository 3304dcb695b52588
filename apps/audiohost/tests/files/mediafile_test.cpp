#include "files/mediafile.h"

#include <gtest/gtest.h>

#include <cstring>

#include "listening/soundcompare.h"
#include "listening/soundlevel.h"
#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"

namespace AudioHost {

namespace {

constexpr std::int64_t BaseNanoSec = 1'000'000'000'000;
constexpr std::int64_t FrameNanoSec = 20'000'000;

/// A whole file's frames.
struct Reading {
    std::vector<std::shared_ptr<Media::FrameAud>> frames;
    std::vector<std::int64_t> positions;
    Listening::Samples sound;
    std::string description;
};

Reading ReadAll(std::string const& path) {
    MediaFile file(path, Kovra::SysTime(BaseNanoSec));
    Reading reading;
    reading.description = file.GetDescription();
    MediaFrame next;
    while (file.ReadFrame(next)) {
        EXPECT_EQ(next.frame->GetTimestamp().NanoSec(), BaseNanoSec + next.positionNanoSec);
        EXPECT_EQ(next.frame->GetIdent().sequenceNumber, reading.frames.size());
        EXPECT_EQ(next.frame->GetDuration().NanoSec(), next.durationNanoSec);
        reading.frames.push_back(next.frame);
        reading.positions.push_back(next.positionNanoSec);
        reading.sound.insert(reading.sound.end(), next.sound.begin(), next.sound.end());
    }
    return reading;
}

std::string DataOf(Media::FrameAud const& frame) {
    Kovra::BufferInfo const* const info = frame.GetConstBufferBegin();
    return {reinterpret_cast<char const*>(info->GetData()), info->GetLength()};
}

/// The sentence and the code that reading the file for its sound ends with.
std::pair<ExitCode_t, std::string> ErrorOf(std::string const& path) {
    std::string sentence;
    ExitCode_t const code = CodeOf([&] { RequireSound(path); }, &sentence);
    return {code, sentence};
}

/// The file's sound is `sound`, apart from the coding's loss and delay.
void ExpectSound(Listening::Samples const& sound, Listening::Samples const& read) {
    Listening::SoundComparison const comparison = Listening::CompareSounds(sound, read);
    EXPECT_TRUE(comparison.isFound);
    EXPECT_EQ(comparison.GetMatchedShare(), 1.0);
    EXPECT_NEAR(comparison.heardLevelDecibel, comparison.sentLevelDecibel, 0.5);
    EXPECT_TRUE(comparison.jumps.empty());
}

} // namespace

TEST(MediaFile_ReadFrame, OfAMonoWavAt48KilohertzGivesItsOwnSamplesInFramesOf20Milliseconds) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(2000);
    Reading const reading = ReadAll(folder.Write("a.wav", MakeWav({}, BytesOf(sound))));
    // 2000 samples: 960, 960 and 80.
    ASSERT_EQ(reading.frames.size(), 3U);
    EXPECT_EQ(reading.positions, (std::vector<std::int64_t>{0, FrameNanoSec, 2 * FrameNanoSec}));
    EXPECT_EQ(reading.sound, sound);
    std::string data;
    for (auto const& frame : reading.frames) {
        EXPECT_EQ(frame->GetCoding(), Media::MediaCoding_t::RawPcm);
        EXPECT_NE(dynamic_cast<Media::FrameAudRaw*>(frame.get()), nullptr);
        EXPECT_EQ(frame->GetFrequency(), 48000U);
        EXPECT_EQ(frame->GetNumChannels(), 1U);
        data += DataOf(*frame);
    }
    EXPECT_EQ(data, BytesOf(sound));
    EXPECT_EQ(reading.description, "16-bit PCM, 48000 Hz, mono, handed over as 48 kHz mono PCM");
}

TEST(MediaFile_ReadFrame, OfAStereoWavMixesBothChannelsDown) {
    TestFolder const folder;
    // Left 1000, right 3000 throughout: 2000 in the middle.
    Listening::Samples frames;
    for (int i = 0; i < 960; ++i) {
        frames.insert(frames.end(), {1000, 3000});
    }
    Reading const reading = ReadAll(folder.Write("a.wav", MakeWav({1, 2}, BytesOf(frames))));
    ASSERT_EQ(reading.sound.size(), 960U);
    EXPECT_NEAR(reading.sound[480], 2000, 1);
}

TEST(MediaFile_ReadFrame, OfAnotherRateIsResampledWithoutLosingItsEnd) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeSine(44100, 440.0, 8000.0, 44100);
    Reading const reading = ReadAll(folder.Write("a.wav", MakeWav({1, 1, 44100}, BytesOf(sound))));
    // One second, and what the resampler's filter adds.
    EXPECT_NEAR(static_cast<double>(reading.sound.size()), 48000.0, 20.0);
    ExpectSound(Listening::MakeSine(48000, 440.0, 8000.0),
                Listening::Join({Listening::Samples(5000, 0), reading.sound, Listening::Samples(5000, 0)}));
}

TEST(MediaFile_ReadFrame, OpensANameBeyondTheCodePage) {
    TestFolder const folder;
    std::string const name =
        "gr\xC3\xB6\xC3\x9F"
        "e \xE9\x9F\xB3.wav";
    MediaFile const file(folder.Write(name, MakeWav({}, BytesOf(Listening::MakeVoice(960)))),
                         Kovra::SysTime(1));
    EXPECT_EQ(file.GetName(), name);
    EXPECT_EQ(file.GetDurationNanoSec(), FrameNanoSec);
}

class MediaFile_G711 : public testing::TestWithParam<std::pair<std::uint16_t, Media::G711Law_t>> {};

TEST_P(MediaFile_G711, MonoIsHandedOverCodedIn20MillisecondFrames) {
    TestFolder const folder;
    std::string data;
    for (int i = 0; i < 400; ++i) {
        data += static_cast<char>(i * 37);
    }
    Reading const reading = ReadAll(folder.Write("a.wav", MakeWav({GetParam().first, 1, 8000, 8}, data)));
    // 160 bytes are 20 ms at 8000 Hz: 160, 160 and 80.
    ASSERT_EQ(reading.frames.size(), 3U);
    EXPECT_EQ(reading.positions, (std::vector<std::int64_t>{0, FrameNanoSec, 2 * FrameNanoSec}));
    std::string read;
    for (auto const& frame : reading.frames) {
        EXPECT_EQ(frame->GetCoding(), Media::MediaCoding_t::G711);
        EXPECT_EQ(frame->GetParams().GetLaw(), GetParam().second);
        EXPECT_EQ(frame->GetFrequency(), 8000U);
        read += DataOf(*frame);
    }
    EXPECT_EQ(read, data);
    // Six samples for each, less what the resampler still holds.
    EXPECT_NEAR(static_cast<double>(reading.sound.size()), 2400.0, 200.0);
    EXPECT_NE(reading.description.find("decoded by the renderer"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(BothLaws, MediaFile_G711,
                         testing::Values(std::make_pair(std::uint16_t(7), Media::G711Law_t::MuLaw),
                                         std::make_pair(std::uint16_t(6), Media::G711Law_t::ALaw)));

TEST(MediaFile_G711Stereo, IsDecodedByTheHost) {
    TestFolder const folder;
    Reading const reading =
        ReadAll(folder.Write("a.wav", MakeWav({7, 2, 8000, 8}, std::string(3200, '\x20'))));
    ASSERT_FALSE(reading.frames.empty());
    EXPECT_EQ(reading.frames[0]->GetCoding(), Media::MediaCoding_t::RawPcm);
    EXPECT_EQ(reading.frames[0]->GetFrequency(), 48000U);
}

TEST(MediaFile_Aac, InAdtsIsHandedOverFrameByFrameWithoutConfiguration) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(96000);
    EncodeFile(folder.PathOf("a.aac"), "adts", "aac", sound, 48000);
    Reading const reading = ReadAll(folder.PathOf("a.aac"));
    ASSERT_GE(reading.frames.size(), 94U);
    for (auto const& frame : reading.frames) {
        EXPECT_EQ(frame->GetCoding(), Media::MediaCoding_t::Aac);
        EXPECT_TRUE(frame->GetParams().GetDecoderConfig().empty());
        // The sync word of an ADTS header.
        EXPECT_EQ(DataOf(*frame).substr(0, 1), "\xFF");
    }
    // 1024 samples at 48000 Hz are 21.333 ms; the container counts in 1/28224000 s.
    EXPECT_NEAR(static_cast<double>(reading.positions[90]),
                90.0 * 1024.0 / 48000.0 * Listening::NanoSecPerSec, 1e4);
    ExpectSound(sound, reading.sound);
}

// As broadcasts do where something else is put in.
TEST(MediaFile_Aac, ThatGetsASecondChannelOnTheWayIsMixedByTheHostFromThereOn) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(48'000);
    EncodeFile(folder.PathOf("mono.aac"), "adts", "aac", sound, 48'000);
    EncodeFile(folder.PathOf("stereo.aac"), "adts", "aac", sound, 48'000, 2);
    Reading const mono = ReadAll(folder.PathOf("mono.aac"));
    Reading const both = ReadAll(folder.Write(
        "both.aac", ReadFile(folder.PathOf("mono.aac")) + ReadFile(folder.PathOf("stereo.aac"))));
    ASSERT_GT(both.frames.size(), mono.frames.size());
    Listening::Samples given;
    for (std::size_t i = 0; i < both.frames.size(); ++i) {
        bool const isCoded = i < mono.frames.size();
        ASSERT_EQ(both.frames[i]->GetCoding(),
                  isCoded ? Media::MediaCoding_t::Aac : Media::MediaCoding_t::RawPcm)
            << i;
        ASSERT_EQ(both.frames[i]->GetNumChannels(), 1U);
        if (!isCoded) {
            std::string const data = DataOf(*both.frames[i]);
            std::size_t const held = given.size();
            given.resize(held + data.size() / sizeof(std::int16_t));
            std::memcpy(given.data() + held, data.data(), data.size());
        }
    }
    ExpectSound(sound, given);
}

TEST(MediaFile_Aac, InM4aCarriesItsConfigurationAndStartsAtZero) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(88200);
    EncodeFile(folder.PathOf("a.m4a"), "ipod", "aac", sound, 44100);
    Reading const reading = ReadAll(folder.PathOf("a.m4a"));
    ASSERT_GE(reading.frames.size(), 87U);
    // AAC LC (2), 44100 Hz (index 4), one channel: 00010 0100 0001 000 = 0x12 0x08.
    std::vector<std::uint8_t> const& config = reading.frames[0]->GetParams().GetDecoderConfig();
    ASSERT_GE(config.size(), 2U);
    EXPECT_EQ(config[0], 0x12);
    EXPECT_EQ(config[1], 0x08);
    EXPECT_EQ(reading.positions[0], 0);
    EXPECT_NEAR(static_cast<double>(reading.positions[80]),
                80.0 * 1024.0 / 44100.0 * Listening::NanoSecPerSec, 1e3);
    EXPECT_EQ(reading.frames[0]->GetFrequency(), 44100U);
    EXPECT_GT(Listening::LevelDecibel(reading.sound), -40.0);
}

struct Coding {
    char const* name;
    char const* muxer;
    char const* encoder;
};

class MediaFile_Coded : public testing::TestWithParam<Coding> {};

TEST_P(MediaFile_Coded, IsDecodedByTheHost) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(96000);
    std::string const path = folder.PathOf(std::string("a.") + GetParam().name);
    EncodeFile(path, GetParam().muxer, GetParam().encoder, sound, 48000);
    Reading const reading = ReadAll(path);
    ASSERT_FALSE(reading.frames.empty());
    EXPECT_EQ(reading.frames[0]->GetCoding(), Media::MediaCoding_t::RawPcm);
    // Silence about it, for the coder's delay.
    ExpectSound(sound,
                Listening::Join({Listening::Samples(5000, 0), reading.sound, Listening::Samples(5000, 0)}));
}

INSTANTIATE_TEST_SUITE_P(Each, MediaFile_Coded,
                         testing::Values(Coding{"flac", "flac", "flac"}, Coding{"opus", "ogg", "opus"},
                                         Coding{"mp2", "mp2", "mp2"}),
                         [](auto const& each) { return std::string(each.param.name); });

TEST(RequireSound, OfAFileWithSoundIsContent) {
    TestFolder const folder;
    // The sound comes at its very end.
    Listening::Samples sound(48000, 0);
    sound.back() = 17;
    EXPECT_EQ(ErrorOf(folder.Write("a.wav", MakeWav({}, BytesOf(sound)))).first, ExitCode_t::Ok);
}

TEST(RequireSound, TellsAMissingFile) {
    TestFolder const folder;
    auto const [code, text] = ErrorOf(folder.PathOf("none.wav"));
    EXPECT_EQ(code, ExitCode_t::FileMissing);
    EXPECT_EQ(text, "'" + folder.PathOf("none.wav") + "' does not exist.");
}

TEST(RequireSound, TellsAFolder) {
    TestFolder const folder;
    EXPECT_EQ(ErrorOf(folder.PathOf("")).first, ExitCode_t::NotAudio);
}

TEST(RequireSound, TellsAnEmptyFile) {
    TestFolder const folder;
    auto const [code, text] = ErrorOf(folder.Write("a.wav", ""));
    EXPECT_EQ(code, ExitCode_t::NotAudio);
    EXPECT_NE(text.find("is empty."), std::string::npos);
}

TEST(RequireSound, TellsAFileThatIsNotAudio) {
    TestFolder const folder;
    std::string words;
    for (int i = 0; i < 500; ++i) {
        words += "Call me Ishmael. ";
    }
    EXPECT_EQ(ErrorOf(folder.Write("a.txt", words)).first, ExitCode_t::NotAudio);
    EXPECT_EQ(ErrorOf(folder.Write("b.wav", words)).first, ExitCode_t::NotAudio);
}

TEST(RequireSound, TellsAFileWithoutASample) {
    TestFolder const folder;
    EXPECT_EQ(ErrorOf(folder.Write("a.wav", MakeWav({}, ""))).first, ExitCode_t::NoSound);
}

TEST(RequireSound, TellsSilence) {
    TestFolder const folder;
    auto const [code, text] =
        ErrorOf(folder.Write("a.wav", MakeWav({}, BytesOf(Listening::Samples(9600, 0)))));
    EXPECT_EQ(code, ExitCode_t::NoSound);
    EXPECT_NE(text.find("holds only silence."), std::string::npos);
}

TEST(RequireSound, TellsSilenceInALawWhichHasNoZero) {
    TestFolder const folder;
    // 0xD5 is A-law's smallest value and decodes to 8.
    EXPECT_EQ(ErrorOf(folder.Write("a.wav", MakeWav({6, 1, 8000, 8}, std::string(1600, '\xD5')))).first,
              ExitCode_t::NoSound);
}

} // namespace AudioHost
