#include "base/Fennel_Modules.h"

namespace {

FennelModuleUse gBedrock;
FennelModuleUse gAlloc;
FennelModuleUse gCoreUtils;
FennelModuleUse gLexis;
FennelModuleUse gGenericsLib;
FennelModuleUse gShared;

}  // namespace

void FennelBedrock_initialize(int& count) {
    gBedrock.Enter(count);
}
void FennelBedrock_finalize(int& count) {
    gBedrock.Leave(count);
}
void FennelAlloc_initialize(int& count) {
    gAlloc.Enter(count);
}
void FennelAlloc_finalize(int& count) {
    gAlloc.Leave(count);
}
void FennelCoreUtils_initialize(int& count) {
    gCoreUtils.Enter(count);
}
void FennelCoreUtils_finalize(int& count) {
    gCoreUtils.Leave(count);
}
void FennelLexis_initialize(int& count) {
    gLexis.Enter(count);
}
void FennelLexis_finalize(int& count) {
    gLexis.Leave(count);
}
void FennelGenericsLib_initialize(int& count) {
    gGenericsLib.Enter(count);
}
void FennelGenericsLib_finalize(int& count) {
    gGenericsLib.Leave(count);
}
void FennelShared_initialize(int& count) {
    gShared.Enter(count);
}
void FennelShared_finalize(int& count) {
    gShared.Leave(count);
}
