#ifndef OXBOW_OXBOW_RPM_POOL_DIRECTORY_IMPL_H
#define OXBOW_OXBOW_RPM_POOL_DIRECTORY_IMPL_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/FennelString.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

#include "format/PoolUUID.h"
#include "list/cow_List.h"

/** The pools that the locators stored in one pool may name: entry i is the map slot of the pool
    that directory slot i names, and entry 0 is the pool itself. Filled once, then unchanged for
    good, since stored locators hold its indices. One thread at a time. */
class OXBOW_EXPORT OxbowRpm_PoolDirectoryImpl : public mem_AllocationOperators {
public:
    explicit OxbowRpm_PoolDirectoryImpl(const OxbowRpm_WeakRef<OxbowRpm_PoolMap>& map);

    /** Draws a UUID, adds it to the map, and takes in every slot that the map had before. Raises
        FennelExcNoEntropy, OxbowExcValidationFailure when the map is full, std::bad_alloc. */
    void InitNew();
    /** Takes stored UUIDs, adding to the map those that it doesn't know. Raises as InitNew. */
    void InitFromUUIDs(const PoolUUID* uuids, std::int32_t count);

    std::int32_t Length() const { return mMapSlotList.Length(); }
    /** The map slot of the directory's own pool. */
    std::int32_t MySlot() const { return mMapSlotList[0]; }
    /** Fills Length() entries of 32 bytes. */
    void WriteUUIDs(char* out) const;
    /** Raises OxbowExcCantExternalizeLoc if the directory doesn't hold the pool. */
    std::int32_t DirSlotFromMapSlot(std::int32_t dstSlotInMap) const;
    /** Raises OxbowExcValidationFailure, with a report, outside the directory. */
    std::int32_t MapSlotFromDirSlot(std::int32_t slotInDirectory) const;
    FennelString GetGUID() const;

    const OxbowRpm_WeakRef<OxbowRpm_PoolMap>& Map() const { return mMap; }
    /** The directory's own UUID, all 32 bytes. */
    PoolUUID MyUUID() const;

    static void TestForceUUID(const char* uuid);
    /** Seeds the random source from the clock, for a host that wants that; identifiers are then
        only as unlike as the moments of their seeds. */
    static void SeedUUIDGenerator();

private:
    static PoolUUID MakeUUID();
    bool HoldsAt(std::int32_t slotInDirectory, std::int32_t slotInMap) const;

    static const char* mTestForceUUID;

    OxbowRpm_WeakRef<OxbowRpm_PoolMap> mMap;
    cow_List<int> mMapSlotList;
};

#endif
