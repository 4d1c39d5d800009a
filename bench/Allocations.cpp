#include "Allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {
thread_local std::uint64_t count = 0;

void* allocate(std::size_t size, std::size_t alignment) {
    ++count;
    void* memory = alignment > alignof(std::max_align_t)
                       ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
                       : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}
} // namespace

void* operator new(std::size_t size) { return allocate(size, 0); }
void* operator new[](std::size_t size) { return allocate(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

std::uint64_t allocationsOfThread() { return count; }

std::uint64_t liveHeapBytes() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}
