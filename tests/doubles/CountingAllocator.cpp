#include "doubles/CountingAllocator.h"

#include <OxbowPoolManager/base/mem_Functions.h>

#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <vector>

namespace {

/** Large blocks of zeros, with their sizes. They are mapped, so that they cost what is touched. */
std::map<void*, std::size_t> gMapped;
constexpr std::size_t kMapped = 1 << 20;

void* Map(std::size_t size) {
    void* const block = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED) {
        throw std::bad_alloc();
    }
    ++TestAllocator::sLiveBlocks;
    gMapped[block] = size;
    return block;
}

/** Counts the pages that were touched. */
void Unmap(std::map<void*, std::size_t>::iterator block) {
    std::vector<unsigned char> pages(block->second / 4096 + 1);
    mincore(block->first, block->second, pages.data());
    const long touched =
        std::count_if(pages.begin(), pages.end(), [](int page) { return page & 1; });
    TestAllocator::sPeak = std::max(TestAllocator::sPeak, TestAllocator::sBytes + 4096 * touched);
    munmap(block->first, block->second);
    gMapped.erase(block);
}

void* Allocate(std::size_t size, bool zeroed = false) {
    using T = TestAllocator;
    const bool fails = ++T::sCalls >= T::sFirstFailing && T::sCalls <= T::sLastFailing;
    T::sFired |= fails;
    if (zeroed && !fails && size >= kMapped) {
        return Map(size);
    }
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
    if (const auto mapped = gMapped.find(block); mapped != gMapped.end()) {
        return Unmap(mapped);
    }
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
