#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_Document.h>

#include "OxbowRpm/impl/OxbowRpm_DocumentImpl.h"
#include "OxbowRpm/impl/OxbowRpm_OSFile.h"
#include "format/OxbowRpm_Header.h"

namespace {

/** A handle without an implementation has nothing to act on. */
OxbowRpm_DocumentImpl& Reach(OxbowRpm_DocumentImpl* impl) {
    if (impl == nullptr) {
        OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
    }
    return *impl;
}

}  // namespace

OxbowRpm_Document::OxbowRpm_Document(const char* userSignature)
    : mImpl(new OxbowRpm_DocumentImpl(userSignature)) {
    Reach(mImpl);
}

OxbowRpm_Document::~OxbowRpm_Document() {
    delete mImpl;
    mImpl = nullptr;
}

OxbowRpm_File OxbowRpm_Document::AddFile(const FennelUnicodeString& name, AccessMode mode) {
    return OxbowRpm_File(Reach(mImpl).AddFile(name, mode));
}

OxbowRpm_PoolDirectory OxbowRpm_Document::NewDirectory() {
    return OxbowRpm_PoolDirectory(Reach(mImpl).NewDirectory());
}

void OxbowRpm_Document::Flush() {
    Reach(mImpl).Flush();
}

void OxbowRpm_Document::Close() {
    Reach(mImpl).Close();
}

void OxbowRpm_Document::Close(const OxbowRpm_File& file) {
    Reach(mImpl).Close(file.mImpl);
}

OxbowRpm_Document::FileType OxbowRpm_Document::GetFileType(const FennelUnicodeString& path) {
    OxbowRpm_OSFile file;
    file.OpenReadOnly(path, 0);
    char bytes[OxbowRpm_Header::kIdentitySize];
    if (file.Read(bytes, sizeof bytes) < sizeof bytes) {
        return NotPoolFile;
    }
    file.Close();
    if (!OxbowRpm_Header::HasSignature(bytes)) {
        return NotPoolFile;
    }
    const int version = OxbowRpm_Header::Version(bytes);
    if (version <= 0 || version > OxbowRpm_Header::kVersion) {
        return NotPoolFile;
    }
    return version <= 2 ? LegacyPoolFile : PoolFile;
}
