#ifndef OXBOW_MEM_ALLOCATION_OPERATORS_H
#define OXBOW_MEM_ALLOCATION_OPERATORS_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstddef>

/** Base class whose new and delete go through the library's allocator, so that an object made in
    the host and deleted in the library, or the other way round, meets one heap. Holds nothing.
    Threads: safe from any. Raises std::bad_alloc from new. */
class OXBOW_EXPORT mem_AllocationOperators {
public:
    /** Memory for one object. */
    static void* operator new(std::size_t size);
    /** Memory for an array. */
    static void* operator new[](std::size_t size);
    /** Frees an object's memory; null is accepted. */
    static void operator delete(void* block) noexcept;
    /** Frees an array's memory; null is accepted. */
    static void operator delete[](void* block) noexcept;
    /** The forms above hide the language's own placement form; containers need it back. */
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    /** Matches the placement form: nothing to free. */
    static void operator delete(void*, void*) noexcept {}
};

#endif
