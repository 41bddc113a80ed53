#include <OxbowPoolManager/OxbowRpm_Util.h>

#include <cstddef>
#include <cstring>

// Texts of a fixed size let an exception be raised without memory.

void OxbowRpm_Util::MemSet(void* destination, int value, unsigned int length) {
    std::memset(destination, value, length);
}

void OxbowRpm_Util::MemCpy(void* destination, const void* source, unsigned int length) {
    std::memcpy(destination, source, length);
}

void OxbowRpm_Util::Copy(char* destination, const char* source, int size) {
    std::strncpy(destination, source, static_cast<std::size_t>(size - 1));
    destination[size - 1] = '\0';
}
