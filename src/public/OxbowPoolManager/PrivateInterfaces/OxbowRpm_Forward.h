#ifndef OXBOW_OXBOW_RPM_FORWARD_H
#define OXBOW_OXBOW_RPM_FORWARD_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** \file
    The working classes that the handles refer to. They are declared with the export mark because a
    reference over a hidden class would itself come out hidden; their bodies stay in the library. */
class OXBOW_EXPORT OxbowRpm_FileImpl;
class OXBOW_EXPORT OxbowRpm_PoolDirectoryImpl;
class OXBOW_EXPORT OxbowRpm_PoolImpl;
class OXBOW_EXPORT OxbowRpm_PoolMap;

#endif
