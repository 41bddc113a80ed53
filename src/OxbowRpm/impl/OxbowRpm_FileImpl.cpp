#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include <algorithm>

#include "OxbowRpm/impl/OxbowRpm_DocumentImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"
#include "base/mem_BufferOwner.h"

template class OxbowRpm_StrongRef<OxbowRpm_FileImpl>;
template class OxbowRpm_WeakRef<OxbowRpm_FileImpl>;

namespace {

using DirectoryRef = OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>;
using PoolRef = OxbowRpm_StrongRef<OxbowRpm_PoolImpl>;
using WeakPoolRef = OxbowRpm_WeakRef<OxbowRpm_PoolImpl>;

/** A pool is copied through one buffer of this size, however long it is. */
constexpr std::uint64_t kCopyChunk = 0x40000;

}  // namespace

/** The chain as it will be without an empty last pool, and as it will be with the new one behind
    it, and room for the header that seals the pool between. Got before the first step, so that a
    lack of memory, or a pool too long to be sealed, leaves the chain as it was; copies of a list
    share all that doesn't change. */
struct OxbowRpm_FileImpl::ChainChange {
    ChainChange(const OxbowRpm_FileImpl& file, const PoolRef& pool)
        : mKept(KeptOf(file)), mGrown(mKept), mSeal(SealBuffer(mKept)) {
        mGrown.Append(pool);
    }

    static cow_List<PoolRef> KeptOf(const OxbowRpm_FileImpl& file) {
        cow_List<PoolRef> kept(file.mPoolContainer);
        if (file.CurrentPoolIsEmpty()) {
            kept.Resize(file.mCurrentPoolIndex);
        }
        return kept;
    }
    static mem_BufferOwner SealBuffer(const cow_List<PoolRef>& kept) {
        const std::int32_t last = kept.Length() - 1;
        if (last < 0) {
            return mem_BufferOwner(nullptr);
        }
        kept[last]->CheckSealable();
        return kept[last]->HeaderBuffer();
    }

    const cow_List<PoolRef> mKept;
    cow_List<PoolRef> mGrown;
    const mem_BufferOwner mSeal;
};

OxbowRpm_FileImpl::OxbowRpm_FileImpl(OxbowRpm_DocumentImpl* document)
    : mDocument(document), mCurrentPoolIndex(-1), mLogicalEnd(0), mFilePosition(0) {}

void OxbowRpm_FileImpl::OpenForRead(const FennelUnicodeString& name, int sharing) {
    mOSFile.OpenReadOnly(name, sharing);
    mLogicalEnd = mOSFile.Size();
    ScanPools();
}

void OxbowRpm_FileImpl::OpenForUpdate(const FennelUnicodeString& name, int sharing) {
    mOSFile.OpenReadWrite(name, sharing);
    mLogicalEnd = mOSFile.Size();
    ScanPools();
}

void OxbowRpm_FileImpl::OpenNew(const FennelUnicodeString& name, int sharing) {
    mOSFile.Create(name, sharing);
    NewPool();
}

void OxbowRpm_FileImpl::ScanPools() {
    std::uint64_t position = 0;
    while (position < mLogicalEnd) {
        position += ReadPool(position);
    }
    if (ReadOnly() || mCurrentPoolIndex < 0) {
        return;
    }
    // The last pool can have been sealed with a tail that was never written. What comes next must
    // not start inside it.
    mLogicalEnd = std::max(mLogicalEnd, position);
    LastPool()->MakeMutable(LastPool()->HeaderBuffer());
}

std::uint64_t OxbowRpm_FileImpl::ReadPool(std::uint64_t position) {
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    const PoolRef pool(new OxbowRpm_PoolImpl(this, directory, position));
    pool->ReadHeader(mLogicalEnd);
    mPoolContainer.Append(pool);
    BindLastPool();
    return pool->WholeLength();
}

void OxbowRpm_FileImpl::BindLastPool() {
    mCurrentPoolIndex = mPoolContainer.Length() - 1;
    mDocument->Map()->SetPool(LastPool()->Directory()->MySlot(), CurrentPool());
}

