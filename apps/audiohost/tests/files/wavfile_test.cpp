#include "files/wavfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "support/testerror.h"
#include "support/testfiles.h"

namespace AudioHost {

namespace {

/// A disk with room for so many bytes.
class SmallDisk : public std::stringbuf {
public:
    explicit SmallDisk(std::streamoff room) : room_(room) {}

protected:
    std::streamsize xsputn(char const* bytes, std::streamsize count) override {
        std::streamoff const place = pubseekoff(0, std::ios::cur, std::ios::out);
        return std::stringbuf::xsputn(bytes, std::clamp<std::streamoff>(room_ - place, 0, count));
    }
    int_type overflow(int_type character) override {
        std::streamoff const place = pubseekoff(0, std::ios::cur, std::ios::out);
        return place < room_ ? std::stringbuf::overflow(character) : traits_type::eof();
    }

private:
    std::streamoff const room_;
};

} // namespace

TEST(WavStream_Append, LeavesAValidFileEveryTime) {
    std::ostringstream out;
    WavStream wav(out);
    // 44 bytes: 36 behind the first eight, 48000 samples of two bytes a second.
    std::string const empty(
        "RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x80\xBB\0\0\0\x77\1\0\2\0\x10\0data\0\0\0\0", 44);
    EXPECT_EQ(out.str(), empty);
    EXPECT_TRUE(wav.Append(Listening::Samples{1, -2}));
    EXPECT_EQ(out.str(), MakeWav({}, BytesOf({1, -2})));
    EXPECT_TRUE(wav.Append(Listening::Samples{256}));
    EXPECT_EQ(out.str(), MakeWav({}, BytesOf({1, -2, 256})));
    EXPECT_EQ(wav.GetSampleCount(), 3U);
    EXPECT_EQ(wav.GetSizeBytes(), 50U);
}

TEST(WavStream_Append, WithoutRoomKeepsTheHeaderOfWhatFits) {
    // 44 bytes of header and three samples.
    SmallDisk disk(50);
    std::ostream out(&disk);
    WavStream wav(out);
    EXPECT_TRUE(wav.Append(Listening::Samples{1, 2}));
    EXPECT_FALSE(wav.Append(Listening::Samples{3, 4}));
    EXPECT_FALSE(wav.IsGood());
    EXPECT_EQ(wav.GetSizeBytes(), 48U);
    EXPECT_EQ(disk.str().substr(0, 48), MakeWav({}, BytesOf({1, 2})));
    EXPECT_FALSE(wav.Append(Listening::Samples{5}));
}

TEST(WavStream, WithoutRoomForAHeaderIsNotGood) {
    SmallDisk disk(20);
    std::ostream out(&disk);
    WavStream wav(out);
    EXPECT_FALSE(wav.IsGood());
}

TEST(WavFile_Append, ReplacesAnOlderFileWithTheFirstSound) {
    TestFolder const folder;
    std::string const path = folder.Write("old.wav", std::string(1000, 'x'));
    WavFile file(path);
    EXPECT_EQ(ReadFile(path), std::string(1000, 'x'));
    file.Append(Listening::Samples{7});
    EXPECT_EQ(ReadFile(path), MakeWav({}, BytesOf({7})));
}

TEST(WavFile, WithoutSoundLeavesThingsAsTheyWere) {
    TestFolder const folder;
    std::string const old = folder.Write("old.wav", "x");
    { WavFile const file(old); }
    EXPECT_EQ(ReadFile(old), "x");
    std::string const fresh = folder.PathOf("new.wav");
    { WavFile const file(fresh); }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::u8path(fresh)));
}

TEST(WavFile, ThatCannotBeWrittenEndsWithItsCode) {
    TestFolder const folder;
    EXPECT_EQ(CodeOf([&] { WavFile(folder.PathOf("no folder/a.wav")); }), ExitCode_t::NotWritten);
    EXPECT_EQ(CodeOf([&] { WavFile(folder.PathOf("")); }), ExitCode_t::NotWritten);
}

} // namespace AudioHost
