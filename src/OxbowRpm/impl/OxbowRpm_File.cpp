#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_File.h>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"

namespace {

/** An existing file of 0 bytes opens as one without pools: a caller can meet that, so it is no
    assertion. */
OxbowRpm_WeakRef<OxbowRpm_PoolImpl> LastPoolOf(const OxbowRpm_FileImpl& file) {
    if (file.PoolCount() == 0) {
        OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
    }
    return file.CurrentPool();
}

}  // namespace

OxbowRpm_File::OxbowRpm_File(const OxbowRpm_WeakRef<OxbowRpm_FileImpl>& impl) : mImpl(impl) {}

OxbowRpm_Locator OxbowRpm_File::Start() const {
    return LastPoolOf(*mImpl.Get())->Start();
}

OxbowRpm_Locator OxbowRpm_File::End() const {
    return LastPoolOf(*mImpl.Get())->End();
}

OxbowRpm_Locator OxbowRpm_File::Allocate(std::uint64_t size) {
    return LastPoolOf(*mImpl.Get())->Allocate(size);
}

void OxbowRpm_File::NewPool() {
    mImpl->NewPool();
}

void OxbowRpm_File::AppendPool(const OxbowRpm_Pool& source) {
    mImpl->AppendPool(source.mImpl.Get());
}

bool OxbowRpm_File::ReadOnly() const {
    return mImpl->ReadOnly();
}

std::uint32_t OxbowRpm_File::PoolCount() const {
    return mImpl->PoolCount();
}

OxbowRpm_Pool OxbowRpm_File::Pool() const {
    return OxbowRpm_Pool(LastPoolOf(*mImpl.Get()));
}

OxbowRpm_Pool OxbowRpm_File::Pool(std::uint32_t index) const {
    return OxbowRpm_Pool(mImpl->Pool(index));
}

void OxbowRpm_File::Flush() {
    mImpl->Flush();
}

FennelUnicodeString OxbowRpm_File::FileName() const {
    return mImpl->FileName();
}
