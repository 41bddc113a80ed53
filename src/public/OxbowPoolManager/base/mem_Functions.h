#ifndef OXBOW_MEM_FUNCTIONS_H
#define OXBOW_MEM_FUNCTIONS_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstddef>

/** \file
    The one door to memory: every block of the library comes from here and goes back through
    mem_Free. Each function that can fail raises std::bad_alloc, so no caller tests a result; a size
    of 0 gives a block of its own. Only mem_Free leaves the shared library.
    Threads: safe from any. */

/** For objects. */
void* mem_OperatorNewThrow(std::size_t size);
/** For arrays of built-in types and plain buffers. The bytes are not set. */
void* mem_OperatorNewThrowBuiltin(std::size_t size);
/** As mem_OperatorNewThrowBuiltin, every byte 0. Pages of a large block that nobody touches take no
    memory, so a size that came from a file costs address space only. */
void* mem_OperatorNewZeroedThrowBuiltin(std::size_t size);
/** For blocks of a few bytes, such as counts. */
void* mem_OperatorNewTinyThrow(std::size_t size);
/** For the tables and element arrays of lists. */
void* mem_Malloc(std::size_t size);
/** Changes a block's size and keeps its bytes. A null block with a positive size allocates; a size
    of 0 frees the block and gives null. On failure the block is as it was. */
void* mem_Realloc(void* block, std::size_t size);
/** Gives a block of any of these functions back; null is accepted. */
OXBOW_EXPORT void mem_Free(void* block) noexcept;

#endif
