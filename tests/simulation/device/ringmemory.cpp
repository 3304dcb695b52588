#include "simulation/device/ringmemory.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulation/win32/threadnumber.h"

namespace Simulation {

RingMemory::RingMemory(std::uint32_t bytes, bool hasCheck, Access_t access)
    : size_(bytes), access_(access), memory_(bytes + 2 * GuardBytes, FillByte) {
    guard_.fill(GuardByte);
    std::memcpy(memory_.data(), guard_.data(), GuardBytes);
    std::memcpy(Ring() + size_, guard_.data(), GuardBytes);
    SetCheck(hasCheck);
    if (access_ == Access_t::Read) {
        KeepCopy();
    }
}

std::vector<std::int16_t> RingMemory::Samples(std::uint32_t first, std::uint32_t count) const {
    std::uint32_t const total = size_ / SampleBytes;
    std::vector<std::int16_t> samples(count);
    for (std::uint32_t i = 0; i < count;) {
        std::uint32_t const from = (first + i) % total;
        std::uint32_t const part = std::min(count - i, total - from);
        std::memcpy(samples.data() + i, Data() + from * sizeof(std::int16_t), part * sizeof(std::int16_t));
        i += part;
    }
    return samples;
}

bool RingMemory::Overlap(Region a, Region b) {
    return a.bytes != 0 && b.bytes != 0 && a.address < b.address + b.bytes && b.address < a.address + a.bytes;
}

std::string RingMemory::Lock(std::uint32_t offset, std::uint32_t bytes, std::uint32_t splitBytes,
                             bool mayWrap, Region& first, Region& second) {
    if (openCount_ == MaxOpenLocks) {
        return "more locks are open than there can be threads";
    }
    std::uint32_t const toEnd = size_ - offset;
    std::uint32_t const firstBytes = bytes > toEnd                           ? toEnd
                                     : splitBytes != 0 && splitBytes < bytes ? splitBytes
                                                                             : bytes;
    first = {Ring() + offset, firstBytes};
    second = {};
    if (firstBytes < bytes && mayWrap) {
        second = {Ring() + (offset + firstBytes) % size_, bytes - firstBytes};
    }
    std::string problem;
    std::uint64_t const thread = ThisThreadNumber();
    for (std::size_t i = 0; i < openCount_; ++i) {
        OpenLock const& open = open_[i];
        if (open.thread == thread && (Overlap(open.first, first) || Overlap(open.first, second) ||
                                      Overlap(open.second, first) || Overlap(open.second, second))) {
            problem = "a lock overlaps one that the same thread has open";
        }
    }
    open_[openCount_++] = {thread, first, second};
    ++lockCount_;
    return problem;
}

std::string RingMemory::Unlock(Region first, Region second) {
    std::uint64_t const thread = ThisThreadNumber();
    OpenLock* const end = open_.data() + openCount_;
    auto const startsThere = [&first](OpenLock const& lock) { return lock.first.address == first.address; };
    OpenLock* found = std::find_if(
        open_.data(), end, [&](OpenLock const& lock) { return startsThere(lock) && lock.thread == thread; });
    if (found == end) {
        found = std::find_if(open_.data(), end, startsThere);
    }
    if (found == end) {
        return "an unlock of what is not locked";
    }
    OpenLock const lock = *found;
    std::string problem;
    if (lock.first.bytes != first.bytes || lock.second.bytes != second.bytes ||
        lock.second.address != second.address) {
        problem = "an unlock of " + std::to_string(first.bytes) + " and " + std::to_string(second.bytes) +
                  " bytes, where the lock gave " + std::to_string(lock.first.bytes) + " and " +
                  std::to_string(lock.second.bytes);
    } else {
        problem = Check();
    }
    for (Region const& region : {lock.first, lock.second}) {
        if (problem.empty()) {
            problem = CheckReadOnly(region);
        }
    }
    *found = open_[--openCount_];
    if (hasCheck_ || isCopyKept_) {
        Commit(lock.first);
        Commit(lock.second);
    }
    for (Withheld const& late : std::exchange(withheld_, {})) {
        Deliver(late.offset, late.bytes.data(), static_cast<std::uint32_t>(late.bytes.size()));
    }
    return problem;
}

bool RingMemory::HasForeignLock() const {
    std::uint64_t const thread = ThisThreadNumber();
    return std::any_of(open_.data(), open_.data() + openCount_,
                       [thread](OpenLock const& lock) { return lock.thread != thread; });
}

bool RingMemory::HasForeignLock(std::uint32_t offset, std::uint32_t bytes) {
    std::uint32_t const toEnd = std::min(bytes, size_ - offset);
    Region const first{Ring() + offset, toEnd};
    Region const second{Ring(), bytes - toEnd};
    std::uint64_t const thread = ThisThreadNumber();
    return std::any_of(open_.data(), open_.data() + openCount_, [&](OpenLock const& lock) {
        return lock.thread != thread && (Overlap(lock.first, first) || Overlap(lock.first, second) ||
                                         Overlap(lock.second, first) || Overlap(lock.second, second));
    });
}

template <class Visit>
void RingMemory::ForEachFree(std::uint32_t begin, std::uint32_t end, Visit visit) const {
    while (begin < end) {
        std::uint32_t stop = end;
        std::uint32_t next = end;
        for (std::size_t i = 0; i < openCount_; ++i) {
            for (Region const& region : {open_[i].first, open_[i].second}) {
                if (region.bytes == 0) {
                    continue;
                }
                auto const regionBegin = static_cast<std::uint32_t>(region.address - Data());
                std::uint32_t const regionEnd = regionBegin + region.bytes;
                if (regionEnd > begin && regionBegin < stop) {
                    stop = std::max(begin, regionBegin);
                    next = std::min(end, regionEnd);
                }
            }
        }
        if (stop > begin) {
            visit(begin, stop);
        }
        begin = next;
    }
}

void RingMemory::Commit(Region region) {
    if (region.bytes == 0) {
        return;
    }
    auto const begin = static_cast<std::uint32_t>(region.address - Data());
    ForEachFree(begin, begin + region.bytes, [this](std::uint32_t from, std::uint32_t to) {
        std::memcpy(copy_.data() + from, Data() + from, to - from);
    });
}

std::string RingMemory::Check() const {
    if (std::memcmp(memory_.data(), guard_.data(), GuardBytes) != 0 ||
        std::memcmp(Data() + size_, guard_.data(), GuardBytes) != 0) {
        return "bytes beside the ring were overwritten";
    }
    std::string problem;
    if (hasCheck_) {
        ForEachFree(0, size_, [&](std::uint32_t from, std::uint32_t to) {
            if (std::memcmp(copy_.data() + from, Data() + from, to - from) != 0) {
                auto const where = std::mismatch(Data() + from, Data() + to, copy_.data() + from).first;
                problem = "byte " + std::to_string(where - Data()) + " was written outside the locked region";
            }
        });
    }
    return problem;
}

std::string RingMemory::CheckReadOnly(Region region) const {
    if (access_ == Access_t::Write || region.bytes == 0) {
        return {};
    }
    std::uint8_t const* const begin = region.address;
    std::uint8_t const* const expected = copy_.data() + (begin - Data());
    if (std::memcmp(begin, expected, region.bytes) == 0) {
        return {};
    }
    auto const* const where = std::mismatch(begin, begin + region.bytes, expected).first;
    return "byte " + std::to_string(where - Data()) + " was written, where a lock only reads";
}

void RingMemory::TakeCopy() {
    copy_.resize(size_, FillByte);
    ForEachFree(0, size_, [this](std::uint32_t from, std::uint32_t to) {
        std::memcpy(copy_.data() + from, Data() + from, to - from);
    });
}

void RingMemory::SetCheck(bool isOn) {
    if (isOn && !hasCheck_) {
        TakeCopy();
    }
    hasCheck_ = isOn;
}

void RingMemory::KeepCopy() {
    if (!hasCheck_ && !isCopyKept_) {
        TakeCopy();
    }
    isCopyKept_ = true;
}

void RingMemory::Write(std::uint32_t offset, std::uint8_t const* data, std::uint32_t bytes) {
    std::memcpy(Ring() + offset, data, bytes);
    if (hasCheck_ || isCopyKept_) {
        Commit({Ring() + offset, bytes});
    }
}

void RingMemory::Deliver(std::uint32_t offset, std::uint8_t const* data, std::uint32_t bytes) {
    std::uint32_t done = offset;
    auto const withholdUpTo = [&](std::uint32_t stop) {
        if (done < stop) {
            withheld_.push_back({done, {data + (done - offset), data + (stop - offset)}});
        }
    };
    ForEachFree(offset, offset + bytes, [&](std::uint32_t from, std::uint32_t to) {
        withholdUpTo(from);
        std::memcpy(Ring() + from, data + (from - offset), to - from);
        done = to;
    });
    withholdUpTo(offset + bytes);
    Commit({Ring() + offset, bytes});
}

} // namespace Simulation
