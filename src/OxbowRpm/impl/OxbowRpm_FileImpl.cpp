#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include <algorithm>

#include "OxbowRpm/impl/OxbowRpm_DocumentImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"
#include "base/mem_BufferOwner.h"
#include "list/cow_ListIterator.h"

template class OxbowRpm_StrongRef<OxbowRpm_FileImpl>;
template class OxbowRpm_WeakRef<OxbowRpm_FileImpl>;

namespace {

using DirectoryRef = OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>;
using PoolRef = OxbowRpm_StrongRef<OxbowRpm_PoolImpl>;
using WeakPoolRef = OxbowRpm_WeakRef<OxbowRpm_PoolImpl>;

}  // namespace

/** The start of a pool, computed before its first step: whether the last pool is dropped, where the
    new one starts, what the list becomes, and the memory to seal the pool between. So a lack of
    memory, or a pool too long to be sealed, leaves the chain as it was. */
class OxbowRpm_FileImpl::ChainChange {
public:
    ChainChange(OxbowRpm_FileImpl& file, const DirectoryRef& directory)
        : mFile(file),
          mKept(file.mPoolContainer),
          mDropped(Drop(mKept)),
          mPool(new OxbowRpm_PoolImpl(&file, directory, StartBehind(mKept))),
          mGrown(mKept) {
        mGrown.Append(mPool);
        if (OxbowRpm_PoolImpl* const before = LastOf(mKept); before != nullptr) {
            before->CheckSealable(Start());
            before->ReserveHeader();
        }
    }

    OxbowRpm_PoolImpl& Pool() const { return *mPool.Get(); }
    /** Null, or the last pool, which has no data and ends in the new one's place. */
    const PoolRef& Dropped() const { return mDropped; }
    std::uint64_t Start() const { return mPool->StartPosition(); }

    /** Ends the dropped pool, and lets the file end where the new one starts. */
    void MakeWay() {
        if (!mDropped.IsNull()) {
            mFile.mDocument->Map()->NullifyPool(mDropped->Directory()->MySlot());
            mFile.mPoolContainer = mKept;
            --mFile.mCurrentPoolIndex;
        }
        mFile.mLogicalEnd = Start();
    }
    /** Makes the new pool, whose room for a header is reserved, the last one. The order of the two
        header writes keeps the chain sound: until the old pool is sealed, it takes in whatever lies
        behind it. */
    WeakPoolRef Apply() {
        if (OxbowRpm_PoolImpl* const before = LastOf(mKept); before != nullptr) {
            before->MakeImmutable(Start());
        }
        mFile.mPoolContainer = mGrown;
        mFile.mCurrentPoolIndex = mGrown.Length() - 1;
        mFile.Bind(mPool);
        mPool->MakeMutable();
        return WeakPoolRef(mPool);
    }

private:
    static OxbowRpm_PoolImpl* LastOf(const cow_List<PoolRef>& pools) {
        return pools.Length() == 0 ? nullptr : pools.Last().Get();
    }
    static PoolRef Drop(cow_List<PoolRef>& pools) {
        if (pools.Length() == 0 || LastOf(pools)->DataLength() != 0) {
            return PoolRef();
        }
        const PoolRef dropped = pools.Last();
        pools.Resize(pools.Length() - 1);
        return dropped;
    }
    /** A sealed pool ends where its header says, whatever a failed copy has left behind it; one
        that can grow takes that in. */
    std::uint64_t StartBehind(const cow_List<PoolRef>& kept) const {
        if (!mDropped.IsNull()) {
            return mDropped->StartPosition();
        }
        const OxbowRpm_PoolImpl* const last = LastOf(kept);
        if (last == nullptr) {
            return 0;
        }
        return last->IsSealed() ? last->EndPosition() : mFile.mLogicalEnd;
    }

    OxbowRpm_FileImpl& mFile;
    cow_List<PoolRef> mKept;
    const PoolRef mDropped;
    const PoolRef mPool;
    cow_List<PoolRef> mGrown;
};

/** The copy of another document's pool, through one buffer however long the pool is. */
class OxbowRpm_FileImpl::PoolCopy {
public:
    PoolCopy(OxbowRpm_FileImpl& file, const OxbowRpm_PoolImpl& source)
        : mFile(file), mSource(source), mBuffer(mem_OperatorNewThrowBuiltin(kChunk)) {}

    /** Copies the bytes in their order. */
    void To(std::uint64_t start) { Copy(start, 0, mSource.WholeLength()); }

    /** The same in a place where a header of `place` bytes lies, which holds the chain together until
        the copy is there: what lies behind it comes first, and its own beginning last, as the
        header of a pool that can grow. */
    void Over(std::uint64_t start, std::uint64_t place) {
        const std::uint64_t header = std::min(place, mSource.WholeLength());
        const std::uint64_t beginning = std::min(header, kChunk);
        Copy(start, header, mSource.WholeLength());
        Copy(start, beginning, header);
        if (Read(0, beginning) < beginning) {
            OxbowExcShortPool().Throw(__FILE__, __LINE__);
        }
        OxbowRpm_Header::ClearLength(mBuffer.Bytes());
        mFile.WriteAt(start, beginning, mBuffer.Bytes());
    }

private:
    static constexpr std::uint64_t kChunk = 0x40000;

    std::uint64_t Read(std::uint64_t from, std::uint64_t size) {
        return mSource.File()->ReadAt(mSource.StartPosition() + from, size, mBuffer.Bytes());
    }
    void Copy(std::uint64_t start, std::uint64_t from, std::uint64_t end) {
        while (from < end) {
            const std::uint64_t count = Read(from, std::min(end - from, kChunk));
            if (count == 0) {
                OxbowExcShortPool().Throw(__FILE__, __LINE__);
            }
            mFile.WriteAt(start + from, count, mBuffer.Bytes());
            from += count;
        }
    }

