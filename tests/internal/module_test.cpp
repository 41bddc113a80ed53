// The order in which the modules come up and go down. The modules beneath are doubles that write
// down their call and the count it was given, which shows where the library's own module stood.
#include <OxbowPoolManager/OxbowPoolManager_Module.h>
#include <gtest/gtest.h>

#include "OxbowContainers/OxbowContainers_Module.h"
#include "base/Fennel_Modules.h"

static std::string gCalls;

#define MODULE_DOUBLE(Family, Module)                              \
    void Family##Module##_initialize(int& count) {                 \
        gCalls += "+" #Module " " + std::to_string(count++) + " "; \
    }                                                              \
    void Family##Module##_finalize(int& count) {                   \
        gCalls += "-" #Module " " + std::to_string(count--) + " "; \
    }

MODULE_DOUBLE(Fennel, Bedrock)
MODULE_DOUBLE(Fennel, Alloc)
MODULE_DOUBLE(Fennel, CoreUtils)
MODULE_DOUBLE(Fennel, Lexis)
MODULE_DOUBLE(Fennel, GenericsLib)
MODULE_DOUBLE(Fennel, Shared)
MODULE_DOUBLE(Oxbow, Containers)

TEST(Module, OnlyTheOuterPairCallsTheOthersAndEachRenewedPairDoesSoAgain) {
    const std::string up =
        "+Bedrock 11 +Alloc 12 +CoreUtils 13 +Lexis 14 +GenericsLib 15 +Shared 16 +Containers 17 ";
    const std::string down =  // the whole and the document classes' module went first: 19 - 2
        "-Containers 17 -Shared 16 -GenericsLib 15 -Lexis 14 -CoreUtils 13 -Alloc 12 -Bedrock 11 ";
    int count = 10;
    const auto expect = [&](void (*function)(int&), const std::string& calls, int after) {
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
    count = 9;  // reached before the whole, its own module counts once and stays up after it
    expect(OxbowRpm_initialize, "", 10);
    expect(OxbowPoolManager_initialize, up, 18);
    expect(OxbowPoolManager_finalize, down, 10);
    expect(OxbowRpm_finalize, "", 9);
}
