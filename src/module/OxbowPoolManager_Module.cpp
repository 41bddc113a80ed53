#include <OxbowPoolManager/OxbowPoolManager_Module.h>

#include "OxbowContainers/OxbowContainers_Module.h"
#include "base/Fennel_Modules.h"

namespace {

FennelModuleUse gPoolManager;
FennelModuleUse gRpm;

}  // namespace

void OxbowPoolManager_initialize(int& count) {
    if (!gPoolManager.Enter(count)) {
        return;
    }
    FennelBedrock_initialize(count);
    FennelAlloc_initialize(count);
    FennelCoreUtils_initialize(count);
    FennelLexis_initialize(count);
    FennelGenericsLib_initialize(count);
    FennelShared_initialize(count);
    OxbowContainers_initialize(count);
    OxbowRpm_initialize(count);
}

// Takes the modules down in the reverse order: each may use those that came up before it.
void OxbowPoolManager_finalize(int& count) {
    if (!gPoolManager.Leave(count)) {
        return;
    }
    OxbowRpm_finalize(count);
    OxbowContainers_finalize(count);
    FennelShared_finalize(count);
    FennelGenericsLib_finalize(count);
    FennelLexis_finalize(count);
    FennelCoreUtils_finalize(count);
    FennelAlloc_finalize(count);
    FennelBedrock_finalize(count);
}

void OxbowRpm_initialize(int& count) {
    gRpm.Enter(count);
}
void OxbowRpm_finalize(int& count) {
    gRpm.Leave(count);
}
