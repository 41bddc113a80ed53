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
    Threads: ReadAt and WriteAt may come from several; a change of the chain must be alone. */
class OXBOW_EXPORT OxbowRpm_FileImpl : public mem_AllocationOperators {
public:
    explicit OxbowRpm_FileImpl(OxbowRpm_DocumentImpl* document);

    /** Each is called once, on a new object; after a failure the object is only good for
        destruction. */
    void OpenForRead(const FennelUnicodeString& name, int sharing);
    void OpenForUpdate(const FennelUnicodeString& name, int sharing);
    void OpenNew(const FennelUnicodeString& name, int sharing);

    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> NewPool();
    /** As OxbowRpm_File describes them; a failure undoes no step. */
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> NewPool(
        const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& directory);
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> AppendPool(OxbowRpm_PoolImpl* source);

    /** The last pool; there is one. */
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> CurrentPool() const;
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> Pool(std::uint32_t index) const;
    std::uint32_t PoolCount() const;

    /** Binds the pools that opening has read in the map, whatever was bound there; raises nothing.
        It comes last, so that a failed opening changes no binding. */
    void BindPools();

    void Flush();
    /** Flushes, unbinds the pools in the map and closes the file; nothing if it is closed. The pools
        live on until this goes. A device that has refused a flush is not asked again, so that the
        file can be closed. */
    void Close();
    bool IsOpen() const { return mOSFile.IsOpen(); }

    /** Raises OxbowExcAllocReadOnly if a read-only file would have to grow. */
    void AllocateUpTo(std::uint64_t position);
    /** Returns the count read, short only at the end of the file. */
    std::uint64_t ReadAt(std::uint64_t position, std::uint64_t size, char* buffer);
    /** Raises OxbowExcWriteReadOnly. */
    void WriteAt(std::uint64_t position, std::uint64_t size, const char* data);

    std::uint32_t UserSignature() const;
    bool ReadOnly() const;
    FennelUnicodeString FileName() const { return mOSFile.Name(); }
    /** What the platform reports, without booked ranges that were never written. */
    std::uint64_t TrueSize() const { return mOSFile.Size(); }

private:
    /** No transfer begins there: the platform refuses positions past 2^63 - 1. */
    static constexpr std::uint64_t kUnknownPosition = UINT64_MAX;

    class ChainChange;
    class PoolCopy;

    void ScanPools();
    std::uint64_t ReadPool(std::uint64_t position);
    void AddPool(const OxbowRpm_StrongRef<OxbowRpm_PoolImpl>& pool);
    void Bind(const OxbowRpm_StrongRef<OxbowRpm_PoolImpl>& pool);
    void RefuseNewPoolIfReadOnly() const;
    void CheckCopyable(const OxbowRpm_PoolImpl& source) const;
    std::uint64_t GreatestHeaderLength() const;
    OxbowRpm_PoolImpl* LastPool() const;
    void WriteLastHeader();
    void FlushDevice();
    void SeekFor(std::uint64_t position);

    OxbowRpm_DocumentImpl* mDocument;
    OxbowRpm_OSFile mOSFile;
    cow_List<OxbowRpm_StrongRef<OxbowRpm_PoolImpl>> mPoolContainer;
    std::int32_t mCurrentPoolIndex;
    std::uint64_t mLogicalEnd;
    std::uint64_t mFilePosition;
    bool mDeviceHasFailed;
};

#endif
