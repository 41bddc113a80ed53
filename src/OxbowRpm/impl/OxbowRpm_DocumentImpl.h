#ifndef OXBOW_OXBOW_RPM_DOCUMENT_IMPL_H
#define OXBOW_OXBOW_RPM_DOCUMENT_IMPL_H

#include <OxbowPoolManager/OxbowRpm_Document.h>

#include <cstdint>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "list/cow_List.h"

/** The working class of OxbowRpm_Document, which documents the operations. Holds the map and the files strongly;
    everything below refers back by plain pointers and weak references. */
class OxbowRpm_DocumentImpl : public mem_AllocationOperators {
public:
    explicit OxbowRpm_DocumentImpl(const char* userSignature);
    OXBOW_EXPORT ~OxbowRpm_DocumentImpl();
    OxbowRpm_DocumentImpl(const OxbowRpm_DocumentImpl&) = delete;
    OxbowRpm_DocumentImpl& operator=(const OxbowRpm_DocumentImpl&) = delete;

    OxbowRpm_WeakRef<OxbowRpm_FileImpl> AddFile(const FennelUnicodeString& name,
                                                OxbowRpm_Document::AccessMode mode);
    OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> NewDirectory();
    void Flush();
    void Close();
    void Close(const OxbowRpm_WeakRef<OxbowRpm_FileImpl>& file);

    OxbowRpm_WeakRef<OxbowRpm_PoolMap> Map() const { return mMap; }
    /** Four bytes in one unit, compared and written as such. */
    std::uint32_t UserSignature() const { return mUserSignature; }

private:
    OxbowRpm_StrongRef<OxbowRpm_PoolMap> mMap;
    /** One entry an AddFile; null once its file was closed on its own. */
    cow_List<OxbowRpm_StrongRef<OxbowRpm_FileImpl>> mFileContainer;
    std::uint32_t mUserSignature;
};

#endif
