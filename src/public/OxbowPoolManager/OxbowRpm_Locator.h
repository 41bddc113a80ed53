#ifndef OXBOW_OXBOW_RPM_LOCATOR_H
#define OXBOW_OXBOW_RPM_LOCATOR_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>
#include <OxbowPoolManager/base/FennelString.h>

#include <cstdint>

class OxbowRpm_BStreamRead;
class OxbowRpm_BStreamWrite;

/** A position in persistent storage: a pool of the document, and a byte offset in its data.

    Value type, copied freely. Keeps nothing alive: it may outlive its file, and works again when
    that file is added to the same document; after the document is closed or destroyed it must not
    be used, only copied and dropped. A null locator (IsNull) must not be read, written, compared or
    asked for anything: that ends the process. One whose pool is not open can't be asked ReadOnly
    either.
    Threads: those of the document.
    Raises: what each operation names.
    Durability: see OxbowRpm_File::Flush.
    Units: offsets in bytes of the pool's data; arithmetic is not checked and wraps at 2^64. */
class OXBOW_EXPORT OxbowRpm_Locator {
public:
    /** The null locator. */
    OxbowRpm_Locator();
    /** The place `delta` bytes behind `other`. */
    OxbowRpm_Locator(const OxbowRpm_Locator& other, std::uint64_t delta);
    OxbowRpm_Locator(const OxbowRpm_Locator&) = default;
    OxbowRpm_Locator& operator=(const OxbowRpm_Locator&) = default;
    ~OxbowRpm_Locator();

    /** The position `bytes` further on. */
    OxbowRpm_Locator operator+(std::uint64_t bytes) const;
    /** The position `bytes` before. */
    OxbowRpm_Locator operator-(std::uint64_t bytes) const;
    /** Moves this locator on. */
    OxbowRpm_Locator& operator+=(std::uint64_t bytes);
    /** Same document, pool and offset. The pool need not be open. */
    bool operator==(const OxbowRpm_Locator& other) const;

    /** True if the locator names no pool. */
    bool IsNull() const { return mSlot < 0; }
    /** Whether the file of the pool is read-only. */
    bool ReadOnly() const;

    /** Reads up to `length` bytes into `buffer` and returns the count. It is not bounded by the
        pool's data: a longer read continues into what follows in the file, and is short only at the
        file's end; the bytes of `buffer` behind the count are unchanged.
        Raises: OxbowExcCantDerefLocator if the pool is not open; OxbowExcReadError,
        OxbowExcSystemError (`buffer` may hold a part then). */
    std::uint64_t Read(std::uint64_t length, char* buffer) const;
    /** Writes all `length` bytes inside the pool's data, whether the pool is sealed or not.
        Raises, before anything is written: OxbowExcCantDerefLocator if the pool is not open,
        OxbowExcIOBounds past the data's end, OxbowExcWriteReadOnly on a read-only file. Later:
        OxbowExcWriteError, OxbowExcShortWrite, OxbowExcSystemError (some of the bytes may have been
        written). */
    void Write(std::uint64_t length, const char* buffer) const;

    /** Reads the 12-byte stored form. A stored null sets the offset to 0 and leaves the rest, so
        read into a fresh locator.
        Raises: OxbowExcValidationFailure, with a report, if the stored pool is not in the stream's
        directory (the offset is 0 then); what the stream raises. */
    void InternalizeImpl(OxbowRpm_BStreamRead& stream);
    /** Writes the 12-byte stored form.
        Raises: OxbowExcCantExternalizeLoc if the stream's directory doesn't hold the pool, because
        that is younger than the pool written to (the stream has moved past twelve bytes then, which
        read as a null locator); what the stream raises. */
    void ExternalizeImpl(OxbowRpm_BStreamWrite& stream) const;

    /** Returns the UUID of the pool, which need not be open. Raises std::bad_alloc. */
    FennelString GetGUID() const;

private:
    friend class OxbowRpm_PoolImpl;
    friend class OxbowRpm_BStreamReadLocator;
    friend class OxbowRpm_BStreamWriteLocator;

    OxbowRpm_Locator(const OxbowRpm_WeakRef<OxbowRpm_PoolMap>& map, std::int32_t slot,
                     std::uint64_t offset);

    const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& Directory() const;
    OxbowRpm_WeakRef<OxbowRpm_PoolImpl> OpenPool() const;

    OxbowRpm_WeakRef<OxbowRpm_PoolMap> mMap;
    std::int32_t mSlot;
    std::uint64_t mOffset;
};

#endif
