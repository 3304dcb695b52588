#include "kovra/buffer.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

namespace Kovra {

namespace {

struct AlignedDelete {
    std::align_val_t alignment;

    void operator()(std::uint8_t* data) const { ::operator delete(data, alignment); }
};

constexpr bool IsPowerOfTwo(std::size_t value) {
    return value != 0 && (value & (value - 1)) == 0;
}

constexpr std::uint32_t Cut(std::uint32_t wanted, std::size_t available) {
    return wanted < available ? wanted : static_cast<std::uint32_t>(available);
}

} // namespace

boost::intrusive_ptr<Buffer> Buffer::Create(std::size_t size, std::size_t alignment) {
    if (!IsPowerOfTwo(alignment)) {
        throw std::invalid_argument("alignment of a buffer must be a power of two");
    }
    auto const aligned = std::align_val_t{alignment};
    std::unique_ptr<std::uint8_t, AlignedDelete> data(
        static_cast<std::uint8_t*>(::operator new(size, aligned)), AlignedDelete{aligned});
    boost::intrusive_ptr<Buffer> buffer(new Buffer(data.get(), size, alignment));
    static_cast<void>(data.release());
    return buffer;
}

Buffer::Buffer(std::uint8_t* data, std::size_t size, std::size_t alignment)
    : data_(data), size_(size), alignment_(alignment) {}

Buffer::~Buffer() {
    AlignedDelete{std::align_val_t{alignment_}}(data_);
}

void intrusive_ptr_add_ref(Buffer const* buffer) {
    buffer->references_.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(Buffer const* buffer) {
    // The last holder must see what the others wrote before it frees the block.
    if (buffer->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete buffer;
    }
}

BufferInfo::BufferInfo(boost::intrusive_ptr<Buffer> buffer, std::uint32_t offset, std::uint32_t length,
                       std::uint32_t dataOffset)
    : buffer_(std::move(buffer)) {
    if (!buffer_) {
        return;
    }
    std::size_t const size = buffer_->GetSize();
    offset_ = Cut(offset, size);
    dataOffset_ = Cut(dataOffset, size - offset_);
    length_ = Cut(length, size - offset_ - dataOffset_);
}

std::uint8_t const* BufferInfo::GetData() const {
    return buffer_ ? buffer_->GetData() + offset_ + dataOffset_ : nullptr;
}

std::uint8_t* BufferInfo::GetData() {
    return buffer_ ? buffer_->GetData() + offset_ + dataOffset_ : nullptr;
}

} // namespace Kovra
