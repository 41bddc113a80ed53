#include "doubles/CountingAllocator.h"

#include <OxbowPoolManager/base/mem_Functions.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

void* Allocate(std::size_t size, bool zeroed = false) {
    using T = TestAllocator;
    const bool fails = ++T::sCalls >= T::sFirstFailing && T::sCalls <= T::sLastFailing;
    T::sFired |= fails;
    // Blocks of zeros that nobody touches cost nothing.
    void* const block = fails ? nullptr : zeroed ? std::calloc(size, 1) : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++T::sLiveBlocks;
    T::sPeak = std::max(T::sPeak, T::sBytes += static_cast<long>(malloc_usable_size(block)));
    return zeroed ? block : std::memset(block, 0xA5, size);
}

}  // namespace

void* mem_OperatorNewThrow(std::size_t size) {
    return Allocate(size);
}
void* mem_OperatorNewThrowBuiltin(std::size_t size) {
    return Allocate(size);
}
void* mem_OperatorNewTinyThrow(std::size_t size) {
    return Allocate(size);
}
void* mem_Malloc(std::size_t size) {
    return Allocate(size);
}
void* mem_OperatorNewZeroedThrowBuiltin(std::size_t size) {
    return Allocate(size, true);
}
void mem_Free(void* block) noexcept {
    TestAllocator::sLiveBlocks -= block != nullptr;
    TestAllocator::sBytes -= static_cast<long>(malloc_usable_size(block));  // none, of null
    std::free(block);
}

void* mem_Realloc(void* block, std::size_t size) {
    void* const moved = size == 0 ? nullptr : Allocate(size);
    if (moved != nullptr && block != nullptr) {
        std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    }
    mem_Free(block);
    return moved;
}
