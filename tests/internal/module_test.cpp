// The order in which the modules come up and go down. The modules beneath are doubles that write
// down their call and the count it was given, which shows where the library's own module stood.
#include <OxbowPoolManager/OxbowPoolManager_Module.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OxbowContainers/OxbowContainers_Module.h"
#include "base/Fennel_Modules.h"

namespace {

using Calls = std::vector<std::string>;

Calls gCalls;

Calls CallsOf(void (*function)(int&), int& count) {
    gCalls.clear();
    function(count);
    return gCalls;
}

const Calls kNone;
const Calls kUp = {"+Bedrock 11",  "+Alloc 12",  "+CoreUtils 13", "+Lexis 14",
                   "+Generics 15", "+Shared 16", "+Containers 17"};
// The whole and the document classes' module went first: 19 - 2.
const Calls kDown = {"-Containers 17", "-Shared 16", "-Generics 15", "-Lexis 14",
                     "-CoreUtils 13",  "-Alloc 12",  "-Bedrock 11"};

}  // namespace

#define MODULE_DOUBLE(Module, name)                               \
    void Module##_initialize(int& count) {                        \
        gCalls.push_back("+" name " " + std::to_string(count++)); \
    }                                                             \
    void Module##_finalize(int& count) {                          \
        gCalls.push_back("-" name " " + std::to_string(count--)); \
    }

MODULE_DOUBLE(FennelBedrock, "Bedrock")
MODULE_DOUBLE(FennelAlloc, "Alloc")
MODULE_DOUBLE(FennelCoreUtils, "CoreUtils")
MODULE_DOUBLE(FennelLexis, "Lexis")
MODULE_DOUBLE(FennelGenericsLib, "Generics")
MODULE_DOUBLE(FennelShared, "Shared")
MODULE_DOUBLE(OxbowContainers, "Containers")

TEST(Module, OnlyTheOuterPairCallsTheOthersAndEachRenewedPairDoesSoAgain) {
    int count = 10;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(CallsOf(OxbowPoolManager_initialize, count), kUp);
        EXPECT_EQ(count, 19) << "seven doubles and the library's two modules";
        EXPECT_EQ(CallsOf(OxbowPoolManager_initialize, count), kNone);
        EXPECT_EQ(CallsOf(OxbowPoolManager_finalize, count), kNone);
        EXPECT_EQ(count, 19);
        EXPECT_EQ(CallsOf(OxbowPoolManager_finalize, count), kDown);
        EXPECT_EQ(count, 10);
    }
}

TEST(Module, OneReachedBeforeTheWholeCountsOnceAndStaysUpAfterIt) {
    int count = 9;
    EXPECT_EQ(CallsOf(OxbowRpm_initialize, count), kNone);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(CallsOf(OxbowPoolManager_initialize, count), kUp);
    EXPECT_EQ(count, 18);
    CallsOf(OxbowPoolManager_finalize, count);
    EXPECT_EQ(count, 10);
    OxbowRpm_finalize(count);
    EXPECT_EQ(count, 9);
}

TEST(Module, AnUnbalancedFinalizeCallsNothing) {
    int count = 10;
    EXPECT_EQ(CallsOf(OxbowPoolManager_finalize, count), kNone);
    EXPECT_EQ(CallsOf(OxbowPoolManager_initialize, count), kNone) << "it makes up for the other";
    EXPECT_EQ(count, 10);
    EXPECT_EQ(CallsOf(OxbowPoolManager_initialize, count), kUp);
    EXPECT_EQ(CallsOf(OxbowPoolManager_finalize, count), kDown);
}
