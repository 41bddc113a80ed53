#include "OxbowRpm/impl/OxbowRpm_DocumentImpl.h"

#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <cstring>

#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "list/cow_ListIterator.h"

namespace {

using FileRef = OxbowRpm_StrongRef<OxbowRpm_FileImpl>;
using WeakFileRef = OxbowRpm_WeakRef<OxbowRpm_FileImpl>;
/** A walk holds a share of the list: every file lives until the walk has ended. */
using FileIterator = cow_ListIterator<FileRef>;

void OpenFile(OxbowRpm_FileImpl& file, const FennelUnicodeString& name,
              OxbowRpm_Document::AccessMode mode) {
    switch (mode) {
        case OxbowRpm_Document::AccessCreate:
            file.OpenNew(name, 0);
            break;
        case OxbowRpm_Document::AccessUpdate:
            file.OpenForUpdate(name, 0);
            break;
        case OxbowRpm_Document::AccessReadOnly:
            file.OpenForRead(name, 0);
            break;
        default:
            OXBOW_ASSERT_TEXT(false, "!\"Bad mode.\"");
    }
}

/** Not so for the null entry of a file that was closed on its own, nor for one that a Close() which
    raised had closed before. */
bool IsOpen(const FileRef& file) {
    return !file.IsNull() && file->IsOpen();
}

}  // namespace

OxbowRpm_DocumentImpl::OxbowRpm_DocumentImpl(const char* userSignature)
    : mMap(new OxbowRpm_PoolMap) {
    std::memcpy(&mUserSignature, userSignature, sizeof mUserSignature);
}

OxbowRpm_DocumentImpl::~OxbowRpm_DocumentImpl() = default;

WeakFileRef OxbowRpm_DocumentImpl::AddFile(const FennelUnicodeString& name,
                                           OxbowRpm_Document::AccessMode mode) {
    const FileRef file(new OxbowRpm_FileImpl(this));
    OpenFile(*file.Get(), name, mode);
    mFileContainer.Append(file);
    file->BindPools();
    return WeakFileRef(file);
}

OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> OxbowRpm_DocumentImpl::NewDirectory() {
    const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> directory(
        new OxbowRpm_PoolDirectoryImpl(Map()));
    directory->InitNew();
    return directory;
}

void OxbowRpm_DocumentImpl::Flush() {
    for (FileIterator entry(mFileContainer); entry.More(); entry.Next()) {
        if (IsOpen(entry.Current())) {
            entry.Current()->Flush();
        }
    }
}

void OxbowRpm_DocumentImpl::Close() {
    // Made before any file is closed: a document whose files are gone must get its new map.
    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> fresh(new OxbowRpm_PoolMap);
    FileIterator entry(mFileContainer);
    for (; entry.More(); entry.Next()) {
        // A file that an earlier call has closed is passed over. The list's own page is made here,
        // before any file is closed, so that clearing the list needs no memory.
        FileRef& own = mFileContainer[entry.Index()];
        if (IsOpen(own)) {
            own->Close();
        }
    }
    mFileContainer.Clear();
    mMap = fresh;
    mUserSignature = 0;
}

void OxbowRpm_DocumentImpl::Close(const WeakFileRef& file) {
    for (FileIterator entry(mFileContainer); entry.More(); entry.Next()) {
        if (!entry.Current().IsNull() && entry.Current().Get() == file.Get()) {
            FileRef& own = mFileContainer[entry.Index()];
            own->Close();
            own.Nullify();
            return;
        }
    }
    OxbowExcCantGetFile().Throw(__FILE__, __LINE__);
}
