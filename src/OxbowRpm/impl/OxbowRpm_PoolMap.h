#ifndef OXBOW_OXBOW_RPM_POOL_MAP_H
#define OXBOW_OXBOW_RPM_POOL_MAP_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

#include "OxbowRpm/impl/OxbowRpm_PoolMapItem.h"
#include "OxbowRpm/impl/OxbowRpm_SlotMatrix.h"
#include "list/cow_List.h"

/** A document's table of pools: an item's index is its slot, which holds for the life of this
    object. Items are only ever added. An item may have no pool: another pool's directory
    names it, its file was closed, or its directory has no pool.

    Slots are the callers' contract and asserted. One thread at a time: translating a locator writes
    to the matrix, although no result changes. */
class OXBOW_EXPORT OxbowRpm_PoolMap : public mem_AllocationOperators {
public:
    /** The matrix counts its cells in a signed 32-bit number. */
    static constexpr std::int32_t kMaxSlots = 46340;

    OxbowRpm_PoolMap();

    std::int32_t Length() const { return mItemList.Length(); }
    /** The slot, or -1. */
    std::int32_t LookupByUUID(const PoolUUID& uuid) const;
    /** Adds an unbound item and returns its slot. Raises OxbowExcPoolAlreadyInDoc,
        OxbowExcValidationFailure when the map is full, std::bad_alloc; the map is unchanged then.
    */
    std::int32_t Add(const PoolUUID& uuid);
    /** Raises OxbowExcPoolAlreadyInDoc if a pool is bound to the UUID's item. */
    void CheckPoolNotInDoc(const PoolUUID& uuid) const;

    /** Binds, whatever was bound before. */
    void SetPool(std::int32_t slot, const OxbowRpm_WeakRef<OxbowRpm_PoolImpl>& pool);
    /** Null while no pool is bound. */
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> GetPool(std::int32_t slotInMap) const;
    const PoolUUID& GetUUID(std::int32_t slotInMap) const;
    void NullifyPool(std::int32_t slotInMap);

    /** The known place of the target in the directory of the source pool, or -1. */
    std::int32_t GetSrcSlotInDir(std::int32_t srcSlotInMap, std::int32_t dstSlotInMap) const;
    void SetSrcSlotInDir(std::int32_t srcSlotInMap, std::int32_t dstSlotInMap, std::int32_t value);

    /** Raises OxbowExcValidationFailure if a map of that many slots would be too large. */
    static void CheckSlotLimit(std::int32_t slots);

private:
    OxbowRpm_SlotMatrix mSlotMatrix;
    cow_List<OxbowRpm_PoolMapItem> mItemList;
};

#endif