    OxbowRpm_FileImpl& mFile;
    const OxbowRpm_PoolImpl& mSource;
    const mem_BufferOwner mBuffer;
};

OxbowRpm_FileImpl::OxbowRpm_FileImpl(OxbowRpm_DocumentImpl* document)
    : mDocument(document),
      mCurrentPoolIndex(-1),
      mLogicalEnd(0),
      mFilePosition(0),
      mDeviceHasFailed(false) {}

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
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    directory->InitNew();
    const PoolRef pool(new OxbowRpm_PoolImpl(this, directory, 0));
    pool->InitEmpty();
    AddPool(pool);
    pool->MakeMutable();
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
    LastPool()->MakeMutable();
}

std::uint64_t OxbowRpm_FileImpl::ReadPool(std::uint64_t position) {
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    const PoolRef pool(new OxbowRpm_PoolImpl(this, directory, position));
    pool->ReadHeader(mLogicalEnd);
    AddPool(pool);
    return pool->WholeLength();
}

void OxbowRpm_FileImpl::AddPool(const PoolRef& pool) {
    mPoolContainer.Append(pool);
    mCurrentPoolIndex = mPoolContainer.Length() - 1;
}

void OxbowRpm_FileImpl::Bind(const PoolRef& pool) {
    mDocument->Map()->SetPool(pool->Directory()->MySlot(), WeakPoolRef(pool));
}

void OxbowRpm_FileImpl::BindPools() {
    for (cow_ListIterator<PoolRef> pool(mPoolContainer); pool.More(); pool.Next()) {
        Bind(pool.Current());
    }
}

WeakPoolRef OxbowRpm_FileImpl::NewPool() {
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    directory->InitNew();
    return NewPool(directory);
}

WeakPoolRef OxbowRpm_FileImpl::NewPool(const DirectoryRef& directory) {
    RefuseNewPoolIfReadOnly();
    ChainChange change(*this, directory);
    change.Pool().InitEmpty();
    change.Pool().ReserveHeader();
    change.MakeWay();
    return change.Apply();
}

WeakPoolRef OxbowRpm_FileImpl::AppendPool(OxbowRpm_PoolImpl* source) {
    RefuseNewPoolIfReadOnly();
    CheckCopyable(*source);
    PoolCopy copy(*this, *source);
    const DirectoryRef directory(new OxbowRpm_PoolDirectoryImpl(mDocument->Map()));
    ChainChange change(*this, directory);
    const PoolRef& dropped = change.Dropped();
    if (!dropped.IsNull() && !dropped->CanGrow()) {
        dropped->MakeMutable();  // its header is to hold the chain together
    }
    const bool overLeftBytes = dropped.IsNull() && TrueSize() > change.Start();
    change.MakeWay();
    AllocateUpTo(change.Start() + source->WholeLength());
    if (!dropped.IsNull()) {
        copy.Over(change.Start(), dropped->HeaderLength());
    } else if (overLeftBytes) {
        copy.Over(change.Start(), GreatestHeaderLength());
    } else {
        copy.To(change.Start());
    }
    // The directory is filled from the copy, so the last of the memory can only be had here.
    change.Pool().ReadHeader(mLogicalEnd);
    if (change.Pool().WholeLength() != source->WholeLength()) {
        OxbowExcShortPool().Throw(__FILE__, __LINE__);
    }
    change.Pool().ReserveHeader();
    return change.Apply();
}

void OxbowRpm_FileImpl::CheckCopyable(const OxbowRpm_PoolImpl& source) const {
    mDocument->Map()->CheckPoolNotInDoc(source.Directory()->MyUUID());
    // A pool of this document can be unbound: a file that had taken its place was closed.
    if (source.File()->mDocument == mDocument) {
        OxbowExcPoolAlreadyInDoc().Throw(__FILE__, __LINE__);
    }
    source.CheckCopyable(UserSignature());
}

/** No header of this document's own making is longer, since the map never shrinks. */
std::uint64_t OxbowRpm_FileImpl::GreatestHeaderLength() const {
    const std::int32_t known = mDocument->Map()->Length();
    return OxbowRpm_Header::DataOffset(static_cast<std::uint32_t>(known));
}

void OxbowRpm_FileImpl::RefuseNewPoolIfReadOnly() const {
    if (ReadOnly()) {
        OxbowExcNewPoolReadOnly().Throw(__FILE__, __LINE__);
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
    WriteLastHeader();
    FlushDevice();
}

void OxbowRpm_FileImpl::WriteLastHeader() {
    if (ReadOnly() || mCurrentPoolIndex < 0) {
        return;
    }
    // A pool whose header never reached the file holds nothing, and NewPool has raised. The chain
    // before it is sound, and must be flushed and closed even if there is no room for more.
    if (LastPool()->HeaderIsStored() || TrueSize() > LastPool()->StartPosition()) {
        LastPool()->WriteHeader();
    }
}

void OxbowRpm_FileImpl::FlushDevice() {
    mDeviceHasFailed = true;
    mOSFile.Flush();
    mDeviceHasFailed = false;
}

void OxbowRpm_FileImpl::Close() {
    if (!IsOpen()) {
        return;
    }
    WriteLastHeader();
    if (!mDeviceHasFailed) {
        FlushDevice();
    }
    for (cow_ListIterator<PoolRef> pool(mPoolContainer); pool.More(); pool.Next()) {
        mDocument->Map()->NullifyPool(pool.Current()->Directory()->MySlot());
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
    // Forgotten before the transfer and noted behind it, since a failed one leaves the platform's
    // position unknown.
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
