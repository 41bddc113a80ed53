#ifndef OXBOW_OXBOW_POOL_MANAGER_MODULE_H
#define OXBOW_OXBOW_POOL_MANAGER_MODULE_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** \file
    Start and end of the library. A program calls OxbowPoolManager_initialize before its first use
   and OxbowPoolManager_finalize after its last; calls are paired and may nest. `count` is a number
   of the caller's, 0 at first, to which each module adds 1 while it is up; the library doesn't read
   it. They raise nothing, hold no lock and belong to one thread, in practice at start-up and
   shutdown. */

OXBOW_EXPORT void OxbowPoolManager_initialize(int& count);
OXBOW_EXPORT void OxbowPoolManager_finalize(int& count);

/** The same for the document classes alone; OxbowPoolManager_initialize calls it. */
OXBOW_EXPORT void OxbowRpm_initialize(int& count);
OXBOW_EXPORT void OxbowRpm_finalize(int& count);

#endif
