#ifndef OXBOW_OXBOW_RPM_DOCUMENT_H
#define OXBOW_OXBOW_RPM_DOCUMENT_H

#include <OxbowPoolManager/OxbowRpm_File.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/base/FennelUnicodeString.h>

class OxbowRpm_DocumentImpl;

/** The root of everything that is open: files that bear one user signature, and the table that lets
    a locator stored in any of them lead into any other.

    Ownership: the caller owns the document, the document its files, their pools and directories.
    Handles and locators may outlive it, but must not be used then. Destroying it closes the files
    without writing; what was written stays.
    Threads: one thread at a time for a document and all that is reached from it. Several documents
    may live on several threads.
    Raises: the family of OxbowExceptions.h, and std::bad_alloc, from any operation that allocates.
    Durability: written bytes have reached the device when Flush or Close has come back.
    Units: a document knows 46340 pools at most, open or not. */
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

    /** `userSignature` points at four bytes, taken as they stand, zero bytes included. They mark
        the files of one program: AddFile refuses those that bear others. Raises std::bad_alloc. */
    explicit OxbowRpm_Document(const char* userSignature);
    /** Closes the files without writing; raises nothing. */
    ~OxbowRpm_Document();
    OxbowRpm_Document(const OxbowRpm_Document&) = delete;
    OxbowRpm_Document& operator=(const OxbowRpm_Document&) = delete;

    /** Opens the file and reads all its pool headers; AccessUpdate rewrites the last one at once.
        Pools that the file shares with one already open are taken over from it.
        While a file is open for writing, nobody else can open it for writing, in this process or
        another, unless its file system has no locks; readers can, and see the pools that were there
        when they opened it.
        Raises OxbowExcNoSuchFile, OxbowExcSystemError (service "CreateFile") when the file can't be
        opened or created, or its name holds a zero byte, OxbowExcReadError, OxbowExcWriteError,
        OxbowExcShortWrite, FennelExcNoEntropy; for what the file holds OxbowExcCorruptHeader,
        OxbowExcNotOxbowFile, OxbowExcNeedUpgrade, OxbowExcUserSigMismatch,
        OxbowExcCorruptDirectory; and OxbowExcValidationFailure when the document would know more
        than 46340 pools.
        After a failure the file is closed, and the document's files and pools are as before, though
        it may know more UUIDs. By then AccessCreate may have emptied the file, and AccessUpdate
        rewritten the last header. A mode that is none of the three ends the process. */
    OxbowRpm_File AddFile(const FennelUnicodeString& name, AccessMode mode);

    /** A directory that belongs to no pool, for streams over plain memory. It names every pool that
        the document knows now, and counts as one of them until the document is closed. The handle
        shares it. Raises FennelExcNoEntropy, and OxbowExcValidationFailure past 46340 pools; what
        the document knows is as before then. */
    OxbowRpm_PoolDirectory NewDirectory();

    /** OxbowRpm_File::Flush for each open file, in the order of AddFile. A failure, which is one of
        that operation, ends the walk there. */
    void Flush();

    /** Flushes and closes all files, forgets all pools and sets the user signature to four zero
        bytes. Locators and directories of the document must not be used afterwards. Raises as
        OxbowRpm_File::Flush, and OxbowExcFileCloseFailed. A failure ends the walk: files behind it
        stay open, and the closed ones must not be closed again; destroying the document is then the
        way out. */
    void Close();

    /** Flushes and closes one file. Locators into it stay valid values: they raise
        OxbowExcCantDerefLocator until the file is added again. Raises OxbowExcCantGetFile if the
        file is not among the open files of this document, what OxbowRpm_File::Flush raises (the
        file is open then, as before), and OxbowExcFileCloseFailed (its locators raise
        OxbowExcCantDerefLocator then, and the handle must not be used again; if the file was
        writable the document's own Flush and Close fail at it from then on, so flush and close the
        others one by one, and destroy the document). */
    void Close(const OxbowRpm_File& file);

    /** Classifies a file by its first nine bytes; needs no document. Raises OxbowExcNoSuchFile,
        OxbowExcSystemError, OxbowExcReadError, OxbowExcFileCloseFailed. */
    static FileType GetFileType(const FennelUnicodeString& path);

private:
    OxbowRpm_DocumentImpl* mImpl;
};

#endif
