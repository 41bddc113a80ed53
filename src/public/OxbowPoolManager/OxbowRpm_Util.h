#ifndef OXBOW_OXBOW_RPM_UTIL_H
#define OXBOW_OXBOW_RPM_UTIL_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** Three operations on raw memory and text, sizes in bytes.
    Ownership: none, static members only; the memory is the caller's.
    Threads: safe from any, on memory that no other thread changes. Raises nothing. */
class OXBOW_EXPORT OxbowRpm_Util {
public:
    /** Sets `length` bytes to `value`, of which the low 8 bits count. */
    static void MemSet(void* destination, int value, unsigned int length);
    /** Copies `length` bytes; the two ranges must not overlap. */
    static void MemCpy(void* destination, const void* source, unsigned int length);
    /** Copies terminated text into `size` bytes, terminator included: at most size - 1 are taken, a
        longer text is cut, and the rest of the destination is set to zero. `size` is at least 1. */
    static void Copy(char* destination, const char* source, int size);
};

#endif
