#include "OxbowContainers/OxbowContainers_Module.h"

#include "base/Fennel_Modules.h"

namespace {

FennelModuleUse gContainers;

}  // namespace

void OxbowContainers_initialize(int& count) {
    gContainers.Enter(count);
}
void OxbowContainers_finalize(int& count) {
    gContainers.Leave(count);
}
