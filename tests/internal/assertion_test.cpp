// Contracts whose breach ends the process: what stands on stderr then, and that nothing else runs.
#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <regex>
#include <string>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"

namespace {

/** A map of one slot, the directory that stands in it, and one that is not filled yet. */
struct Scene {
    Scene() {
        std::signal(SIGILL, SIG_DFL);  // a sanitizer would print its own report
        directory.InitNew();
    }
    ~Scene() { std::fputs("a destructor ran\n", stderr); }

    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> map{new OxbowRpm_PoolMap};
    OxbowRpm_PoolDirectoryImpl directory{map}, fresh{map};
};

struct Case {
    std::string file, expression;
    /** Takes a slot just behind the only one; a second run takes -1. */
    void (*breach)(Scene&&, int);
};

#define WHEN(...) []([[maybe_unused]] Scene&& s, [[maybe_unused]] int slot) { __VA_ARGS__; }
const std::string kDirectory = "PoolDirectoryImpl.cpp", kNone = "mMapSlotList.Length() == 0";
const std::string kNotNull = "mPointer && mCounter", kAny = "requestedLength > 0";

const Case kCases[] = {
    {"StrongRef.inl", kNotNull, WHEN(OxbowRpm_BStreamReadBuffer("", 0).SourceDir())},
    {"StrongRef.inl", "(mPointer && mCounter) || (!mPointer && !mCounter)",
     WHEN(new OxbowRpm_StrongRef<OxbowRpm_FileImpl>(nullptr))},
    {"WeakRef.inl", kNotNull, WHEN(OxbowRpm_Locator().GetGUID())},
    {"WeakRef.inl", kNotNull, WHEN(OxbowRpm_WeakRef<OxbowRpm_FileImpl>()->PoolCount())},
    {"BStreamReadBuffer.cpp", kAny, WHEN(OxbowRpm_BStreamReadBuffer("", 0).PrepRead(0))},
    {"BStreamWriteBuffer.cpp", kAny, WHEN(OxbowRpm_BStreamWriteBuffer(nullptr, 0).PrepWrite(0))},
    {"BStreamReadLocator.cpp", kAny, WHEN(OxbowRpm_BStreamReadLocator({}, 0, 0).PrepRead(0))},
    {"BStreamWriteLocator.cpp", kAny, WHEN(OxbowRpm_BStreamWriteLocator({}, 0, 0).PrepWrite(0))},
    {"DocumentImpl.cpp", "!\"Bad mode.\"",
     WHEN(OxbowRpm_Document("SIGN").AddFile("none", OxbowRpm_Document::AccessMode(3)))},
    {"FileImpl.cpp", "mCurrentPoolIndex >= 0", WHEN(OxbowRpm_FileImpl(nullptr).CurrentPool())},
    {kDirectory, kNone, WHEN(s.directory.InitNew())},
    {kDirectory, kNone, WHEN(s.directory.InitFromUUIDs(nullptr, 0))},
    {kDirectory, "mMap->LookupByUUID(uuid) < 0",
     WHEN(s.fresh.TestForceUUID(s.map->GetUUID(0).mText); s.fresh.InitNew())},
    {kDirectory, "dirLength > 0", WHEN(s.fresh.WriteUUIDs(nullptr))},
    {kDirectory, "dstSlotInMap < mMap->Length()", WHEN(s.directory.DirSlotFromMapSlot(slot))},
    {"PoolMap.cpp", "slot < mItemList.Length()", WHEN(s.map->SetPool(slot, {}))},
    {"PoolMap.cpp", "slotInMap < mItemList.Length()", WHEN(s.map->GetPool(slot))},
    {"PoolMap.cpp", "slotInMap < mItemList.Length()", WHEN(s.map->GetUUID(slot))},
    {"PoolMap.cpp", "slotInMap < mItemList.Length()", WHEN(s.map->NullifyPool(slot))},
    {"PoolMap.cpp", "srcSlotInMap < mItemList.Length()", WHEN(s.map->SetSrcSlotInDir(slot, 0, 0))},
    {"PoolMap.cpp", "dstSlotInMap < mItemList.Length()", WHEN(s.map->SetSrcSlotInDir(0, slot, 0))},
    {"PoolMap.cpp", "srcSlotInMap < mItemList.Length()", WHEN(s.map->GetSrcSlotInDir(slot, 0))},
    {"PoolMap.cpp", "dstSlotInMap < mItemList.Length()", WHEN(s.map->GetSrcSlotInDir(0, slot))},
};

bool Trapped(int status) {
    return WIFSIGNALED(status) && (WTERMSIG(status) == SIGILL || WTERMSIG(status) == SIGTRAP);
}

void ExpectReport(const Case& contract, const std::string& expression, int slot) {
    const bool isInline = contract.file.find(".inl") != std::string::npos;
    const std::string report =
        "OxbowASSERT failed: " + expression + "\n " +
        (isInline ? "PrivateInterfaces" : "OxbowRpm/impl") + "/OxbowRpm_" + contract.file +
        " ( [0-9]+ )\nPut Stop in OxbowRpm_Assert::ReportAssertionFailure to find occurrence\n";
    const auto pattern = std::regex_replace(report, std::regex(R"([()|.\\])"), R"(\$&)");
    EXPECT_EXIT(contract.breach(Scene(), slot), Trapped, testing::MatchesRegex(pattern)) << report;
}

TEST(AssertionDeathTest, ReportIsThreeLinesAndNothingRunsBehindIt) {
    const std::regex upperBound(" < m.*");
    for (const Case& contract : kCases) {
        ExpectReport(contract, contract.expression, 1);
        ExpectReport(contract, std::regex_replace(contract.expression, upperBound, " >= 0"), -1);
    }
}

TEST(AssertionDeathTest, ReferenceToADeadTargetAbortsWithoutAWord) {
    OxbowRpm_StrongRef<OxbowRpm_FileImpl> strong(new OxbowRpm_FileImpl(nullptr));
    const OxbowRpm_WeakRef<OxbowRpm_FileImpl> weak(strong);
    strong.Nullify();
    EXPECT_EXIT(weak.Get(), testing::KilledBySignal(SIGABRT), "^$");
    EXPECT_EXIT(weak->PoolCount(), testing::KilledBySignal(SIGABRT), "^$");
}

}  // namespace
