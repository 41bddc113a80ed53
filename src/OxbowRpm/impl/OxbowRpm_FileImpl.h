#ifndef OXBOW_OXBOW_RPM_FILE_IMPL_H
#define OXBOW_OXBOW_RPM_FILE_IMPL_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

#include "OxbowRpm/impl/OxbowRpm_OSFile.h"
#include "list/cow_List.h"

class OxbowRpm_DocumentImpl;

/** One open file of a document: a chain of pools, and the one door through which every byte of them
    passes. The document owns it and outlives it; it owns its pools.

    The logical end is where the next pool will start. It runs ahead of the file's true size,
    because booking a range writes nothing; the file grows when a write reaches past its end.
    Threads: ReadAt and WriteAt may come from several; whoever changes the chain must be alone. */
class OXBOW_EXPORT OxbowRpm_FileImpl : public mem_AllocationOperators {
public:
    explicit OxbowRpm_FileImpl(OxbowRpm_DocumentImpl* document);

    /** Each is called once, on a new object; after a failure the object is only good for
        destruction. */
    void OpenForRead(const FennelUnicodeString& name, int sharing);
    void OpenForUpdate(const FennelUnicodeString& name, int sharing);
    void OpenNew(const FennelUnicodeString& name, int sharing);

    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> NewPool();
    /** What OxbowRpm_File tells of them; no step is undone by a failure. */
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> NewPool(
        const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& directory);
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> AppendPool(OxbowRpm_PoolImpl* source);

    /** The last pool; there is one. */
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> CurrentPool() const;
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> Pool(std::uint32_t index) const;
    std::uint32_t PoolCount() const;

    void Flush();
    /** Flushes, unbinds the pools in the map and closes the file. The pools live on until this
        goes. */
    void Close();

    /** Raises OxbowExcAllocReadOnly if a read-only file would have to grow. */
    void AllocateUpTo(std::uint64_t position);
    /** Gives the count read, short only at the end of the file. */
    std::uint64_t ReadAt(std::uint64_t position, std::uint64_t size, char* buffer);
    /** Raises OxbowExcWriteReadOnly. */
    void WriteAt(std::uint64_t position, std::uint64_t size, const char* data);

    std::uint32_t UserSignature() const;
    bool ReadOnly() const;
    FennelUnicodeString FileName() const { return mOSFile.Name(); }
    /** What the platform reports, without the booked ranges that nobody has written. */
    std::uint64_t TrueSize() const { return mOSFile.Size(); }

private:
    /** No transfer begins there: the platform refuses positions past 2^63 - 1. */
    static constexpr std::uint64_t kUnknownPosition = UINT64_MAX;

    struct ChainChange;

    void ScanPools();
    std::uint64_t ReadPool(std::uint64_t position);
    void MakeWay(const ChainChange& change, std::uint64_t nextStart);
    void CheckCopyable(OxbowRpm_PoolImpl* source) const;
    void CopyFrom(OxbowRpm_PoolImpl* source, std::uint64_t start, char* buffer);
    void RetireCurrentPool(const ChainChange& change, std::uint64_t nextStart);
    std::uint64_t NextStart() const;
    void BindLastPool();
    void RefuseNewPoolIfReadOnly() const;
    bool CurrentPoolIsEmpty() const;
    OxbowRpm_PoolImpl* LastPool() const;
    void WriteLastHeader();
    void SeekFor(std::uint64_t position);

    OxbowRpm_DocumentImpl* mDocument;
    OxbowRpm_OSFile mOSFile;
    cow_List<OxbowRpm_StrongRef<OxbowRpm_PoolImpl>> mPoolContainer;
    std::int32_t mCurrentPoolIndex;
    std::uint64_t mLogicalEnd;
    std::uint64_t mFilePosition;
};

#endif
