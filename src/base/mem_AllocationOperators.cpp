#include <OxbowPoolManager/base/mem_AllocationOperators.h>
#include <OxbowPoolManager/base/mem_Functions.h>

// Both forms use the allocator for objects, so that mem_Free frees either.

void* mem_AllocationOperators::operator new(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_AllocationOperators::operator new[](std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void mem_AllocationOperators::operator delete(void* block) noexcept {
    mem_Free(block);
}

void mem_AllocationOperators::operator delete[](void* block) noexcept {
    mem_Free(block);
}
