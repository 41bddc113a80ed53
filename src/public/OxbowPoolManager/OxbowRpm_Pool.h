#ifndef OXBOW_OXBOW_RPM_POOL_H
#define OXBOW_OXBOW_RPM_POOL_H

#include <OxbowPoolManager/OxbowRpm_Locator.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/FennelString.h>

#include <cstdint>

/** Handle on one pool: a run of bytes with a UUID and a directory of the pools that it may refer
    to.

    Ownership: owns nothing and may be copied freely; the file owns the pool. A handle must not be
    used after its file was closed, nor after its pool, empty, was replaced by the file's next one.
    Threads: those of the document.
    Raises: what each operation names, and std::bad_alloc.
    Durability: as OxbowRpm_File::Flush tells.
    Units: offsets and sizes in bytes of the pool's data. */
class OXBOW_EXPORT OxbowRpm_Pool {
public:
    /** Offset 0 of the data. */
    OxbowRpm_Locator Start() const;
    /** Just behind the data. */
    OxbowRpm_Locator End() const;
    /** Books `size` bytes at the end of the data and gives their start. Nothing is written. What is
        never written reads as zeros if later bytes are written, or as what a failed or shorter
        AppendPool left in that place; and it is no part of the pool after reopening if the file
        ends before it.
        Raises OxbowExcImmutablePool unless this is the last pool of a writable file and its header
        could be written, and OxbowExcIOBounds past the longest pool that can be stored (10^16 - 1
        bytes with its header); nothing has changed then. */
    OxbowRpm_Locator Allocate(std::uint64_t size);

    /** Whether the pool's file is read-only. A sealed pool of a writable file can still be
        overwritten. */
    bool ReadOnly() const;
    /** A handle that shares the directory, and may outlive the pool. */
    OxbowRpm_PoolDirectory Directory() const;
    /** Bytes of data, booked ones included. */
    std::uint64_t Length() const;
    /** The pool's UUID, 32 characters; a stored one that holds a zero byte ends there. */
    FennelString GetGUID() const;

private:
    friend class OxbowRpm_File;

    explicit OxbowRpm_Pool(const OxbowRpm_WeakRef<OxbowRpm_PoolImpl>& impl);

    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> mImpl;
};

#endif
