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
    /** The first byte of the last pool's data. Raises OxbowExcValidationFailure on a file without
        pools. */
    OxbowRpm_Locator Start() const;
    /** Just behind the last pool's data. Raises as Start. */
    OxbowRpm_Locator End() const;
    /** OxbowRpm_Pool::Allocate on the last pool. Raises OxbowExcValidationFailure on a file without
        pools, and what that operation raises. */
    OxbowRpm_Locator Allocate(std::uint64_t size);

    /** Seals the last pool with its length and starts a new one behind it, whose directory names
        every pool that the document knows now. A last pool without data is replaced, and handles on
        it end. Each call, also one on a read-only file, makes a UUID that the document knows from
        then on. Until the next Flush has come back a power cut can leave a file that doesn't open,
        with all that was flushed still in it: flush before and behind.
        Raises OxbowExcNewPoolReadOnly, FennelExcNoEntropy, OxbowExcValidationFailure past 46340
        pools, OxbowExcIOBounds if a damaged header gave the last pool a length that can't be
        stored, and the write failures of the platform (OxbowExcWriteError, OxbowExcShortWrite,
        OxbowExcSystemError). A lack of memory leaves the pools as they were. After a failed write
        all stored bytes are in place, and can be flushed and closed, but a last pool without data
        may be gone, and the last pool refuse to grow, until NewPool has been called again with
        success or a Flush has found room for the header. */
    void NewPool();

    /** Copies a pool of another document, header, directory and data as they stand, and makes it
        the last pool. A last pool without data is replaced, and handles on it end.
        Raises before anything is written: OxbowExcNewPoolReadOnly, OxbowExcPoolAlreadyInDoc if the
        source belongs to this document or a pool of its UUID is open here, OxbowExcUserSigMismatch,
        OxbowExcNotOxbowFile, OxbowExcNeedUpgrade, OxbowExcCorruptHeader, OxbowExcIOBounds as
        NewPool, and OxbowExcShortPool if part of the source was booked and never written, or a
        writer has since sealed it with another length (one that still grows is copied as it was
        seen).
        A failed transfer, a source that changes meanwhile (OxbowExcShortPool and the failures of a
        header), and OxbowExcValidationFailure past 46340 pools come later: the bytes copied so far
        stay behind the last pool and become part of it, at the next NewPool or when the file is
        opened again. If only the last steps failed, the last pool can refuse to grow until NewPool
        has been called, and the copy can be found as a pool when the file is opened again. If the
        last pool had no data it is gone, and unless a pool is started in its place the file ends in
        those bytes: it may not open again, or show the part that was copied as a pool of the
        source's UUID. Store something in a pool before you append behind it. */
    void AppendPool(const OxbowRpm_Pool& source);

    /** Whether the file was opened with AccessReadOnly. */
    bool ReadOnly() const;
    /** The number of pools; 0 for an existing file of 0 bytes, until NewPool. */
    std::uint32_t PoolCount() const;
    /** The last pool. Raises OxbowExcValidationFailure on a file without pools. */
    OxbowRpm_Pool Pool() const;
    /** The pool at `index`, the first being 0. Raises OxbowExcValidationFailure, with a report on
        stderr, unless index < PoolCount(). */
    OxbowRpm_Pool Pool(std::uint32_t index) const;

    /** Rewrites the last pool's header and waits until everything written is on the device. Does
        nothing on a read-only file. Raises OxbowExcWriteError, OxbowExcShortWrite,
        OxbowExcSystemError; once the device has refused, no later flush of this file is reported as
        done. A header that NewPool couldn't write is tried once more; if that fails, too, the rest
        is flushed all the same. */
    void Flush();

    /** The name that AddFile was given. */
    FennelUnicodeString FileName() const;

private:
    friend class OxbowRpm_Document;

    explicit OxbowRpm_File(const OxbowRpm_WeakRef<OxbowRpm_FileImpl>& impl);

    OxbowRpm_WeakRef<OxbowRpm_FileImpl> mImpl;
};

#endif
