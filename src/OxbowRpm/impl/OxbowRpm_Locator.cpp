#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWrite.h>
#include <OxbowPoolManager/OxbowRpm_Locator.h>

#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "format/OxbowRpm_StoredForms.h"

namespace {

using WeakPoolRef = OxbowRpm_WeakRef<OxbowRpm_PoolImpl>;

OxbowRpm_PoolImpl* Follow(const WeakPoolRef& pool) {
    if (pool.IsNull()) {
        OxbowExcCantDerefLocator().Throw(__FILE__, __LINE__);
    }
    return pool.Get();
}

}  // namespace

OxbowRpm_Locator::OxbowRpm_Locator() : mSlot(-1), mOffset(0) {}

OxbowRpm_Locator::OxbowRpm_Locator(const OxbowRpm_Locator& other, std::uint64_t delta)
    : mMap(other.mMap), mSlot(other.mSlot), mOffset(other.mOffset + delta) {}

OxbowRpm_Locator::OxbowRpm_Locator(const OxbowRpm_WeakRef<OxbowRpm_PoolMap>& map, std::int32_t slot,
                                   std::uint64_t offset)
    : mMap(map), mSlot(slot), mOffset(offset) {}

OxbowRpm_Locator::~OxbowRpm_Locator() = default;

OxbowRpm_Locator OxbowRpm_Locator::operator+(std::uint64_t bytes) const {
    return OxbowRpm_Locator(mMap, mSlot, mOffset + bytes);
}

OxbowRpm_Locator OxbowRpm_Locator::operator-(std::uint64_t bytes) const {
    return OxbowRpm_Locator(mMap, mSlot, mOffset - bytes);
}

OxbowRpm_Locator& OxbowRpm_Locator::operator+=(std::uint64_t bytes) {
    mOffset += bytes;
    return *this;
}

bool OxbowRpm_Locator::operator==(const OxbowRpm_Locator& other) const {
    const OxbowRpm_PoolMap* const right = other.mMap.Get();
    const OxbowRpm_PoolMap* const left = mMap.Get();
    return left == right && mSlot == other.mSlot && mOffset == other.mOffset;
}

WeakPoolRef OxbowRpm_Locator::OpenPool() const {
    return mMap.Get()->GetPool(mSlot);
}

bool OxbowRpm_Locator::ReadOnly() const {
    return OpenPool().Get()->ReadOnly();
}

const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& OxbowRpm_Locator::Directory() const {
    return OpenPool().Get()->Directory();
}

std::uint64_t OxbowRpm_Locator::Read(std::uint64_t length, char* buffer) const {
    return Follow(OpenPool())->Read(mOffset, length, buffer);
}

void OxbowRpm_Locator::Write(std::uint64_t length, const char* buffer) const {
    Follow(OpenPool())->Write(mOffset, length, buffer);
}

void OxbowRpm_Locator::ExternalizeImpl(OxbowRpm_BStreamWrite& stream) const {
    char* const place = stream.PrepWrite(OxbowRpm_StoredLocator::kSize);
    OxbowRpm_StoredLocator stored = {mOffset, OxbowRpm_StoredLocator::kNoTarget};
    // The null form comes first, so that a locator which is refused reads as null.
    stored.Encode(place);
    if (mSlot >= 0) {
        stored.mDirSlot = stream.SourceDir().DirSlotFromMapSlot(mSlot);
        stored.Encode(place);
    }
}

void OxbowRpm_Locator::InternalizeImpl(OxbowRpm_BStreamRead& stream) {
    const char* const place = stream.PrepRead(OxbowRpm_StoredLocator::kSize);
    const OxbowRpm_StoredLocator stored = OxbowRpm_StoredLocator::Decode(place);
    mOffset = 0;
    if (stored.mDirSlot < 0) {
        return;
    }
    const OxbowRpm_PoolDirectoryImpl& directory = stream.SourceDir();
    const std::int32_t slot = directory.MapSlotFromDirSlot(stored.mDirSlot);
    mMap = directory.Map();
    mSlot = slot;
    mOffset = stored.mOffset;
}

FennelString OxbowRpm_Locator::GetGUID() const {
    return mMap.Get()->GetUUID(mSlot).AsText();
}
