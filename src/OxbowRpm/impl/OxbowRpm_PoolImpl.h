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
    slot refers to this pool. Only the last pool of a writable file is ever not sealed. One thread
    at a time changes a pool; transfers may come from several.

    | state    | mImmutable | mHeaderIsStored | entered by                      | can grow        |
    |----------|------------|-----------------|---------------------------------|-----------------|
    | sealed   | true       | either          | construction, MakeImmutable     | no              |
    | open     | false      | true            | MakeMutable, WriteHeader        | yes             |
    | unstored | false      | false           | a header write that has raised, | not until a     |
    |          |            |                 | while mImmutable is false       | header write    |
    |          |            |                 |                                 | has returned    |

    What is stored in a pool whose header isn't in the file would be lost, and all behind it. */
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
    /** Allocates the room in which header and directory are encoded, so that no later write of them
        lacks memory. The pool keeps it until it is sealed. */
    void ReserveHeader();
    /** Rewrites header and directory with one write. */
    void WriteHeader();
    /** Seals the pool, which then ends at `end`, and rewrites its header. */
    void MakeImmutable(std::uint64_t end);
    /** Lets the pool grow, and rewrites its header. */
    void MakeMutable();
    /** Raises OxbowExcIOBounds if a sealed header can't express the length up to `end`. */
    void CheckSealable(std::uint64_t end) const;
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
    bool HeaderIsStored() const { return mHeaderIsStored; }
    bool CanGrow() const { return !mImmutable && mHeaderIsStored; }
    std::uint64_t DataLength() const;
    const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& Directory() const;

    OxbowRpm_FileImpl* File() const { return mFile; }
    std::uint64_t StartPosition() const { return mStart; }
    /** Header and directory. */
    std::uint32_t HeaderLength() const { return mDataOffset; }
    /** Header, directory and data. */
    std::uint64_t WholeLength() const { return mLength; }
    /** Where the next pool can start at the earliest: behind a sealed pool it does. */
    std::uint64_t EndPosition() const { return mStart + mLength; }
    bool IsSealed() const { return mImmutable; }

private:
    OxbowRpm_Header ReadHeaderFor(std::uint32_t userSignature) const;
    void TakeLength(std::uint64_t stored, std::uint64_t fileEnd);
    void ReadDirectory(std::uint32_t count);
    OxbowRpm_Locator LocatorAt(std::uint64_t offset) const;

    OxbowRpm_FileImpl* mFile;
    OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> mDirectory;
    bool mImmutable;
    /** False until the header was read or written, and from a write of it that has raised. */
    bool mHeaderIsStored;
    std::uint64_t mStart;
    std::uint64_t mLength;
    std::uint32_t mDataOffset;
    std::uint32_t mHeaderWord1;
    std::uint32_t mHeaderWord2;
    mem_BufferOwner mHeaderRoom;
};

#endif
