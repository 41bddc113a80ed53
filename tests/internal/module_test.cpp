// The order in which the modules come up and go down, as doubles of those beneath write it down.
#include <OxbowPoolManager/OxbowPoolManager_Module.h>
#include <gtest/gtest.h>

#include "OxbowContainers/OxbowContainers_Module.h"
#include "base/Fennel_Modules.h"

static std::string gCalls;

#define MODULE_DOUBLE(Family, Module)              \
    void Family##Module##_initialize(int& count) { \
        gCalls += "+" #Module " ", ++count;        \
    }                                              \
    void Family##Module##_finalize(int& count) {   \
        gCalls += "-" #Module " ", --count;        \
    }

MODULE_DOUBLE(Fennel, Bedrock)
MODULE_DOUBLE(Fennel, Alloc)
MODULE_DOUBLE(Fennel, CoreUtils)
MODULE_DOUBLE(Fennel, Lexis)
MODULE_DOUBLE(Fennel, GenericsLib)
MODULE_DOUBLE(Fennel, Shared)
MODULE_DOUBLE(Oxbow, Containers)

TEST(Module, OnlyTheOuterPairCallsTheOthersUpAndInReverseOrderDown) {
    int count = 10;
    for (int round = 0; round < 2; ++round) {
        gCalls.clear();
        OxbowPoolManager_initialize(count);
        OxbowPoolManager_initialize(count);
        EXPECT_EQ(gCalls, "+Bedrock +Alloc +CoreUtils +Lexis +GenericsLib +Shared +Containers ");
        EXPECT_EQ(count, 19) << "seven doubles, the library's two modules";
        gCalls.clear();
        OxbowPoolManager_finalize(count);
        EXPECT_EQ(gCalls, "");
        OxbowPoolManager_finalize(count);
        EXPECT_EQ(gCalls, "-Containers -Shared -GenericsLib -Lexis -CoreUtils -Alloc -Bedrock ");
        EXPECT_EQ(count, 10);
    }
    OxbowRpm_initialize(count);
    OxbowPoolManager_initialize(count);
    OxbowPoolManager_finalize(count);
    EXPECT_EQ(count, 11) << "a module that was up before stays up";
}
