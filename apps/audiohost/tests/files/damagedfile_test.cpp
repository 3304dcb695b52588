// Files whose headers tell what cannot be.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include "files/mediafile.h"
#include "files/pcmdecoder.h"
#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"

namespace AudioHost {

namespace {

constexpr std::int64_t DayNanoSec = 24 * Listening::NanoSecPerHour;

/// Puts `bytes` `distance` bytes behind the first `name` in the file.
void Damage(std::string const& path, std::string const& name, std::size_t distance,
            std::string const& bytes) {
    std::string content = ReadFile(path);
    std::size_t const place = content.find(name);
    if (place == std::string::npos) {
        throw std::runtime_error("no " + name + " in the file");
    }
    content.replace(place + distance, bytes.size(), bytes);
    std::ofstream(std::filesystem::u8path(path), std::ios::binary) << content;
}

ExitCode_t CodeOfWav(WavFormat const& format, std::string const& data) {
    TestFolder const folder;
    std::string const path = folder.Write("a.wav", MakeWav(format, data));
    return CodeOf([&] { RequireSound(path); });
}

/// What 1000 samples of 16 bits come to at a rate.
Listening::Samples Decode(int rateHz) {
    AVCodecParameters parameters = {};
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters.sample_rate = rateHz;
    av_channel_layout_default(&parameters.ch_layout, 1);
    PcmDecoder decoder(parameters, {1, rateHz});
    PacketPointer const packet(av_packet_alloc());
    if (av_new_packet(packet.get(), 2000) < 0) {
        throw std::bad_alloc();
    }
    std::fill(packet->data, packet->data + packet->size, std::uint8_t{1});
    Listening::Samples sound;
    decoder.Decode(packet.get(), sound);
    decoder.Decode(nullptr, sound);
    return sound;
}

} // namespace

TEST(MediaFile_Rate, BeyondThoseOfSoundIsNotAudio) {
    std::string const data(4000, '\x20');
    for (std::uint32_t const rateHz : {1U, 999U, 768'001U, 0x7FFFFFFFU}) {
        EXPECT_EQ(CodeOfWav({1, 1, rateHz}, data), ExitCode_t::NotAudio) << rateHz;
        EXPECT_EQ(CodeOfWav({7, 1, rateHz, 8}, data), ExitCode_t::NotAudio) << rateHz;
    }
    for (std::uint32_t const rateHz : {1'000U, 768'000U}) {
        EXPECT_EQ(CodeOfWav({1, 1, rateHz}, data), ExitCode_t::Ok) << rateHz;
    }
}

TEST(PcmDecoder_Decode, OfAFrameAtARateOfNoSoundYieldsNothing) {
    EXPECT_TRUE(Decode(999).empty());
    EXPECT_NEAR(static_cast<double>(Decode(1'000).size()), 48'000.0, 2'000.0);
    EXPECT_FALSE(Decode(768'000).empty());
    EXPECT_TRUE(Decode(768'001).empty());
}

TEST(MediaFile_Channels, WhosePlacesNobodyKnowsAreMixedAlike) {
    // Nine channels, for which there is no usual arrangement of loudspeakers: 100, 200 ... 900.
    Listening::Samples frames;
    for (int i = 0; i < 960; ++i) {
        for (std::int16_t channel = 1; channel <= 9; ++channel) {
            frames.push_back(static_cast<std::int16_t>(100 * channel));
        }
    }
    TestFolder const folder;
    MediaFile file(folder.Write("a.wav", MakeWav({1, 9}, BytesOf(frames))), Kovra::SysTime(1));
    MediaFrame next;
    ASSERT_TRUE(file.ReadFrame(next));
    ASSERT_EQ(next.sound.size(), 960U);
    EXPECT_NEAR(next.sound[480], 500, 1);
}

TEST(MediaFile_Channels, ThatAreMoreThanCanBeMixedAreNothingThatCanBeDecoded) {
    EXPECT_EQ(CodeOfWav({1, 65}, std::string(13'000, '\x20')), ExitCode_t::NotAudio);
}

TEST(MediaFile_Aac, FramesWhoseTimesAreDamagedFollowEachOther) {
    TestFolder const folder;
    std::string const path = folder.PathOf("a.m4a");
    EncodeFile(path, "ipod", "aac", Listening::MakeVoice(9'600), 48'000);
    // Without the table of edits, which would end the file where it ended before.
    Damage(path, "edts", 0, "free");
    // The table of durations: version, count of entries, then of the first its count and how long each lasts.
    // Now that is 12.4 hours: the third frame would stand behind the end of the first day.
    Damage(path, "stts", 16, "\x7F\xFF\xFF\xFF");
    MediaFile file(path, Kovra::SysTime(1));
    EXPECT_GE(file.GetDurationNanoSec(), 0);
    MediaFrame next;
    int frames = 0;
    std::int64_t end = 0;
    for (; file.ReadFrame(next); ++frames) {
        EXPECT_GE(next.positionNanoSec, 0);
        EXPECT_LE(next.positionNanoSec, DayNanoSec);
        EXPECT_TRUE(next.positionNanoSec == end || frames < 2) << frames;
        // 1024 samples, as a packet of 12.4 hours cannot be.
        EXPECT_EQ(next.durationNanoSec, 21'333'333);
        end = next.positionNanoSec + next.durationNanoSec;
    }
    EXPECT_GE(frames, 9);
}

} // namespace AudioHost
