// What the byte and sample primitives cost, each variant that this processor runs beside what one would call
// otherwise: the C library, the processor's own string instructions, the C++ library. Benchmarks are named
// operation/implementation/bytes/offset; the offset is that of the destination (of the source, for the
// search) behind a multiple of 64 bytes.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/processor.h"
#include "primitives/varianttable.h"

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace {

namespace Primitives = Media::Primitives;

constexpr std::int64_t SizesBytes[] = {64, 960, 1920, 3840, 16384, 262144, 480000, 960000, 16777216};
/// Ring positions are multiples of four bytes.
constexpr std::int64_t OffsetsBytes[] = {0, 4};
constexpr std::size_t LineBytes = 64;

#if defined(_MSC_VER)
void RepStore(std::uint8_t* destination, std::size_t lengthBytes) {
    __stosb(destination, 0, lengthBytes);
}
void RepMove(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes) {
    __movsb(destination, source, lengthBytes);
}
#else
void RepStore(std::uint8_t* destination, std::size_t lengthBytes) {
    __asm__ volatile("rep stosb" : "+D"(destination), "+c"(lengthBytes) : "a"(0) : "memory");
}
void RepMove(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes) {
    __asm__ volatile("rep movsb" : "+D"(destination), "+S"(source), "+c"(lengthBytes) : : "memory");
}
#endif

/// Memory at a multiple of 64 bytes and an offset, filled with noise.
class Block {
public:
    Block(std::int64_t lengthBytes, std::int64_t offsetBytes)
        : bytes_(static_cast<std::size_t>(lengthBytes + offsetBytes) + LineBytes) {
        std::minstd_rand random;
        std::generate(bytes_.begin(), bytes_.end(), [&] { return static_cast<std::uint8_t>(random() >> 8); });
        auto const address = reinterpret_cast<std::uintptr_t>(bytes_.data());
        begin_ = bytes_.data() + (LineBytes - address % LineBytes) % LineBytes + offsetBytes;
    }
    std::uint8_t* Get() { return begin_; }
    std::int16_t const* Samples() const { return reinterpret_cast<std::int16_t const*>(begin_); }

private:
    std::vector<std::uint8_t> bytes_;
    std::uint8_t* begin_;
};

void Run(benchmark::State& run, std::function<void()> const& operation) {
    for (auto _ : run) {
        operation();
        benchmark::ClobberMemory();
    }
    run.SetBytesProcessed(static_cast<std::int64_t>(run.iterations()) * run.range(0));
}

using Zero = std::function<void(std::uint8_t*, std::size_t)>;
using Copy = std::function<void(std::uint8_t const*, std::uint8_t*, std::size_t)>;
using Search = std::function<void(std::int16_t const*, std::size_t, std::int16_t*, std::int16_t*)>;

void ApplySizes(benchmark::internal::Benchmark* registered) {
    // The processor time that Wine tells goes in steps of 10 ms.
    registered->UseRealTime();
    for (std::int64_t const size : SizesBytes) {
        for (std::int64_t const offset : OffsetsBytes) {
            registered->Args({size, offset});
        }
    }
}

void RegisterZero(std::string const& implementation, Zero const& zero) {
    ApplySizes(benchmark::RegisterBenchmark(("ZeroBytes/" + implementation).c_str(), [zero](auto& run) {
        Block block(run.range(0), run.range(1));
        Run(run, [&] { zero(block.Get(), static_cast<std::size_t>(run.range(0))); });
    }));
}

void RegisterCopy(std::string const& implementation, Copy const& copy) {
    ApplySizes(benchmark::RegisterBenchmark(("CopyBytes/" + implementation).c_str(), [copy](auto& run) {
        Block source(run.range(0), 0);
        Block destination(run.range(0), run.range(1));
        Run(run, [&] { copy(source.Get(), destination.Get(), static_cast<std::size_t>(run.range(0))); });
    }));
}

void RegisterSearch(std::string const& implementation, Search const& search) {
    ApplySizes(benchmark::RegisterBenchmark(("MinMaxS16/" + implementation).c_str(), [search](auto& run) {
        Block const block(run.range(0), run.range(1));
        std::int16_t minimum = 0;
        std::int16_t maximum = 0;
        Run(run, [&] {
            search(block.Samples(), static_cast<std::size_t>(run.range(0)) / 2, &minimum, &maximum);
            benchmark::DoNotOptimize(minimum);
            benchmark::DoNotOptimize(maximum);
        });
    }));
}

/// One short call, through the entry point and past it: the difference is what checks and table cost.
void RegisterEntryPoint(Primitives::Variant const& chosen) {
    benchmark::RegisterBenchmark("EntryPoint/through", [](auto& run) {
        Block block(LineBytes, 0);
        for (auto _ : run) {
            benchmark::DoNotOptimize(Primitives::ZeroBytes(block.Get(), LineBytes));
        }
    })->UseRealTime();
    benchmark::RegisterBenchmark("EntryPoint/direct", [chosen](auto& run) {
        Block block(LineBytes, 0);
        Primitives::ZeroFunction zero = chosen.zeroBytes;
        for (auto _ : run) {
            benchmark::DoNotOptimize(zero);
            zero(block.Get(), LineBytes, 0);
        }
    })->UseRealTime();
}

void RegisterAll() {
    std::size_t const cacheBytes = Primitives::ReadLargestCacheBytes(Primitives::ThisProcessor());
    std::uint64_t const features = Primitives::ReadFeatureMask(Primitives::ThisProcessor()).value_or(0);
    struct {
        char const* name;
        std::uint32_t index;
    } const rows[] = {{"Baseline", Primitives::VariantIndex::Baseline},
                      {"SSSE3", Primitives::VariantIndex::Ssse3},
                      {"SSE4.1", Primitives::VariantIndex::Sse41},
                      {"AVX", Primitives::VariantIndex::Avx}};
    for (auto const& row : rows) {
        if (!Primitives::CanRunVariant(row.index, features)) {
            continue;
        }
        Primitives::Variant const variant = *Primitives::GetVariants()[row.index];
        RegisterZero(row.name, [=](auto* to, auto length) { variant.zeroBytes(to, length, cacheBytes); });
        RegisterCopy(row.name, [=](auto* from, auto* to, auto length) {
            variant.copyBytes(from, to, length, cacheBytes);
        });
        RegisterSearch(row.name, variant.minMaxS16);
    }
    RegisterZero("C library", [](auto* to, auto length) { std::memset(to, 0, length); });
    RegisterZero("rep", RepStore);
    RegisterCopy("C library", [](auto* from, auto* to, auto length) { std::memcpy(to, from, length); });
    RegisterCopy("rep", RepMove);
    RegisterSearch("C++ library", [](auto* from, auto count, auto* minimum, auto* maximum) {
        auto const [smallest, largest] = std::minmax_element(from, from + count);
        *minimum = *smallest;
        *maximum = *largest;
    });
    RegisterEntryPoint(*Primitives::GetVariants()[Primitives::GetVariantIndex()]);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RegisterAll();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
