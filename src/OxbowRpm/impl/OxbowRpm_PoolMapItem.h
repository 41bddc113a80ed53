#ifndef OXBOW_OXBOW_RPM_POOL_MAP_ITEM_H
#define OXBOW_OXBOW_RPM_POOL_MAP_ITEM_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>

#include "format/PoolUUID.h"

/** A UUID that the document has heard of, and the pool that bears it while that is open. */
struct OxbowRpm_PoolMapItem {
    OxbowRpm_PoolMapItem() : mUUID() {}
    explicit OxbowRpm_PoolMapItem(const PoolUUID& uuid) : mUUID(uuid) {}

    PoolUUID mUUID;
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> mPool;
};

#endif