WeakPoolRef OxbowRpm_FileImpl::NewPool() {
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    directory->InitNew();
    return NewPool(directory);
}

WeakPoolRef OxbowRpm_FileImpl::NewPool(const DirectoryRef& directory) {
    RefuseNewPoolIfReadOnly();
    const PoolRef pool(new OxbowRpm_PoolImpl(this, directory, NextStart()));
    pool->InitEmpty();
    const ChainChange change(*this, pool);
    const mem_BufferOwner header = pool->HeaderBuffer();
    MakeWay(change, pool->StartPosition());
    // The order of the two header writes keeps the chain sound: until the old pool is sealed, it
    // takes in whatever stands behind it.
    RetireCurrentPool(change, pool->StartPosition());
    mPoolContainer = change.mGrown;
    BindLastPool();
    pool->MakeMutable(header);
    return WeakPoolRef(pool);
}

WeakPoolRef OxbowRpm_FileImpl::AppendPool(OxbowRpm_PoolImpl* source) {
    RefuseNewPoolIfReadOnly();
    CheckCopyable(source);
    // The directory is filled from the copy, so the last of the memory can only be had behind that.
    const mem_BufferOwner buffer(mem_OperatorNewThrowBuiltin(kCopyChunk));
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    const PoolRef pool(new OxbowRpm_PoolImpl(this, directory, NextStart()));
    const ChainChange change(*this, pool);
    MakeWay(change, pool->StartPosition());
    CopyFrom(source, pool->StartPosition(), buffer.Bytes());
    pool->ReadHeader(mLogicalEnd);
    if (pool->WholeLength() != source->WholeLength()) {
        OxbowExcShortPool().Throw(__FILE__, __LINE__);
    }
    const mem_BufferOwner header = pool->HeaderBuffer();
    RetireCurrentPool(change, pool->StartPosition());
    mPoolContainer = change.mGrown;
    BindLastPool();
    pool->MakeMutable(header);
    return WeakPoolRef(pool);
}

void OxbowRpm_FileImpl::CheckCopyable(OxbowRpm_PoolImpl* source) const {
    mDocument->Map()->CheckPoolNotInDoc(source->Directory()->MyUUID());
    // A pool of this document can stand unbound: a file that had taken its place was closed.
    if (source->File()->mDocument == mDocument) {
        OxbowExcPoolAlreadyInDoc().Throw(__FILE__, __LINE__);
    }
    source->CheckCopyable(UserSignature());
}

void OxbowRpm_FileImpl::CopyFrom(OxbowRpm_PoolImpl* source, std::uint64_t start, char* buffer) {
    std::uint64_t from = source->StartPosition();
    std::uint64_t to = start;
    std::uint64_t remaining = source->WholeLength();
    AllocateUpTo(start + remaining);
    while (remaining != 0) {
        const std::uint64_t count =
            source->File()->ReadAt(from, std::min(remaining, kCopyChunk), buffer);
        if (count == 0) {
            OxbowExcShortPool().Throw(__FILE__, __LINE__);
        }
        WriteAt(to, count, buffer);
        from += count;
        to += count;
        remaining -= count;
    }
}

/** In the place of a last pool without data, else at the logical end. A file without any pool
    begins anew, whatever a failed copy has left in it. */
std::uint64_t OxbowRpm_FileImpl::NextStart() const {
    if (mCurrentPoolIndex < 0) {
        return 0;
    }
    return CurrentPoolIsEmpty() ? LastPool()->StartPosition() : mLogicalEnd;
}

void OxbowRpm_FileImpl::RefuseNewPoolIfReadOnly() const {
    if (ReadOnly()) {
        OxbowExcNewPoolReadOnly().Throw(__FILE__, __LINE__);
    }
}

bool OxbowRpm_FileImpl::CurrentPoolIsEmpty() const {
    return mCurrentPoolIndex >= 0 && LastPool()->DataLength() == 0;
}

