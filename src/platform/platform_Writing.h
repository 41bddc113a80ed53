#ifndef OXBOW_PLATFORM_WRITING_H
#define OXBOW_PLATFORM_WRITING_H

#include <cstdint>

#include "platform/platform_OpenFile.h"

// Writes at the position, which stays. Gives 0 or an errno value; a failure leaves the length as it
// was, but bytes that the file held already may have been overwritten.
int platform_Write(platform_OpenFile& file, const void* data, std::uint32_t count);

#endif
