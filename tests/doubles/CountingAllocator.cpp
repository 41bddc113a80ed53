#include "doubles/CountingAllocator.h"

#include <OxbowPoolManager/base/mem_Functions.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr long Never = std::numeric_limits<long>::max();

std::atomic<long> gLiveBlocks{0};
std::atomic<long> gCalls{0};
/** Numbers of the first and the last call that fail. */
std::atomic<long> gFirstFailing{Never};
std::atomic<long> gLastFailing{0};
std::atomic<bool> gFired{false};
std::atomic<long> gBytes{0};
std::atomic<long> gPeak{0};

void Count(long bytes) {
    gPeak = std::max<long>(gPeak, gBytes += bytes);
}

void CountCall() {
    const long call = ++gCalls;
    if (call >= gFirstFailing && call <= gLastFailing) {
        gFired = true;
        throw std::bad_alloc();
    }
}

void* NewBlock(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++gLiveBlocks;
    Count(static_cast<long>(malloc_usable_size(block)));
    return block;
}

void* Allocate(std::size_t size) {
    CountCall();
    void* block = NewBlock(std::malloc(size == 0 ? 1 : size));
    std::memset(block, 0xA5, size);
    return block;
}

void Arm(long first, long last) {
    gFired = false;
    gFirstFailing = first;
    gLastFailing = last;
}

}  // namespace

namespace TestAllocator {

long LiveBlocks() {
    return gLiveBlocks;
}
long PeakBytes() {
    return gPeak;
}
long ResetPeak() {
    return gPeak = gBytes.load();
}
long Calls() {
    return gCalls;
}
void FailAt(long n) {
    Arm(gCalls + n, gCalls + n);
}
void FailFrom(long n) {
    Arm(gCalls + n, Never);
}
void Disarm() {
    gFirstFailing = Never;
    gLastFailing = 0;
}
bool Fired() {
    return gFired;
}

}  // namespace TestAllocator

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
    CountCall();
    return NewBlock(std::calloc(size == 0 ? 1 : size, 1));
}

void* mem_Realloc(void* block, std::size_t size) {
    if (block == nullptr) {
        return size == 0 ? nullptr : Allocate(size);
    }
    if (size == 0) {
        mem_Free(block);
        return nullptr;
    }
    CountCall();
    const std::size_t oldSize = malloc_usable_size(block);
    char* moved = static_cast<char*>(std::realloc(block, size));
    if (moved == nullptr) {
        throw std::bad_alloc();
    }
    Count(static_cast<long>(malloc_usable_size(moved) - oldSize));
    if (size > oldSize) {
        std::memset(moved + oldSize, 0xA5, size - oldSize);
    }
    return moved;
}

void mem_Free(void* block) noexcept {
    if (block != nullptr) {
        --gLiveBlocks;
        Count(-static_cast<long>(malloc_usable_size(block)));
        std::free(block);
    }
}