/** Drops a last pool without data, and lets the file end where the next pool starts. */
void OxbowRpm_FileImpl::MakeWay(const ChainChange& change, std::uint64_t nextStart) {
    if (CurrentPoolIsEmpty()) {
        mDocument->Map()->NullifyPool(LastPool()->Directory()->MySlot());
        mPoolContainer = change.mKept;
        --mCurrentPoolIndex;
    }
    mLogicalEnd = nextStart;
}

void OxbowRpm_FileImpl::RetireCurrentPool(const ChainChange& change, std::uint64_t nextStart) {
    if (mCurrentPoolIndex >= 0) {
        LastPool()->MakeImmutable(nextStart, change.mSeal);
    }
}

OxbowRpm_PoolImpl* OxbowRpm_FileImpl::LastPool() const {
    return mPoolContainer[mCurrentPoolIndex].Get();
}

WeakPoolRef OxbowRpm_FileImpl::CurrentPool() const {
    OxbowASSERT(mCurrentPoolIndex >= 0);
    return WeakPoolRef(mPoolContainer[mCurrentPoolIndex]);
}

WeakPoolRef OxbowRpm_FileImpl::Pool(std::uint32_t index) const {
    OXBOW_VALIDATE_TEXT(index < PoolCount(), "index < mPoolContainer.Length()");
    return WeakPoolRef(mPoolContainer[static_cast<std::int32_t>(index)]);
}

std::uint32_t OxbowRpm_FileImpl::PoolCount() const {
    return static_cast<std::uint32_t>(mPoolContainer.Length());
}

void OxbowRpm_FileImpl::Flush() {
    if (!ReadOnly() && mCurrentPoolIndex >= 0) {
        WriteLastHeader();
    }
    mOSFile.Flush();
}

void OxbowRpm_FileImpl::WriteLastHeader() {
    if (LastPool()->HeaderIsStored()) {
        LastPool()->WriteHeader();
        return;
    }
    const mem_BufferOwner header = LastPool()->HeaderBuffer();
    try {
        LastPool()->MakeMutable(header);
    } catch (const FennelException&) {
        // NewPool has told of it, and the pool holds nothing. The rest must reach the device.
    }
}

void OxbowRpm_FileImpl::Close() {
    Flush();
    const cow_List<PoolRef>& pools = mPoolContainer;
    for (std::int32_t i = 0; i < pools.Length(); ++i) {
        mDocument->Map()->NullifyPool(pools[i]->Directory()->MySlot());
    }
    mOSFile.Close();
}

void OxbowRpm_FileImpl::AllocateUpTo(std::uint64_t position) {
    if (position <= mLogicalEnd) {
        return;
    }
    if (ReadOnly()) {
        OxbowExcAllocReadOnly().Throw(__FILE__, __LINE__);
    }
    mLogicalEnd = position;
}

std::uint64_t OxbowRpm_FileImpl::ReadAt(std::uint64_t position, std::uint64_t size, char* buffer) {
    const OxbowRpm_ScopedLock lock(mOSFile.Mutex());
    SeekFor(position);
    const std::uint64_t count = mOSFile.Read(buffer, size);
    mFilePosition = position + count;
    return count;
}

void OxbowRpm_FileImpl::WriteAt(std::uint64_t position, std::uint64_t size, const char* data) {
    if (ReadOnly()) {
        OxbowExcWriteReadOnly().Throw(__FILE__, __LINE__);
    }
    const OxbowRpm_ScopedLock lock(mOSFile.Mutex());
    SeekFor(position);
    mOSFile.Write(data, size);
    mFilePosition = position + size;
}

void OxbowRpm_FileImpl::SeekFor(std::uint64_t position) {
    const bool there = position == mFilePosition && position != kUnknownPosition;
    // Forgotten before the transfer and noted again behind it: one that fails leaves the platform's
    // position nobody knows where.
    mFilePosition = kUnknownPosition;
    if (!there) {
        mOSFile.Seek(position);
    }
}

std::uint32_t OxbowRpm_FileImpl::UserSignature() const {
    return mDocument->UserSignature();
}

bool OxbowRpm_FileImpl::ReadOnly() const {
    return mOSFile.ReadOnly();
}
