#ifndef OXBOW_MEM_FUNCTIONS_H
#define OXBOW_MEM_FUNCTIONS_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstddef>

/** \file
    The library's memory: its blocks come from here and are freed through mem_Free, apart from the
    platform's record of an open file. Each function that can fail raises std::bad_alloc, so no
    caller tests a result; a size of 0 returns a block of its own. Only mem_Free is exported.
    Threads: safe from any. */

/** For objects. */
void* mem_OperatorNewThrow(std::size_t size);
/** For arrays of built-in types and plain buffers. The bytes are not set. */
void* mem_OperatorNewThrowBuiltin(std::size_t size);
/** As mem_OperatorNewThrowBuiltin, every byte 0. Pages of a large block that are never touched take no
    memory, so a size that came from a file costs address space only. */
void* mem_OperatorNewZeroedThrowBuiltin(std::size_t size);
/** For blocks of a few bytes, such as counts. */
void* mem_OperatorNewTinyThrow(std::size_t size);
/** For the tables and element arrays of lists. */
void* mem_Malloc(std::size_t size);
/** Changes a block's size and keeps its bytes. A null block with a positive size allocates; a size
    of 0 frees the block and returns null. After a failure the block is unchanged. */
void* mem_Realloc(void* block, std::size_t size);
/** Frees a block of any of these functions; null is accepted. */
OXBOW_EXPORT void mem_Free(void* block) noexcept;

#endif
