// The order in which the modules come up and go down. The modules beneath are doubles that write
// down their call and the count it was given, which shows where the library's own module stood.
#include <OxbowPoolManager/OxbowPoolManager_Module.h>
#include <gtest/gtest.h>

#include <string>

#include "OxbowContainers/OxbowContainers_Module.h"
#include "base/Fennel_Modules.h"

namespace {

std::string gCalls;

std::string CallsAndCount(void (*function)(int&), int& count) {
    gCalls.clear();
    function(count);
    return gCalls + "= " + std::to_string(count);
}

constexpr auto kEnter = OxbowPoolManager_initialize, kLeave = OxbowPoolManager_finalize;
const std::string kUp =
    "+Bedrock 11 +Alloc 12 +CoreUtils 13 +Lexis 14 +GenericsLib 15 +Shared 16 +Containers 17 ";
// The whole and the document classes' module went first: 19 - 2.
const std::string kDown =
    "-Containers 17 -Shared 16 -GenericsLib 15 -Lexis 14 -CoreUtils 13 -Alloc 12 -Bedrock 11 ";

}  // namespace

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
    int count = 10;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(CallsAndCount(kEnter, count), kUp + "= 19")
            << "seven doubles, the library's two modules";
        EXPECT_EQ(CallsAndCount(kEnter, count), "= 19");
        EXPECT_EQ(CallsAndCount(kLeave, count), "= 19");
        EXPECT_EQ(CallsAndCount(kLeave, count), kDown + "= 10");
        EXPECT_EQ(CallsAndCount(kLeave, count), "= 10") << "unbalanced";
        EXPECT_EQ(CallsAndCount(kEnter, count), "= 10") << "it makes up for the other";
    }
    count = 9;  // reached before the whole, its own module counts once and stays up after it
    EXPECT_EQ(CallsAndCount(OxbowRpm_initialize, count), "= 10");
    EXPECT_EQ(CallsAndCount(kEnter, count), kUp + "= 18");
    EXPECT_EQ(CallsAndCount(kLeave, count), kDown + "= 10");
    EXPECT_EQ(CallsAndCount(OxbowRpm_finalize, count), "= 9");
}
