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

TEST(Module, OnlyTheOuterPairCallsTheOthersAndEachRenewedPairDoesSoAgain) {
    const char* up = "+Bedrock +Alloc +CoreUtils +Lexis +GenericsLib +Shared +Containers ";
    const char* down = "-Containers -Shared -GenericsLib -Lexis -CoreUtils -Alloc -Bedrock ";
    int count = 10;
    const auto expect = [&](void (*function)(int&), const char* calls, int after) {
        gCalls.clear();
        function(count);
        EXPECT_EQ(gCalls, calls);
        EXPECT_EQ(count, after);
    };
    for (int round = 0; round < 2; ++round) {
        expect(OxbowPoolManager_initialize, up, 19);  // seven doubles, the library's two modules
        expect(OxbowPoolManager_initialize, "", 19);
        expect(OxbowPoolManager_finalize, "", 19);
        expect(OxbowPoolManager_finalize, down, 10);
        expect(OxbowPoolManager_finalize, "", 10);    // unbalanced
        expect(OxbowPoolManager_initialize, "", 10);  // makes up for it
    }
    expect(OxbowRpm_initialize, "", 11);  // reached before the whole, it stays up after it
    expect(OxbowPoolManager_initialize, up, 19);
    expect(OxbowPoolManager_finalize, down, 11);
}
