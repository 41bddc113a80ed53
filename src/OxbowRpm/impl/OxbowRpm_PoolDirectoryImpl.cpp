#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include <cstring>

#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "PrivateInterfaces/OxbowRpm_StrongRef.inl"
#include "base/FennelUtilsRand.h"
#include "base/omi_Time.h"

template class OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>;

const char* OxbowRpm_PoolDirectoryImpl::mTestForceUUID = nullptr;

OxbowRpm_PoolDirectoryImpl::OxbowRpm_PoolDirectoryImpl(
    const OxbowRpm_WeakRef<OxbowRpm_PoolMap>& map)
    : mMap(map) {}

void OxbowRpm_PoolDirectoryImpl::TestForceUUID(const char* uuid) {
    mTestForceUUID = uuid;
}

void OxbowRpm_PoolDirectoryImpl::SeedUUIDGenerator() {
    FennelUtilsInitRand(omi_gettimeofday().mMicroseconds % 32760);
}

PoolUUID OxbowRpm_PoolDirectoryImpl::MakeUUID() {
    PoolUUID uuid;
    if (mTestForceUUID != nullptr) {
        std::memcpy(uuid.mText, mTestForceUUID, PoolUUID::kSize);
        mTestForceUUID = nullptr;
        return uuid;
    }
    for (int i = 0; i < PoolUUID::kSize; i += 8) {
        const std::uint32_t value = FennelUtilsRand();
        for (int j = 0; j < 8; ++j) {
            uuid.mText[i + j] = "0123456789abcdef"[(value >> (4 * j)) & 15u];
        }
    }
    return uuid;
}

void OxbowRpm_PoolDirectoryImpl::InitNew() {
    OxbowASSERT(mMapSlotList.Length() == 0);
    const PoolUUID uuid = MakeUUID();
    OxbowASSERT(mMap->LookupByUUID(uuid) < 0);
    // The list is made before the map grows: a failure leaves no UUID that has no directory.
    const std::int32_t len = mMap->Length();
    cow_List<int> slots;
    slots.Append(len);
    for (std::int32_t slot = 0; slot < len; ++slot) {
        slots.Append(slot);
    }
    const std::int32_t mySlot = mMap->Add(uuid);
    OxbowASSERT(mySlot == len);
    mMapSlotList = slots;
}

void OxbowRpm_PoolDirectoryImpl::InitFromUUIDs(const PoolUUID* uuids, std::int32_t count) {
    OxbowASSERT(mMapSlotList.Length() == 0);
    for (std::int32_t i = 0; i < count; ++i) {
        std::int32_t slot = mMap->LookupByUUID(uuids[i]);
        if (slot < 0) {
            slot = mMap->Add(uuids[i]);
        }
        mMapSlotList.Append(slot);
    }
}

void OxbowRpm_PoolDirectoryImpl::WriteUUIDs(char* out) const {
    const std::int32_t dirLength = mMapSlotList.Length();
    OxbowASSERT(dirLength > 0);
    for (std::int32_t i = 0; i < dirLength; ++i) {
        const std::int32_t slotInMap = mMapSlotList[i];
        OxbowASSERT(slotInMap >= 0);
        OxbowASSERT(slotInMap < mMap->Length());
        std::memcpy(out, mMap->GetUUID(slotInMap).mText, PoolUUID::kSize);
        out += PoolUUID::kSize;
    }
}

bool OxbowRpm_PoolDirectoryImpl::HoldsAt(std::int32_t slotInDirectory,
                                         std::int32_t slotInMap) const {
    return slotInDirectory >= 0 && slotInDirectory < mMapSlotList.Length() &&
           mMapSlotList[slotInDirectory] == slotInMap;
}

std::int32_t OxbowRpm_PoolDirectoryImpl::DirSlotFromMapSlot(std::int32_t dstSlotInMap) const {
    OxbowASSERT(dstSlotInMap >= 0);
    OxbowASSERT(dstSlotInMap < mMap->Length());
    const std::int32_t src = MySlot();
    // A known place is looked at again: of two damaged pools that bear one UUID, one may have left
    // here what is wrong for the other.
    const std::int32_t known = mMap->GetSrcSlotInDir(src, dstSlotInMap);
    if (HoldsAt(known, dstSlotInMap)) {
        return known;
    }
    const std::int32_t len = mMapSlotList.Length();
    for (std::int32_t i = 0; i < len; ++i) {
        if (mMapSlotList[i] == dstSlotInMap) {
            mMap->SetSrcSlotInDir(src, dstSlotInMap, i);
            return i;
        }
    }
    OxbowExcCantExternalizeLoc().Throw(__FILE__, __LINE__);
}

std::int32_t OxbowRpm_PoolDirectoryImpl::MapSlotFromDirSlot(std::int32_t slotInDirectory) const {
    OxbowVALIDATE(slotInDirectory >= 0);
    OxbowVALIDATE(slotInDirectory < mMapSlotList.Length());
    const std::int32_t slotInMap = mMapSlotList[slotInDirectory];
    OxbowASSERT(slotInMap >= 0);
    OxbowASSERT(slotInMap < mMap->Length());
    return slotInMap;
}

PoolUUID OxbowRpm_PoolDirectoryImpl::MyUUID() const {
    return mMap->GetUUID(MySlot());
}

FennelString OxbowRpm_PoolDirectoryImpl::GetGUID() const {
    return MyUUID().AsText();
}
