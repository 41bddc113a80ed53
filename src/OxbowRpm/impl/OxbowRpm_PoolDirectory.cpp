#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>

#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"

// The handle only forwards, and keeps its directory alive when the pool is gone.

OxbowRpm_PoolDirectory::OxbowRpm_PoolDirectory(
    const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& impl)
    : mImpl(impl) {}

OxbowRpm_PoolDirectory::~OxbowRpm_PoolDirectory() = default;

FennelString OxbowRpm_PoolDirectory::GetGUID() const {
    return mImpl->GetGUID();
}

void OxbowRpm_PoolDirectory::TestForceUUID(const char* uuid) {
    OxbowRpm_PoolDirectoryImpl::TestForceUUID(uuid);
}
