#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace ModelTest {

/// Where a generator takes its decisions from.
class Choices {
public:
    virtual ~Choices() = default;

    /// One of 0 to `count` - 1; `count` is not 0.
    virtual std::uint64_t Below(std::uint64_t count) = 0;
    /// No decision is left: the generator ends.
    virtual bool IsAtEnd() const { return false; }

    std::int64_t Between(std::int64_t low, std::int64_t high) {
        return low + static_cast<std::int64_t>(Below(static_cast<std::uint64_t>(high - low) + 1));
    }
    /// True once in `count` times.
    bool OneIn(std::uint64_t count) { return Below(count) == 0; }
    template <class Value>
    Value OneOf(std::initializer_list<Value> values) {
        return values.begin()[Below(values.size())];
    }
};

/// Numbers that a seed decides, the same on every machine.
class RandomChoices final : public Choices {
public:
    explicit RandomChoices(std::uint64_t seed) : state_(seed) {}

    std::uint64_t Below(std::uint64_t count) override {
        // SplitMix64: a counter, well stirred.
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return (z ^ (z >> 31)) % count;
    }

private:
    std::uint64_t state_;
};

/// Numbers read from bytes, as many as the range needs; zeros behind the end.
class ByteChoices final : public Choices {
public:
    /// The bytes are borrowed.
    ByteChoices(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {}

    std::uint64_t Below(std::uint64_t count) override {
        std::uint64_t value = 0;
        for (std::uint64_t range = count - 1; range != 0; range >>= 8) {
            value = value << 8 | Next();
        }
        return value % count;
    }
    bool IsAtEnd() const override { return place_ >= size_; }

private:
    std::uint8_t Next() { return place_ < size_ ? data_[place_++] : std::uint8_t{0}; }

    std::uint8_t const* data_;
    std::size_t size_;
    std::size_t place_ = 0;
};

} // namespace ModelTest
