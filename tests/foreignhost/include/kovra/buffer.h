#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <utility>

#include "harbour/counted.h"

namespace Media {
class FrameAud;
}

namespace Kovra {

/// A block of the host's pool, which it goes back to: the next one who asks for as much gets it.
class HARBOUR_API Buffer final : public Harbour::Counted {
public:
    static boost::intrusive_ptr<Buffer> Create(std::size_t size, std::size_t alignment);
    ~Buffer() override;
    std::uint8_t* GetData() const { return aligned_; }
    std::size_t GetSize() const { return size_; }

private:
    friend class Pool;

    Buffer(std::size_t size, std::size_t alignment);
    void Dispose() override;

    std::size_t const size_;
    std::size_t const alignment_;
    std::unique_ptr<std::uint8_t[]> const memory_;
    std::uint8_t* aligned_ = nullptr;
};

/// A part of a block, between two addresses.
class HARBOUR_API BufferInfo {
public:
    BufferInfo(boost::intrusive_ptr<Buffer> const& block, std::size_t offset, std::size_t length)
        : begin_(block->GetData() + offset), end_(begin_ + length), block_(block) {}
    std::uint8_t const* GetData() const { return begin_; }
    /// With a conversion that the module's own warnings would refuse.
    std::uint32_t GetLength() const { return end_ - begin_; }

private:
    std::uint8_t const* begin_;
    std::uint8_t const* end_;
    boost::intrusive_ptr<Buffer> block_;
};

class HARBOUR_API BufferInfoListScoped {
public:
    void Append(BufferInfo const& info) { infos_.push_back(info); }

private:
    friend class Media::FrameAud;

    std::list<BufferInfo> infos_;
};

} // namespace Kovra
