// Contracts whose breach ends the process: what stands on stderr then, and that nothing else runs.
#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"

namespace {

using Mode = OxbowRpm_Document::AccessMode;
using Directory = OxbowRpm_PoolDirectoryImpl;
using DirectoryRef = OxbowRpm_StrongRef<Directory>;
using Locator = OxbowRpm_Locator;

/** A map of one slot, the directory that stands in it, and one that is not filled yet. */
struct Scene {
    Scene() : map(new OxbowRpm_PoolMap), directory(map), fresh(map) { directory.InitNew(); }
    ~Scene() { std::fputs("a destructor ran\n", stderr); }

    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> map;
    Directory directory, fresh;
};

const std::string kStrong = "PrivateInterfaces/OxbowRpm_StrongRef.inl";
const std::string kWeak = "PrivateInterfaces/OxbowRpm_WeakRef.inl";
const std::string kImpl = "OxbowRpm/impl/OxbowRpm_";
const std::string kDirectory = kImpl + "PoolDirectoryImpl.cpp";
const std::string kMap = kImpl + "PoolMap.cpp";

struct Case {
    std::string file, expression;
    /** Takes a slot just behind the only one; where that matters a second run takes -1. */
    void (*breach)(Scene&, std::int32_t);
};

#define WHEN(...)                                      \
    [](Scene& s, std::int32_t slot) {                  \
        static_cast<void>(s), static_cast<void>(slot); \
        __VA_ARGS__;                                   \
    }

const Case kCases[] = {
    {kStrong, "mPointer && mCounter", WHEN(OxbowRpm_BStreamReadBuffer("", 0).SourceDir())},
    {kStrong, "(mPointer && mCounter) || (!mPointer && !mCounter)",
     WHEN(new DirectoryRef(nullptr))},
    {kWeak, "mPointer && mCounter", WHEN(Locator().GetGUID())},
    {kWeak, "mPointer && mCounter", WHEN(OxbowRpm_WeakRef<OxbowRpm_FileImpl>()->PoolCount())},
    {kImpl + "BStreamReadBuffer.cpp", "requestedLength > 0",
     WHEN(OxbowRpm_BStreamReadBuffer("", 0).PrepRead(0))},
    {kImpl + "BStreamWriteBuffer.cpp", "requestedLength > 0",
     WHEN(OxbowRpm_BStreamWriteBuffer(nullptr, 0).PrepWrite(0))},
    {kImpl + "BStreamReadLocator.cpp", "requestedLength > 0",
     WHEN(OxbowRpm_BStreamReadLocator(Locator(), 0, 16).PrepRead(0))},
    {kImpl + "BStreamWriteLocator.cpp", "requestedLength > 0",
     WHEN(OxbowRpm_BStreamWriteLocator(Locator(), 0, 16).PrepWrite(0))},
    {kImpl + "DocumentImpl.cpp", "!\"Bad mode.\"",
     WHEN(OxbowRpm_Document("SIGN").AddFile("none", static_cast<Mode>(3)))},
    {kImpl + "FileImpl.cpp", "mCurrentPoolIndex >= 0",
     WHEN(OxbowRpm_FileImpl(nullptr).CurrentPool())},
    {kDirectory, "mMapSlotList.Length() == 0", WHEN(s.directory.InitNew())},
    {kDirectory, "mMapSlotList.Length() == 0", WHEN(s.directory.InitFromUUIDs(nullptr, 0))},
    {kDirectory, "mMap->LookupByUUID(uuid) < 0",
     WHEN(Directory::TestForceUUID(s.map->GetUUID(0).mText); s.fresh.InitNew())},
    {kDirectory, "dirLength > 0", WHEN(s.fresh.WriteUUIDs(nullptr))},
    {kDirectory, "dstSlotInMap < mMap->Length()", WHEN(s.directory.DirSlotFromMapSlot(slot))},
    {kMap, "slot < mItemList.Length()",
     WHEN(s.map->SetPool(slot, OxbowRpm_WeakRef<OxbowRpm_PoolImpl>()))},
    {kMap, "slotInMap < mItemList.Length()", WHEN(s.map->GetPool(slot))},
    {kMap, "slotInMap < mItemList.Length()", WHEN(s.map->GetUUID(slot))},
    {kMap, "slotInMap < mItemList.Length()", WHEN(s.map->NullifyPool(slot))},
    {kMap, "srcSlotInMap < mItemList.Length()", WHEN(s.map->SetSrcSlotInDir(slot, 0, 0))},
    {kMap, "dstSlotInMap < mItemList.Length()", WHEN(s.map->SetSrcSlotInDir(0, slot, 0))},
    {kMap, "srcSlotInMap < mItemList.Length()", WHEN(s.map->GetSrcSlotInDir(slot, 0))},
    {kMap, "dstSlotInMap < mItemList.Length()", WHEN(s.map->GetSrcSlotInDir(0, slot))},
};

/** The pattern that matches a text as it stands. */
std::string Plain(const std::string& text) {
    std::string pattern;
    for (const char c : text) {
        pattern += std::string("()|.\\").find(c) == std::string::npos ? "" : "\\";
        pattern += c;
    }
    return pattern;
}

bool Trapped(int status) {
    return WIFSIGNALED(status) && (WTERMSIG(status) == SIGILL || WTERMSIG(status) == SIGTRAP);
}

void ExpectReport(const Case& contract, const std::string& expression, int slot) {
    SCOPED_TRACE(contract.file + ": " + expression);
    const auto breach = [&] {
        Scene scene;
        std::signal(SIGILL, SIG_DFL);  // a sanitizer would print its own report
        contract.breach(scene, slot);
    };
    const std::string head = "OxbowASSERT failed: " + expression + "\n " + contract.file + " ( ";
    const std::string tail =
        " )\nPut Stop in OxbowRpm_Assert::ReportAssertionFailure to find occurrence\n";
    EXPECT_EXIT(breach(), Trapped, testing::MatchesRegex(Plain(head) + "[0-9]+" + Plain(tail)));
}

TEST(AssertionDeathTest, ReportIsThreeLinesAndNothingRunsBehindIt) {
    for (const Case& contract : kCases) {
        ExpectReport(contract, contract.expression, 1);
        const std::size_t bound = contract.expression.find(" < m");
        if (bound != std::string::npos) {
            ExpectReport(contract, contract.expression.substr(0, bound) + " >= 0", -1);
        }
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
