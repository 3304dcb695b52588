// Half a megabyte of ring comes and goes with every run, several times: the system's memory for it would cost
// more than all else. Blocks of that size are kept here and used again, in turn, and what may not be used of
// them is poisoned; all others come from the allocator, and with them what AddressSanitizer tells of them.

#include <sanitizer/asan_interface.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t BigBytes = std::size_t{400} * 1024;
/// No block that is kept is larger.
constexpr std::size_t KeptBytes = std::size_t{500} * 1024;
constexpr std::size_t MaxBlocks = 16;

struct Block {
    void* memory = nullptr;
    bool isUsed = false;
};

/// Touched by the managed thread that runs alone, and by the one that waits for it.
std::array<Block, MaxBlocks> blocks;
/// The one behind that which was given last: who uses a block after its end finds it poisoned until all
/// others have had their turn.
std::size_t next = 0;

bool IsBig(std::size_t size) {
    return size >= BigBytes && size <= KeptBytes;
}

/// The part behind `size` bytes stays poisoned. When all are in use, one from the allocator.
void* TakeBig(std::size_t size) {
    for (std::size_t tries = 0; tries < MaxBlocks; ++tries) {
        Block& block = blocks[next];
        next = (next + 1) % MaxBlocks;
        if (!block.isUsed) {
            block.isUsed = true;
            if (block.memory == nullptr) {
                block.memory = std::malloc(KeptBytes);
                ASAN_POISON_MEMORY_REGION(block.memory, KeptBytes);
            }
            ASAN_UNPOISON_MEMORY_REGION(block.memory, size);
            return block.memory;
        }
    }
    return std::malloc(size);
}

bool GiveBack(void* memory) {
    for (Block& block : blocks) {
        if (block.memory == nullptr) {
            return false;
        }
        if (block.memory == memory) {
            if (!block.isUsed) {
                std::fputs("a big block is given back twice\n", stderr);
                std::abort();
            }
            block.isUsed = false;
            ASAN_POISON_MEMORY_REGION(memory, KeptBytes);
            return true;
        }
    }
    return false;
}

void Free(void* memory) {
    if (memory != nullptr && !GiveBack(memory)) {
        std::free(memory);
    }
}

} // namespace

void* operator new(std::size_t size) {
    void* const memory = IsBig(size) ? TakeBig(size) : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size) {
    return ::operator new(size);
}

void operator delete(void* memory) noexcept {
    Free(memory);
}

void operator delete[](void* memory) noexcept {
    Free(memory);
}

void operator delete(void* memory, std::size_t size) noexcept {
    if (IsBig(size)) {
        Free(memory);
    } else {
        std::free(memory);
    }
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    Free(memory);
}
