#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Simulation {

/// The memory of a buffer with its open locks. It finds what a lock's holder does wrong: writes outside the
/// locked region, or anywhere in a ring that it may only read, an Unlock that does not fit, two locks of one
/// thread that overlap.
///
/// **Threads:** the platform's mutex is held in every operation. Bytes in an open lock belong to the
/// lock's holder and are never touched here.
class RingMemory {
public:
    /// Part of a lock: address and length, null and 0 for none.
    struct Region {
        std::uint8_t* address = nullptr;
        std::uint32_t bytes = 0;
    };

    /// What a lock's holder may do with the ring.
    enum class Access_t { Write, Read };

    /// More than two threads will ever hold at once.
    static constexpr std::size_t MaxOpenLocks = 16;
    /// What a new ring is filled with: not silence, so that a test notices what was never cleared.
    static constexpr std::uint8_t FillByte = 0xA5;

    static constexpr std::uint32_t SampleBytes = sizeof(std::int16_t);

    RingMemory(std::uint32_t bytes, bool hasCheck, Access_t access);

    std::uint32_t Size() const { return size_; }
    std::uint8_t const* Data() const { return memory_.data() + GuardBytes; }
    std::uint8_t* Address(std::uint32_t offset) { return Ring() + offset; }
    /// True when a lock of `bytes` bytes from `offset` is one that the ring can give.
    bool Contains(std::uint32_t offset, std::uint32_t bytes) const {
        return offset < size_ && bytes != 0 && bytes <= size_;
    }
    /// `count` 16-bit values from number `first` on, across the ring's end.
    std::vector<std::int16_t> Samples(std::uint32_t first, std::uint32_t count) const;

    /// Opens a lock of `bytes` bytes from `offset`, which the ring contains. One that
    /// does not reach the ring's end is split after `splitBytes` bytes if it is longer (0: not). Empty, or
    /// what was wrong. Without `mayWrap` the lock ends at the ring's end or the split.
    std::string Lock(std::uint32_t offset, std::uint32_t bytes, std::uint32_t splitBytes, bool mayWrap,
                     Region& first, Region& second);
    /// Closes the lock that handed out `first` and `second`. Empty, or what was wrong.
    std::string Unlock(Region first, Region second);

    std::size_t OpenLocks() const { return openCount_; }
    std::uint64_t LockCount() const { return lockCount_; }

    /// True when a lock of another thread than the calling one is open.
    bool HasForeignLock() const;
    /// True when such a lock holds any of the `bytes` bytes from `offset` on, across the ring's end.
    bool HasForeignLock(std::uint32_t offset, std::uint32_t bytes);

    /// Turns the comparison of the whole ring at Unlock on or off.
    void SetCheck(bool isOn);
    /// Keeps the copy that `Committed` reads from now on.
    void KeepCopy();
    /// The ring as it stood at the last Unlock: what the device plays. `KeepCopy` comes first.
    std::uint8_t const* Committed() const { return copy_.data(); }

    /// Overwrites bytes as a lock and an unlock would. No lock is open.
    void Write(std::uint32_t offset, std::uint8_t const* data, std::uint32_t bytes);
    /// Overwrites bytes as the device does that captures: those in an open lock at its Unlock. The stretch
    /// does not wrap.
    void Deliver(std::uint32_t offset, std::uint8_t const* data, std::uint32_t bytes);

private:
    static constexpr std::size_t GuardBytes = 64;
    static constexpr std::uint8_t GuardByte = 0xFD;

    struct OpenLock {
        std::uint64_t thread;
        Region first;
        Region second;
    };

    /// Bytes that the device could not put into the ring yet.
    struct Withheld {
        std::uint32_t offset;
        std::vector<std::uint8_t> bytes;
    };

    static bool Overlap(Region a, Region b);
    std::uint8_t* Ring() { return memory_.data() + GuardBytes; }
    /// Calls `visit(begin, end)` for each stretch of [begin, end) that no open lock covers.
    template <class Visit>
    void ForEachFree(std::uint32_t begin, std::uint32_t end, Visit visit) const;
    void Commit(Region region);
    void TakeCopy();
    std::string Check() const;
    /// What the holder of a lock wrote where it may only read; empty for nothing.
    std::string CheckReadOnly(Region region) const;

    std::uint32_t size_;
    Access_t access_;
    bool hasCheck_ = false;
    bool isCopyKept_ = false;
    /// The ring between two guards.
    std::vector<std::uint8_t> memory_;
    /// What a guard holds if nobody wrote there.
    std::array<std::uint8_t, GuardBytes> guard_;
    std::vector<std::uint8_t> copy_;
    std::array<OpenLock, MaxOpenLocks> open_{};
    std::size_t openCount_ = 0;
    std::vector<Withheld> withheld_;
    std::uint64_t lockCount_ = 0;
};

} // namespace Simulation
