#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "kovra/export.h"

namespace Kovra {

/// A reference-counted, aligned block of memory.
///
/// **Threads:** the count may be changed from any thread; the bytes are the holders' to guard.
/// **Ownership:** shared through `boost::intrusive_ptr`; freed with the last reference.
class KOVRA_API Buffer {
public:
    /// A block of `size` bytes (uninitialised) at an address that is a multiple of `alignment`, a power of
    /// two. Size 0 is allowed. Throws `std::bad_alloc` when there is no memory and `std::invalid_argument`
    /// when the alignment is not a power of two.
    static boost::intrusive_ptr<Buffer> Create(std::size_t size, std::size_t alignment);

    Buffer(Buffer const&) = delete;
    Buffer& operator=(Buffer const&) = delete;

    std::uint8_t* GetData() { return data_; }
    std::uint8_t const* GetData() const { return data_; }
    std::size_t GetSize() const { return size_; }

    friend KOVRA_API void intrusive_ptr_add_ref(Buffer const* buffer);
    friend KOVRA_API void intrusive_ptr_release(Buffer const* buffer);

private:
    Buffer(std::uint8_t* data, std::size_t size, std::size_t alignment);
    ~Buffer();

    std::uint8_t* data_;
    std::size_t size_;
    std::size_t alignment_;
    mutable std::atomic<std::uint32_t> references_{0};
};

KOVRA_API void intrusive_ptr_add_ref(Buffer const* buffer);
KOVRA_API void intrusive_ptr_release(Buffer const* buffer);

/// A slice of a `Buffer`: the bytes from `base + offset + dataOffset`, `length` of them. The first offset
/// says where the sender's packet starts in the block, the second where its payload starts in the packet.
///
/// The slice always lies within its block: a constructor argument that reaches beyond it is cut back, so
/// that readers need no check of their own.
class KOVRA_API BufferInfo {
public:
    BufferInfo() = default;
    BufferInfo(boost::intrusive_ptr<Buffer> buffer, std::uint32_t offset, std::uint32_t length,
               std::uint32_t dataOffset = 0);

    boost::intrusive_ptr<Buffer> const& GetBuffer() const { return buffer_; }
    std::uint32_t GetOffset() const { return offset_; }
    std::uint32_t GetDataOffset() const { return dataOffset_; }

    /// Bytes of payload; 0 without a block.
    std::uint32_t GetLength() const { return buffer_ ? length_ : 0; }

    /// First byte of the payload; null without a block.
    std::uint8_t const* GetData() const;
    std::uint8_t* GetData();

private:
    boost::intrusive_ptr<Buffer> buffer_;
    std::uint32_t offset_ = 0;
    std::uint32_t dataOffset_ = 0;
    std::uint32_t length_ = 0;
};

/// A list of slices that holds one reference on each block for as long as it lives. Movable, not copied by
/// accident.
class BufferInfoListScoped {
public:
    BufferInfoListScoped() = default;
    BufferInfoListScoped(BufferInfoListScoped&&) = default;
    BufferInfoListScoped& operator=(BufferInfoListScoped&&) = default;
    BufferInfoListScoped(BufferInfoListScoped const&) = delete;
    BufferInfoListScoped& operator=(BufferInfoListScoped const&) = delete;

    void Append(BufferInfo info) { infos_.push_back(std::move(info)); }
    bool IsEmpty() const { return infos_.empty(); }
    std::size_t GetCount() const { return infos_.size(); }

    /// First slice, or null when the list is empty.
    BufferInfo const* GetBegin() const { return infos_.empty() ? nullptr : infos_.data(); }
    BufferInfo* GetBegin() { return infos_.empty() ? nullptr : infos_.data(); }

private:
    std::vector<BufferInfo> infos_;
};

} // namespace Kovra
