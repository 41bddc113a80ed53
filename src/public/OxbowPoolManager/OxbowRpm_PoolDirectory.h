#ifndef OXBOW_OXBOW_RPM_POOL_DIRECTORY_H
#define OXBOW_OXBOW_RPM_POOL_DIRECTORY_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>
#include <OxbowPoolManager/base/FennelString.h>

/** Handle on a directory: the list of pools that stored locators may name, its own first.

    Ownership: shares the directory, which lives as long as it has holders; it must not be used
    after the document was closed or destroyed.
    Threads: those of the document.
    Raises: std::bad_alloc from GetGUID, and nothing else. */
class OXBOW_EXPORT OxbowRpm_PoolDirectory {
public:
    OxbowRpm_PoolDirectory(const OxbowRpm_PoolDirectory&) = default;
    OxbowRpm_PoolDirectory& operator=(const OxbowRpm_PoolDirectory&) = default;
    ~OxbowRpm_PoolDirectory();

    /** Returns the UUID of the directory's own pool, 32 characters; a stored one that contains a
        zero byte ends there. */
    FennelString GetGUID() const;

    /** The next UUID that the library makes will be these 32 bytes, which must stay readable until
        then; null takes that back. For tests of the host: all documents share the one place, which
        no lock guards, so that other threads must start no pool meanwhile. A UUID that the document
        knows already ends the process. */
    static void TestForceUUID(const char* uuid);

private:
    friend class OxbowRpm_Document;
    friend class OxbowRpm_Pool;
    friend class OxbowRpm_BStreamReadBuffer;
    friend class OxbowRpm_BStreamWriteBuffer;

    explicit OxbowRpm_PoolDirectory(const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& impl);

    OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> mImpl;
};

#endif
