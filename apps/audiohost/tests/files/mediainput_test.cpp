#include "files/mediainput.h"

#include <gtest/gtest.h>

#include <sstream>

#include "files/mediafile.h"
#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"

namespace AudioHost {

namespace {

MediaInput InputOf(std::string const& bytes) {
    std::istringstream in(bytes);
    return ReadToEnd(in, bytes.size());
}

} // namespace

TEST(MediaInput_Bytes, PlayAsTheFileDoes) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(100'000);
    std::string const wav = MakeWav({}, BytesOf(sound));
    EXPECT_EQ(ReadSound(InputOf(wav)), sound);
    // Its index stands at the end, so that the library goes there and back.
    std::string const path = folder.PathOf("a.m4a");
    EncodeFile(path, "ipod", "aac", sound, Listening::SoundRateHz);
    EXPECT_EQ(ReadSound(InputOf(ReadFile(path))), ReadSound(path));
}

TEST(MediaInput_Bytes, OfAHeaderWithoutALengthPlayToTheirEnd) {
    Listening::Samples const sound = Listening::MakeVoice(9600);
    std::string wav = MakeWav({}, BytesOf(sound));
    // As a program writes it into a pipe, which knows no end yet: the sizes of the file and of its samples.
    wav.replace(4, 4, "\xFF\xFF\xFF\xFF");
    wav.replace(40, 4, "\xFF\xFF\xFF\xFF");
    EXPECT_EQ(ReadSound(InputOf(wav)), sound);
}

TEST(MediaInput_Bytes, OfABrokenFileEndWhereTheyBreakOff) {
    std::string const wav = MakeWav({}, BytesOf(Listening::MakeVoice(9600)));
    for (std::size_t const size : {1U, 12U, 43U, 44U}) {
        EXPECT_NE(CodeOf([&] { RequireSound(InputOf(wav.substr(0, size))); }), ExitCode_t::Ok) << size;
    }
    EXPECT_EQ(ReadSound(InputOf(wav.substr(0, 44 + 1000))).size(), 500U);
}

TEST(ReadToEnd, OfTooMuchIsAnError) {
    std::istringstream in("12345");
    EXPECT_EQ(CodeOf([&] { ReadToEnd(in, 4); }), ExitCode_t::NotAudio);
}

} // namespace AudioHost
