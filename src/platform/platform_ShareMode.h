#ifndef OXBOW_PLATFORM_SHAREMODE_H
#define OXBOW_PLATFORM_SHAREMODE_H

#include "platform/platform_OpenFile.h"

// Takes what an open of the file asks for, with locks that belong to it: EBUSY when another open
// stands against it. Where the file system has no such locks, opening goes on without.
int platform_ApplyShareMode(platform_OpenFile& file, bool writes, bool denies);

#endif
