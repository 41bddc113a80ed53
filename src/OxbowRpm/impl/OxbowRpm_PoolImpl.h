#ifndef OXBOW_OXBOW_RPM_POOL_IMPL_H
#define OXBOW_OXBOW_RPM_POOL_IMPL_H

#include <OxbowPoolManager/OxbowRpm_Locator.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

#include "base/mem_BufferOwner.h"
#include "format/OxbowRpm_Header.h"

/** A pool in memory: its place in the file, its lengths and its directory. Made, owned and
    destroyed by its file. Positions count from the start of the file, offsets from the first byte
    of the data.

    Invariants in a file's chain: mLength >= mDataOffset, and the map's item of the directory's own
    slot refers to this pool. Exactly one pool of a writable file, the last, is not immutable; none
    of a read-only one. One thread at a time changes a pool; transfers may come from several. */
class OXBOW_EXPORT OxbowRpm_PoolImpl : public mem_AllocationOperators {
public:
    OxbowRpm_PoolImpl(OxbowRpm_FileImpl* file,
                      const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& directory,
                      std::uint64_t start);

    /** The lengths of a pool without data; the directory is filled. */
    void InitEmpty();
    /** Loads the pool from the file, which ends at `fileEnd`. Raises OxbowExcCorruptHeader,
        OxbowExcNotOxbowFile, OxbowExcNeedUpgrade, OxbowExcUserSigMismatch,
        OxbowExcCorruptDirectory, what the directory raises, and read failures. A pool that raised
        is of no further use. */
    void ReadHeader(std::uint64_t fileEnd);
    /** Rewrites header and directory with one write. */
    void WriteHeader();
    /** Seals the pool, which reaches up to `end` at least, and writes that. */
    void MakeImmutable(std::uint64_t end, const mem_BufferOwner& header);
    /** Writes the header of a pool that can grow, and lets it grow once that stands: what is stored
        in a pool without a header would be lost, and the chain behind it with it. */
    void MakeMutable(const mem_BufferOwner& header);
    /** Room for the header and directory, got ahead of the steps that write them. */
    mem_BufferOwner HeaderBuffer() const;
    /** Raises OxbowExcIOBounds if the length is more than a sealed header can tell. */
    void CheckSealable() const;
    /** Tests what can be tested of the pool's bytes before they are copied into a document with
        that user signature: the failures of a header, and OxbowExcShortPool if the file ends before
        the pool, or if a writer has made the pool longer since this document read its header. */
    void CheckCopyable(std::uint32_t userSignature) const;

    /** Not bounded by the data; short only at the file's end. */
    std::uint64_t Read(std::uint64_t offset, std::uint64_t size, char* buffer) const;
    /** Raises OxbowExcIOBounds past the data's end, and what the file raises. */
    void Write(std::uint64_t offset, std::uint64_t size, const char* data);

    OxbowRpm_Locator Start() const;
    OxbowRpm_Locator End() const;
    OxbowRpm_Locator Allocate(std::uint64_t size);
    bool ReadOnly() const;
    /** Whether the header stands in the file: not after the write that was to store it failed. */
    bool HeaderIsStored() const { return mHeaderIsStored; }
    std::uint64_t DataLength() const;
    const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& Directory() const;

    OxbowRpm_FileImpl* File() const { return mFile; }
    std::uint64_t StartPosition() const { return mStart; }
    /** Header, directory and data. */
    std::uint64_t WholeLength() const { return mLength; }

private:
    std::uint32_t HeaderSize() const;
    void WriteHeader(char* bytes, std::uint64_t length);
    void ReadIdentity(char* header, std::uint32_t userSignature) const;
    void TakeLength(std::uint64_t stored, std::uint64_t fileEnd);
    void ReadDirectory(std::uint32_t count, std::uint64_t fileEnd);
    OxbowRpm_Locator LocatorAt(std::uint64_t offset) const;

    OxbowRpm_FileImpl* mFile;
    OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> mDirectory;
    bool mImmutable;
    bool mHeaderIsStored;
    std::uint64_t mStart;
    std::uint64_t mLength;
    std::uint32_t mDataOffset;
    std::uint32_t mHeaderWord1;
    std::uint32_t mHeaderWord2;
};

#endif
