#include <OxbowPoolManager/base/mem_Functions.h>

#include <cstdlib>
#include <new>

namespace {

/** The C allocator may answer a size of 0 with null, which is no failure here. */
std::size_t AtLeastOne(std::size_t size) {
    return size == 0 ? 1 : size;
}

void* OrThrow(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

void* mem_OperatorNewThrow(std::size_t size) {
    return OrThrow(std::malloc(AtLeastOne(size)));
}

void* mem_OperatorNewThrowBuiltin(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

// calloc takes large blocks fresh from the system, where they are zero already and unbacked.
void* mem_OperatorNewZeroedThrowBuiltin(std::size_t size) {
    return OrThrow(std::calloc(AtLeastOne(size), 1));
}

void* mem_OperatorNewTinyThrow(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_Malloc(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_Realloc(void* block, std::size_t size) {
    if (size == 0) {
        mem_Free(block);
        return nullptr;
    }
    return OrThrow(std::realloc(block, size));
}

void mem_Free(void* block) noexcept {
    std::free(block);
}
