#ifndef OXBOW_OXBOW_RPM_UTIL_H
#define OXBOW_OXBOW_RPM_UTIL_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** Three operations on raw memory and text. They raise nothing and are safe from any thread. */
class OXBOW_EXPORT OxbowRpm_Util {
public:
    static void MemSet(void* destination, int value, unsigned int length);
    static void MemCpy(void* destination, const void* source, unsigned int length);
    /** Copies terminated text into `size` chars, terminator included: at most size - 1 are taken, a
        longer text is cut, and the rest of the destination is set to zero. `size` is at least 1. */
    static void Copy(char* destination, const char* source, int size);
};

#endif
