#include "OxbowRpm/impl/OxbowRpm_BindingGuard.h"

OxbowRpm_BindingGuard::OxbowRpm_BindingGuard(OxbowRpm_PoolMap& map) : mMap(map), mCommitted(false) {
    // Copies one by one and no share of the list: with a share, the map's next change would have to
    // copy.
    for (std::int32_t slot = 0; slot < map.Length(); ++slot) {
        OxbowRpm_PoolMapItem item;
        item.mPool = map.GetPool(slot);
        mBefore.Append(item);
    }
}

OxbowRpm_BindingGuard::~OxbowRpm_BindingGuard() {
    if (mCommitted) {
        return;
    }
    const cow_List<OxbowRpm_PoolMapItem>& before = mBefore;
    for (std::int32_t slot = 0; slot < mMap.Length(); ++slot) {
        if (slot < before.Length()) {
            mMap.SetPool(slot, before[slot].mPool);
        } else {
            mMap.NullifyPool(slot);
        }
    }
}
