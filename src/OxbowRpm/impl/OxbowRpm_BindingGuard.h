#ifndef OXBOW_OXBOW_RPM_BINDING_GUARD_H
#define OXBOW_OXBOW_RPM_BINDING_GUARD_H

#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"

/** Notes what is bound in a map and, unless told that all went well, brings that back. Opening a
    file binds its pools one by one; if it fails on the way, items would be left that refer to
    destroyed pools, and pools of other files would have lost theirs. UUIDs that were added stay,
    without a pool. */
class OxbowRpm_BindingGuard {
public:
    /** Raises std::bad_alloc. The map outlives the guard. */
    explicit OxbowRpm_BindingGuard(OxbowRpm_PoolMap& map);
    /** Allocates nothing: the map's list has no other holder, so its items are written in place. */
    ~OxbowRpm_BindingGuard();
    OxbowRpm_BindingGuard(const OxbowRpm_BindingGuard&) = delete;
    OxbowRpm_BindingGuard& operator=(const OxbowRpm_BindingGuard&) = delete;

    void Commit() { mCommitted = true; }

private:
    OxbowRpm_PoolMap& mMap;
    cow_List<OxbowRpm_PoolMapItem> mBefore;
    bool mCommitted;
};

#endif
