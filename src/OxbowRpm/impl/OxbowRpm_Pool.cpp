#include <OxbowPoolManager/OxbowRpm_Pool.h>

#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"

// The handle only forwards: a pool that is gone ends the process in the weak reference.

OxbowRpm_Pool::OxbowRpm_Pool(const OxbowRpm_WeakRef<OxbowRpm_PoolImpl>& impl) : mImpl(impl) {}

OxbowRpm_Locator OxbowRpm_Pool::Start() const {
    return mImpl->Start();
}

OxbowRpm_Locator OxbowRpm_Pool::End() const {
    return mImpl->End();
}

OxbowRpm_Locator OxbowRpm_Pool::Allocate(std::uint64_t size) {
    return mImpl->Allocate(size);
}

bool OxbowRpm_Pool::ReadOnly() const {
    return mImpl->ReadOnly();
}

OxbowRpm_PoolDirectory OxbowRpm_Pool::Directory() const {
    return OxbowRpm_PoolDirectory(mImpl->Directory());
}

std::uint64_t OxbowRpm_Pool::Length() const {
    return mImpl->DataLength();
}

FennelString OxbowRpm_Pool::GetGUID() const {
    return Directory().GetGUID();
}
