#ifndef OXBOW_OXBOW_POOL_MANAGER_MODULE_H
#define OXBOW_OXBOW_POOL_MANAGER_MODULE_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** \file
    Start and end of the library. Calls are paired and may nest. `count` is a number of the
    caller's, 0 at first, to which each module adds 1 while it is up; the library doesn't read it.
    Threads: they take no lock and belong to one thread, in practice at start-up and shutdown.
    Raises: nothing; memory is not allocated. */

/** To be called before the first use of the library. */
OXBOW_EXPORT void OxbowPoolManager_initialize(int& count);
/** To be called after the last use of the library, once for each OxbowPoolManager_initialize. */
OXBOW_EXPORT void OxbowPoolManager_finalize(int& count);

/** OxbowPoolManager_initialize for the document classes alone, which that calls. */
OXBOW_EXPORT void OxbowRpm_initialize(int& count);
/** The end that belongs to OxbowRpm_initialize. */
OXBOW_EXPORT void OxbowRpm_finalize(int& count);

#endif
