#ifndef OXBOW_OXBOW_RPM_FILE_H
#define OXBOW_OXBOW_RPM_FILE_H

#include <OxbowPoolManager/OxbowRpm_Locator.h>
#include <OxbowPoolManager/OxbowRpm_Pool.h>
#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/FennelUnicodeString.h>

#include <cstdint>

/** Handle on one open file: a chain of pools, of which only the last can grow.

    Ownership: owns nothing and may be copied freely; the document owns the file. A handle must not
    be used after its file was closed: that ends the process.
    Threads: those of the document.
    Raises: what each operation names, and std::bad_alloc.
    Durability: see Flush.
    Units: sizes in bytes. */
class OXBOW_EXPORT OxbowRpm_File {
public:
    /** Returns the first byte of the last pool's data. Raises OxbowExcValidationFailure on a file
        without pools. */
    OxbowRpm_Locator Start() const;
    /** Returns the place just behind the last pool's data. Raises as Start. */
    OxbowRpm_Locator End() const;
    /** OxbowRpm_Pool::Allocate on the last pool. Raises OxbowExcValidationFailure on a file without
        pools, and what that operation raises. */
    OxbowRpm_Locator Allocate(std::uint64_t size);

    /** Seals the last pool with its length and starts a new one behind it, whose directory names
        every pool that the document knows now. A last pool without data is replaced, and handles on
        it end. Each call, also one on a read-only file, makes a UUID that the document knows from
        then on.
        Until the next Flush has returned, a power cut can leave a file that doesn't open, with all
        that was flushed still in it: flush before and directly behind.
        Raises, before anything changes: OxbowExcNewPoolReadOnly, FennelExcNoEntropy;
        OxbowExcValidationFailure past 46340 pools; OxbowExcIOBounds if the last pool is too long
        for its length to be stored, as a damaged header or a failed copy can make it;
        std::bad_alloc. Later: OxbowExcWriteError, OxbowExcShortWrite, OxbowExcSystemError.
        Leaves: after a failed write all stored bytes are in place, and can be flushed and closed
        unless a header is torn, but a last pool without data may be gone, and the last pool may
        refuse to grow, until NewPool or a Flush has written its header. What a failed AppendPool
        has left behind a sealed pool counts as data of the new pool once the file is opened again,
        since nothing shortens a file. */
    void NewPool();

    /** Copies a pool of another document, header, directory and data as they are, and makes it the
        last pool. A last pool without data is replaced, and handles on it end. If that pool's header
        was longer than the whole copy, the rest of it counts as data of the copy once the file is
        opened again; to avoid that, create the target file before others are added to its document.
        Raises, before anything is written: OxbowExcNewPoolReadOnly; OxbowExcPoolAlreadyInDoc if the
        source belongs to this document or a pool of its UUID is open here;
        OxbowExcUserSigMismatch, OxbowExcNotOxbowFile, OxbowExcNeedUpgrade, OxbowExcCorruptHeader;
        OxbowExcIOBounds as NewPool; OxbowExcShortPool if part of the source was booked and never
        written, or a writer has since sealed it with another length (one that still grows is copied
        as it was seen). Later: the failures of a transfer; OxbowExcShortPool and those of a header
        if the source changes meanwhile; OxbowExcValidationFailure past 46340 pools;
        std::bad_alloc.
        Leaves: a later failure leaves the bytes copied so far behind the last pool, or behind the
        header of the one that was to be replaced. They become part of that pool when the file is
        opened again, of a last pool with data also at the next NewPool. A last pool without data is
        gone from the file's pools, and the pool before it doesn't grow, until a pool is started. If
        only the last steps failed, the copy can be found as a pool when the file is opened again. */
    void AppendPool(const OxbowRpm_Pool& source);

    /** Whether the file was opened with AccessReadOnly. */
    bool ReadOnly() const;
    /** Returns the number of pools; 0 for an existing file of 0 bytes, until NewPool. */
    std::uint32_t PoolCount() const;
    /** Returns the last pool. Raises OxbowExcValidationFailure on a file without pools. */
    OxbowRpm_Pool Pool() const;
    /** Returns the pool at `index`, the first being 0. Raises OxbowExcValidationFailure, with a report on
        stderr, unless index < PoolCount(). */
    OxbowRpm_Pool Pool(std::uint32_t index) const;

    /** Rewrites the last pool's header and waits until everything written is on the device. Does
        nothing on a read-only file. Allocates nothing but for a header that was never written.
        Raises: OxbowExcWriteError, OxbowExcShortWrite, OxbowExcSystemError. Once the device has
        refused, every later flush of this open file raises, too: the system has forgotten what it
        could not write.
        Leaves: after a failed header write the last pool refuses to grow until a flush has
        succeeded. A pool for whose header NewPool found no room at all is left out. */
    void Flush();

    /** Returns the name that AddFile was given. */
    FennelUnicodeString FileName() const;

private:
    friend class OxbowRpm_Document;

    explicit OxbowRpm_File(const OxbowRpm_WeakRef<OxbowRpm_FileImpl>& impl);

    OxbowRpm_WeakRef<OxbowRpm_FileImpl> mImpl;
};

#endif
