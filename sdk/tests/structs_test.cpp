#include "structs.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "interfacetest.h"

namespace SdkTest {

// One struct in three interfaces, as three headers and three libraries have it.
struct FirstStruct {
    std::uint32_t size;
    std::uint32_t count;
};
struct SecondStruct {
    std::uint32_t size;
    std::uint32_t count;
    std::uint64_t second;
};
struct ThirdStruct {
    std::uint32_t size;
    std::uint32_t count;
    std::uint64_t second;
    std::uint64_t third;
};

} // namespace SdkTest

namespace Sdk {
template <>
inline constexpr std::uint32_t FirstBytes<SdkTest::FirstStruct> = 8;
template <>
inline constexpr std::uint32_t FirstBytes<SdkTest::SecondStruct> = 8;
template <>
inline constexpr std::uint32_t FirstBytes<SdkTest::ThirdStruct> = 8;
} // namespace Sdk

namespace SdkTest {
namespace {

/// Memory that ends at `End`: the byte behind it must not be touched, or the program dies.
class GuardedPage {
public:
    GuardedPage()
        : pageBytes_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          start_(static_cast<unsigned char*>(
              mmap(nullptr, 2 * pageBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        EXPECT_EQ(mprotect(start_ + pageBytes_, pageBytes_, PROT_NONE), 0);
    }
    ~GuardedPage() { munmap(start_, 2 * pageBytes_); }
    GuardedPage(GuardedPage const&) = delete;
    GuardedPage& operator=(GuardedPage const&) = delete;

    /// A struct of `bytes` bytes at the end, zero but for the size that it claims.
    template <class Struct>
    Struct* Place(std::uint32_t bytes, std::uint32_t claimed) {
        unsigned char* const place = start_ + pageBytes_ - bytes;
        std::memset(start_, 0, pageBytes_);
        std::memcpy(place, &claimed, sizeof claimed);
        return static_cast<Struct*>(static_cast<void*>(place));
    }
    template <class Struct>
    Struct* Place(std::uint32_t bytes) {
        return Place<Struct>(bytes, bytes);
    }
    /// Bytes of the last struct from `offset` on; `bytes` was its size.
    unsigned char& At(std::uint32_t bytes, std::uint32_t offset) {
        return start_[pageBytes_ - bytes + offset];
    }

private:
    std::size_t const pageBytes_;
    unsigned char* const start_;
};

template <class Known, class Given>
std::optional<Known> ReadAs(Given const& given) {
    return Sdk::ReadStruct(static_cast<Known const*>(static_cast<void const*>(&given)));
}

// --- versions

TEST(Struct_Read, OfAnOlderHeaderHasZeroForWhatItLacks) {
    FirstStruct const old = {sizeof old, 3};
    auto const read = ReadAs<ThirdStruct>(old);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->count, 3U);
    EXPECT_EQ(read->second, 0U);
    EXPECT_EQ(read->third, 0U);
    EXPECT_EQ(read->size, sizeof(ThirdStruct));
}

TEST(Struct_Read, OfANewerHeaderIsTakenWhenItAsksForNothingNew) {
    ThirdStruct given = {sizeof given, 3, 4, 0};
    auto const read = ReadAs<SecondStruct>(given);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->second, 4U);
    given.third = std::uint64_t{1} << 56U;
    EXPECT_FALSE(ReadAs<SecondStruct>(given));
}

TEST(Struct_Write, ToAnOlderHeaderLeavesWhatIsBehindIt) {
    struct {
        FirstStruct old = {sizeof(FirstStruct), 0};
        std::uint64_t behind = 77;
    } place;
    Sdk::WriteStruct<ThirdStruct>(reinterpret_cast<ThirdStruct*>(&place.old), place.old.size, {24, 3, 4, 5});
    EXPECT_EQ(place.old.size, sizeof(FirstStruct));
    EXPECT_EQ(place.old.count, 3U);
    EXPECT_EQ(place.behind, 77U);
}

TEST(Struct_Write, ToANewerHeaderMakesZeroOfWhatIsNotKnown) {
    ThirdStruct place = {sizeof place, 1, 1, 99};
    Sdk::WriteStruct<SecondStruct>(reinterpret_cast<SecondStruct*>(&place), place.size, {16, 3, 4});
    EXPECT_EQ(place.size, sizeof(ThirdStruct));
    EXPECT_EQ(place.count, 3U);
    EXPECT_EQ(place.second, 4U);
    EXPECT_EQ(place.third, 0U);
}

// --- sizes, at the end of memory

class Struct_Size : public InterfaceTest {
protected:
    /// `call` with structs of all sizes: refused below the first one and above the largest, where nothing but
    /// the size is read, and taken between.
    template <class Struct, class Call>
    void ExpectSizes(Call call) {
        for (std::uint32_t claimed : {0U, 4U, static_cast<std::uint32_t>(sizeof(Struct)) - 1U,
                                      RA_MAX_STRUCT_BYTES + 1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            EXPECT_EQ(call(page.Place<Struct>(4, claimed)), RA_INVALID_ARGUMENT) << claimed;
        }
        for (std::uint32_t const bytes :
             {static_cast<std::uint32_t>(sizeof(Struct)), static_cast<std::uint32_t>(sizeof(Struct)) + 1U,
              static_cast<std::uint32_t>(sizeof(Struct)) + 8U, RA_MAX_STRUCT_BYTES + 0U}) {
            EXPECT_EQ(call(page.Place<Struct>(bytes)), RA_SUCCESS) << bytes;
            std::uint32_t size = 0;
            std::memcpy(&size, &page.At(bytes, 0), sizeof size);
            EXPECT_EQ(size, bytes);
        }
    }

    GuardedPage page;
};

TEST_F(Struct_Size, OfOptions) {
    ExpectSizes<RaOptions>([&](RaOptions* options) {
        std::uint32_t claimed = 0;
        std::memcpy(&claimed, static_cast<void*>(options), sizeof claimed);
        if (claimed >= sizeof(RaOptions) && claimed <= RA_MAX_STRUCT_BYTES) {
            std::int32_t const warmUp = RA_NO_SILENCE;
            std::memcpy(&page.At(claimed, offsetof(RaOptions, warmUpMilliSec)), &warmUp, sizeof warmUp);
        }
        RaEngine another = nullptr;
        RaStatus const status = RaOpen(options, &another);
        EXPECT_EQ(RaClose(another), status);
        return status;
    });
}

TEST_F(Struct_Size, OfAFormatAndAFrame) {
    RaSession const session = OpenSession();
    std::vector<std::int16_t> const samples(FrameSamples, 1);
    auto const fill = [&](void* place, auto const& content) {
        std::uint32_t claimed = 0;
        std::memcpy(&claimed, place, sizeof claimed);
        if (claimed >= sizeof content && claimed <= RA_MAX_STRUCT_BYTES) {
            std::memcpy(&page.At(claimed, 4), reinterpret_cast<unsigned char const*>(&content) + 4,
                        sizeof content - 4);
        }
    };
    ExpectSizes<RaStreamFormat>([&](RaStreamFormat* format) {
        fill(format, PcmFormat());
        return RaSessionSetFormat(session, format);
    });
    ExpectSizes<RaFrame>([&](RaFrame* frame) {
        fill(frame, RaFrame{0, FrameBytes, samples.data(), NanoSecPerSec, RaGetTimeNanoSec()});
        return RaSessionSubmit(session, frame);
    });
}

TEST_F(Struct_Size, OfStatistics) {
    RaSession const session = OpenSession();
    ExpectSizes<RaStatistics>([&](RaStatistics* statistics) { return RaGetStatistics(engine, statistics); });
    ExpectSizes<RaSessionStatistics>(
        [&](RaSessionStatistics* statistics) { return RaSessionGetStatistics(session, statistics); });
}

TEST_F(Struct_Size, OfACapturedFrame) {
    RaCapture capture = nullptr;
    ASSERT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &capture), RA_SUCCESS);
    std::vector<std::int16_t> samples(FrameSamples);
    ExpectSizes<RaCapturedFrame>([&](RaCapturedFrame* frame) {
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        return RaCaptureReadFrame(capture, frame, samples.data(), FrameSamples);
    });
}

TEST_F(Struct_Size, BeyondWhatIsKnownMustAskForNothing) {
    std::uint32_t const bytes = sizeof(RaOptions) + 8;
    auto* const options = page.Place<RaOptions>(bytes);
    RaEngine another = nullptr;
    for (std::uint32_t const offset : {bytes - 8, bytes - 1}) {
        page.At(bytes, offset) = 1;
        EXPECT_EQ(RaOpen(options, &another), RA_INVALID_ARGUMENT);
        page.At(bytes, offset) = 0;
    }
    EXPECT_EQ(another, nullptr);
}

TEST_F(Struct_Size, BeyondWhatIsKnownBecomesZero) {
    std::uint32_t const bytes = sizeof(RaStatistics) + 8;
    auto* const statistics = page.Place<RaStatistics>(bytes);
    page.At(bytes, bytes - 8) = 9;
    page.At(bytes, bytes - 1) = 9;
    ASSERT_EQ(RaGetStatistics(engine, statistics), RA_SUCCESS);
    EXPECT_EQ(page.At(bytes, bytes - 8), 0);
    EXPECT_EQ(page.At(bytes, bytes - 1), 0);
}

} // namespace
} // namespace SdkTest
