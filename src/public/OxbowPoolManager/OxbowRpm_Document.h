#ifndef OXBOW_OXBOW_RPM_DOCUMENT_H
#define OXBOW_OXBOW_RPM_DOCUMENT_H

#include <OxbowPoolManager/OxbowRpm_File.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/base/FennelUnicodeString.h>

class OxbowRpm_DocumentImpl;

/** The root of everything that is open: files that bear one user signature, and the table that lets
    a locator stored in any of them lead into any other.

    Ownership: the caller owns the document, the document its files, their pools and directories.
    Handles, locators and streams may outlive it, but must not be used then; a stream that still
    holds bytes must not even be destroyed. Destroying the document closes its files without
    writing; what was written remains.
    Threads: one thread at a time for a document and all that is reached from it. Several documents
    may be used on several threads.
    Raises: the family of OxbowExceptions.h, and std::bad_alloc, from any operation that allocates.
    Durability: written bytes are on the device when Flush or Close has returned.
    Units: a document knows at most 46340 pools, open or not. */
class OXBOW_EXPORT OxbowRpm_Document {
public:
    /** How AddFile opens a file. */
    enum AccessMode {
        /** Creates the file, or empties an existing one, and starts its first pool. */
        AccessCreate = 0,
        /** Opens an existing file for reading and writing. */
        AccessUpdate = 1,
        /** Opens an existing file for reading. Nothing is ever written to it. */
        AccessReadOnly = 2
    };
    /** What GetFileType finds. */
    enum FileType {
        /** Shorter than 9 bytes, or another signature or version. */
        NotPoolFile = 0,
        /** A container file of format version 3 to 6; this library opens version 6. */
        PoolFile = 1,
        /** A container file of format version 1 or 2. */
        LegacyPoolFile = 2
    };

    /** `userSignature` points at four bytes, taken as they are, zero bytes included. They mark
        the files of one program: AddFile refuses those that bear others. Raises std::bad_alloc. */
    explicit OxbowRpm_Document(const char* userSignature);
    /** Closes the files without writing; raises nothing. */
    ~OxbowRpm_Document();
    OxbowRpm_Document(const OxbowRpm_Document&) = delete;
    OxbowRpm_Document& operator=(const OxbowRpm_Document&) = delete;

    /** Opens the file and reads all its pool headers; AccessUpdate rewrites the last one at once.
        While a file is open for writing, no other document can open it for writing, in this process or
        another, unless its file system has no locks. Readers can open it, and see the pools that
        existed then. A reader that opens while the writer changes a header can meet half of it, be
        refused with one of the five exceptions for what the file holds, and should try again.

        A file that is added twice, or a copy of a file beside its original, has the same UUIDs:
        their locators then lead into the file that was added last, bookings and writes made
        through the first one included, and closing either makes the pools of both unreachable.
        Each call leaves a small entry in the document until Close().

        Raises: OxbowExcNoSuchFile; OxbowExcSystemError (service "CreateFile") when the file can't
        be opened or created, or its name contains a zero byte; OxbowExcReadError,
        OxbowExcWriteError, OxbowExcShortWrite, FennelExcNoEntropy; for what the file holds
        OxbowExcCorruptHeader, OxbowExcNotOxbowFile, OxbowExcNeedUpgrade, OxbowExcUserSigMismatch,
        OxbowExcCorruptDirectory; OxbowExcValidationFailure when the document would know more than
        46340 pools. A mode that is none of the three ends the process.
        Leaves: after a failure the file is closed, and the document's files and pools are as
        before, though it may know more UUIDs. AccessCreate may have emptied the file by then, and
        AccessUpdate may have rewritten the last header. */
    OxbowRpm_File AddFile(const FennelUnicodeString& name, AccessMode mode);

    /** Returns a directory that belongs to no pool, for streams over plain memory. It names every
        pool that the document knows now, and counts as one of them until Close(). The handle shares
        it.
        Raises: FennelExcNoEntropy; OxbowExcValidationFailure past 46340 pools.
        Leaves: after a failure the document knows what it knew before. */
    OxbowRpm_PoolDirectory NewDirectory();

    /** Calls OxbowRpm_File::Flush for each open file, in the order of AddFile.
        Raises: as that operation. A failure ends the walk, so that later files are not flushed. */
    void Flush();

    /** Flushes and closes all files, forgets all pools and sets the user signature to four zero
        bytes. Locators and directories of the document must not be used afterwards.
        Raises: as OxbowRpm_File::Flush, and OxbowExcFileCloseFailed.
        Leaves: a failure ends the walk; later files are open, and nothing is forgotten. Called
        again, it passes over the files that are closed. A device that refused a flush is not asked
        again, so the second call closes the file, and promises nothing of what the device holds.
        While a header can't be written, or after OxbowExcFileCloseFailed, each call fails at that
        file: close the others one by one, and destroy the document. */
    void Close();

    /** Flushes and closes one file. Locators into it remain valid values: they raise
        OxbowExcCantDerefLocator until the file is added again.
        Raises: OxbowExcCantGetFile if the file is not among the open files of this document; as
        OxbowRpm_File::Flush, and the file is open then, as before; OxbowExcFileCloseFailed.
        Leaves: called again after the device has refused a flush, it closes the file, and promises
        nothing of what the device holds. After OxbowExcFileCloseFailed the file's locators raise
        OxbowExcCantDerefLocator, the handle must not be used again, and the document's own Flush
        and Close fail at a file that was writable. */
    void Close(const OxbowRpm_File& file);

    /** Classifies a file by its first nine bytes; requires no document.
        Raises: OxbowExcNoSuchFile, OxbowExcSystemError, OxbowExcReadError,
        OxbowExcFileCloseFailed. */
    static FileType GetFileType(const FennelUnicodeString& path);

private:
    OxbowRpm_DocumentImpl* mImpl;
};

#endif
