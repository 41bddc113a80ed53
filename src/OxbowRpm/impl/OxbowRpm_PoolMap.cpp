#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"
#include "list/cow_ListIterator.h"

template class OxbowRpm_StrongRef<OxbowRpm_PoolMap>;
template class OxbowRpm_WeakRef<OxbowRpm_PoolMap>;

OxbowRpm_PoolMap::OxbowRpm_PoolMap() : mSlotMatrix(0) {}

std::int32_t OxbowRpm_PoolMap::LookupByUUID(const PoolUUID& uuid) const {
    for (cow_ListIterator<OxbowRpm_PoolMapItem> item(mItemList); item.More(); item.Next()) {
        if (item.Current().mUUID == uuid) {
            return item.Index();
        }
    }
    return -1;
}

void OxbowRpm_PoolMap::CheckPoolNotInDoc(const PoolUUID& uuid) const {
    const std::int32_t slot = LookupByUUID(uuid);
    if (slot >= 0 && !GetPool(slot).IsNull()) {
        OxbowExcPoolAlreadyInDoc().Throw(__FILE__, __LINE__);
    }
}

void OxbowRpm_PoolMap::CheckSlotLimit(std::int32_t slots) {
    if (slots > kMaxSlots) {
        OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
    }
}

std::int32_t OxbowRpm_PoolMap::Add(const PoolUUID& uuid) {
    CheckPoolNotInDoc(uuid);
    const std::int32_t slot = Length();
    CheckSlotLimit(slot + 1);
    // The cells come first: were the item there already, a failure would leave it without any.
    OxbowRpm_SlotMatrix larger(slot + 1);
    larger.CopyFrom(mSlotMatrix);
    mItemList.Append(OxbowRpm_PoolMapItem(uuid));
    mSlotMatrix.Swap(larger);
    return slot;
}

void OxbowRpm_PoolMap::SetPool(std::int32_t slot, const OxbowRpm_WeakRef<OxbowRpm_PoolImpl>& pool) {
    OxbowASSERT(slot >= 0);
    OxbowASSERT(slot < mItemList.Length());
    mItemList[slot].mPool = pool;
}

OxbowRpm_WeakRef<OxbowRpm_PoolImpl> OxbowRpm_PoolMap::GetPool(std::int32_t slotInMap) const {
    OxbowASSERT(slotInMap >= 0);
    OxbowASSERT(slotInMap < mItemList.Length());
    return mItemList[slotInMap].mPool;
}

const PoolUUID& OxbowRpm_PoolMap::GetUUID(std::int32_t slotInMap) const {
    OxbowASSERT(slotInMap >= 0);
    OxbowASSERT(slotInMap < mItemList.Length());
    return mItemList[slotInMap].mUUID;
}

void OxbowRpm_PoolMap::NullifyPool(std::int32_t slotInMap) {
    OxbowASSERT(slotInMap >= 0);
    OxbowASSERT(slotInMap < mItemList.Length());
    mItemList[slotInMap].mPool.Nullify();
}

void OxbowRpm_PoolMap::SetSrcSlotInDir(std::int32_t srcSlotInMap, std::int32_t dstSlotInMap,
                                       std::int32_t value) {
    OxbowASSERT(srcSlotInMap >= 0);
    OxbowASSERT(srcSlotInMap < mItemList.Length());
    OxbowASSERT(dstSlotInMap >= 0);
    OxbowASSERT(dstSlotInMap < mItemList.Length());
    mSlotMatrix.Cell(srcSlotInMap, dstSlotInMap) = value;
}

std::int32_t OxbowRpm_PoolMap::GetSrcSlotInDir(std::int32_t srcSlotInMap,
                                               std::int32_t dstSlotInMap) const {
    OxbowASSERT(srcSlotInMap >= 0);
    OxbowASSERT(srcSlotInMap < mItemList.Length());
    OxbowASSERT(dstSlotInMap >= 0);
    OxbowASSERT(dstSlotInMap < mItemList.Length());
    return mSlotMatrix.Cell(srcSlotInMap, dstSlotInMap);
}
