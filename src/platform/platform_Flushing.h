#ifndef OXBOW_PLATFORM_FLUSHING_H
#define OXBOW_PLATFORM_FLUSHING_H

#include "platform/platform_OpenFile.h"

// Puts the file's bytes on the device, and its name if this handle made the file. Gives 0 or an
// errno value, and that one for ever after.
int platform_Flush(platform_OpenFile& file);

#endif
