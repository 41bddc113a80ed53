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
    Durability: see OxbowRpm_File::Flush.
    Units: offsets and sizes in bytes of the pool's data. */
class OXBOW_EXPORT OxbowRpm_Pool {
public:
    /** Returns offset 0 of the data. */
    OxbowRpm_Locator Start() const;
    /** Returns the offset just behind the data. */
    OxbowRpm_Locator End() const;
    /** Books `size` bytes at the end of the data and returns their start. Nothing is written. Bytes
        that are never written read as zeros if later bytes are written, or as what a failed or
        shorter AppendPool has left in that place; if the file ends before them, they are no part of
        the pool when it is opened again.
        Raises, and changes nothing then: OxbowExcImmutablePool unless this is the last pool of a
        writable file, not sealed, and the last write of its header has succeeded; OxbowExcIOBounds
        past the longest pool that can be stored (10^16 - 1 bytes with its header). */
    OxbowRpm_Locator Allocate(std::uint64_t size);

    /** Whether the pool's file is read-only. A sealed pool of a writable file can still be
        overwritten. */
    bool ReadOnly() const;
    /** Returns a handle that shares the directory, and may outlive the pool. */
    OxbowRpm_PoolDirectory Directory() const;
    /** Returns the number of bytes of data, booked ones included. */
    std::uint64_t Length() const;
    /** Returns the pool's UUID, 32 characters; a stored one that contains a zero byte ends there.
    */
    FennelString GetGUID() const;

private:
    friend class OxbowRpm_File;

    explicit OxbowRpm_Pool(const OxbowRpm_WeakRef<OxbowRpm_PoolImpl>& impl);

    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> mImpl;
};

#endif
