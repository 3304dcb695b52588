#include "mediacore/params.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "mediacore/metadatatypes.h"
#include "mediacore/viewgeometry.h"

using boost::intrusive_ptr;
using Media::G711Law_t;
using Media::MediaCoding_t;
using Media::ParamsAud;
using Media::ParamsAudRaw;

namespace {

/// Tells when it ends.
class WatchedParams : public ParamsAud {
public:
    explicit WatchedParams(bool& hasEnded) : ParamsAud(MediaCoding_t::Aac), hasEnded_(hasEnded) {}
    ~WatchedParams() override { hasEnded_ = true; }

private:
    bool& hasEnded_;
};

} // namespace

TEST(MediaCoding, NumbersArePartOfTheBinaryInterface) {
    EXPECT_EQ(static_cast<int>(MediaCoding_t::RawPcm), 0x300);
    EXPECT_EQ(static_cast<int>(MediaCoding_t::G711), 0x301);
    EXPECT_EQ(static_cast<int>(MediaCoding_t::G726), 0x302);
    EXPECT_EQ(static_cast<int>(MediaCoding_t::MpegAudio), 0x303);
    EXPECT_EQ(static_cast<int>(MediaCoding_t::Aac), 0x304);
    EXPECT_EQ(static_cast<int>(MediaCoding_t::Opus), 0x305);
}

TEST(ParamsAud, StartsUnknown) {
    ParamsAud const params(MediaCoding_t::G711);
    EXPECT_EQ(params.GetCoding(), MediaCoding_t::G711);
    EXPECT_EQ(params.GetFrequency(), 0U);
    EXPECT_EQ(params.GetNumChannels(), 0U);
    EXPECT_EQ(params.GetBitsPerSample(), 0U);
    EXPECT_EQ(params.GetLaw(), G711Law_t::MuLaw);
    EXPECT_TRUE(params.GetDecoderConfig().empty());
}

TEST(ParamsAud, StoresAnyValue) {
    ParamsAud params(MediaCoding_t::G711);
    params.SetParamsAud(8000, 1, 8);
    EXPECT_EQ(params.GetFrequency(), 8000U);
    EXPECT_EQ(params.GetNumChannels(), 1U);
    EXPECT_EQ(params.GetBitsPerSample(), 8U);
    params.SetParamsAud(0xFFFFFFFFU, 0xFFFFFFFEU, 0xFFFFFFFDU);
    EXPECT_EQ(params.GetFrequency(), 0xFFFFFFFFU);
    EXPECT_EQ(params.GetNumChannels(), 0xFFFFFFFEU);
    EXPECT_EQ(params.GetBitsPerSample(), 0xFFFFFFFDU);
    params.SetLaw(G711Law_t::ALaw);
    EXPECT_EQ(params.GetLaw(), G711Law_t::ALaw);
    params.SetDecoderConfig({0x11, 0x90});
    EXPECT_EQ(params.GetDecoderConfig(), (std::vector<std::uint8_t>{0x11, 0x90}));
}

TEST(ParamsAud, EndsWithItsLastHolder) {
    bool hasEnded = false;
    intrusive_ptr<ParamsAud> first(new WatchedParams(hasEnded));
    intrusive_ptr<ParamsAud> second = first;
    first.reset();
    EXPECT_FALSE(hasEnded);
    second.reset();
    EXPECT_TRUE(hasEnded);
}

TEST(ParamsAud, IsCountedFromSeveralThreads) {
    constexpr int Threads = 4;
    constexpr int Rounds = 2000;
    bool hasEnded = false;
    intrusive_ptr<ParamsAud> params(new WatchedParams(hasEnded));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([own = params]() mutable {
            for (int round = 0; round < Rounds; ++round) {
                intrusive_ptr<ParamsAud> const copy = own;
                ASSERT_EQ(copy->GetCoding(), MediaCoding_t::Aac);
            }
            own.reset();
        });
    }
    params.reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(hasEnded);
}

TEST(ParamsAudRaw, IsRawPcm) {
    EXPECT_EQ(ParamsAudRaw().GetCoding(), MediaCoding_t::RawPcm);
}

TEST(ViewGeometry, KeepsWhatItIsMadeOf) {
    Media::ViewGeometry const view(640, 480, 0.1, 0.2, 0.8, 0.9, true, false);
    EXPECT_EQ(view.width, 640);
    EXPECT_EQ(view.height, 480);
    EXPECT_EQ(view.left, 0.1);
    EXPECT_EQ(view.top, 0.2);
    EXPECT_EQ(view.right, 0.8);
    EXPECT_EQ(view.bottom, 0.9);
    EXPECT_TRUE(view.mirrored);
    EXPECT_FALSE(view.flipped);
}

TEST(MetadataTypes, NameTheMetadataStreams) {
    EXPECT_EQ(Media::MetadataMediaType, "application");
    EXPECT_EQ(Media::MetadataMediaSubType, "vnd.onvif.metadata");
}
