#include "doubles/CountingAllocator.h"

#include <OxbowPoolManager/base/mem_Functions.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

void TestAllocator::Arm(long first, long last) {
    sFired = false;
    sFirstFailing = first;
    sLastFailing = last;
}

void TestAllocator::CountCall() {
    const long call = ++sCalls;
    if (call >= sFirstFailing && call <= sLastFailing) {
        sFired = true;
        throw std::bad_alloc();
    }
}

void TestAllocator::CountBlock(int blocks, long bytes) {
    sLiveBlocks += blocks;
    sPeak = std::max<long>(sPeak, sBytes += bytes);
}

namespace {

void* Allocate(std::size_t size, bool zeroed = false) {
    TestAllocator::CountCall();
    const std::size_t room = std::max<std::size_t>(size, 1);
    // Blocks of zeros that nobody touches cost nothing.
    void* const block = zeroed ? std::calloc(room, 1) : std::malloc(room);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    TestAllocator::CountBlock(1, static_cast<long>(malloc_usable_size(block)));
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

void* mem_Realloc(void* block, std::size_t size) {
    void* const moved = size == 0 ? nullptr : Allocate(size);
    if (moved != nullptr && block != nullptr) {
        std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    }
    mem_Free(block);
    return moved;
}

void mem_Free(void* block) noexcept {
    if (block != nullptr) {
        TestAllocator::CountBlock(-1, -static_cast<long>(malloc_usable_size(block)));
        std::free(block);
    }
}
