// Contracts whose breach ends the process: what is on stderr then, and that nothing else runs.
#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <regex>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"

/** A report that isn't flushed is lost from here on. */
static void BufferReports() {
    static char buffer[4096];
    std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
}

/** A map of one slot, the directory of that slot, and one that is not filled yet. */
struct Scene {
    Scene() {
        std::signal(SIGILL, SIG_DFL);  // a sanitizer would print its own report
        BufferReports();
        directory.InitNew();
    }
    ~Scene() {
        std::fputs("a destructor ran\n", stderr);
        std::fflush(stderr);
    }

    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> map{new OxbowRpm_PoolMap};
    OxbowRpm_PoolDirectoryImpl directory{map}, fresh{map};
    OxbowRpm_StrongRef<OxbowRpm_FileImpl> strong{new OxbowRpm_FileImpl(nullptr)};
    OxbowRpm_WeakRef<OxbowRpm_FileImpl> weak{strong};
};

/** Takes the reference's counter away, as a stray write would. */
template <class Reference>
static void Halve(Reference& reference) {
    std::memset(reinterpret_cast<char*>(&reference) + sizeof(void*), 0, sizeof(void*));
}

using Document = OxbowRpm_Document;
using File = OxbowRpm_FileImpl;
#define WHEN(...) []([[maybe_unused]] Scene&& s) { __VA_ARGS__; }

/** What must hold, and its breach. */
const std::pair<std::string, void (*)(Scene&&)> kCases[] = {
    {"mPointer && mCounter", WHEN(OxbowRpm_BStreamReadBuffer("", 0).SourceDir())},
    {"mPointer && mCounter", WHEN(OxbowRpm_WeakRef<File>()->PoolCount())},
    {"(mPointer && mCounter) || (!mPointer && !mCounter)", WHEN(OxbowRpm_StrongRef<File>(nullptr))},
    {"(mPointer && mCounter) || (!mPointer && !mCounter)",
     WHEN(Halve(s.strong); s.strong.Nullify())},
    {"(mPointer && mCounter) || (!mPointer && !mCounter)", WHEN(Halve(s.weak); s.weak.Nullify())},
    {"(mPointer && mCounter) || (!mPointer && !mCounter)",
     WHEN(Halve(s.weak); OxbowRpm_WeakRef<File> copy(s.weak))},
    {"requestedLength > 0", WHEN(OxbowRpm_BStreamReadBuffer("", 0).PrepRead(0))},
    {"requestedLength > 0", WHEN(OxbowRpm_BStreamWriteBuffer(nullptr, 0).PrepWrite(0))},
    {"requestedLength > 0", WHEN(OxbowRpm_BStreamReadLocator({}, 0, 0).PrepRead(0))},
    {"requestedLength > 0", WHEN(OxbowRpm_BStreamWriteLocator({}, 0, 0).PrepWrite(0))},
    {"!\"Bad mode.\"", WHEN(Document("TEST").AddFile("", Document::AccessMode(3)))},
    {"mCurrentPoolIndex >= 0", WHEN(File(nullptr).CurrentPool())},
    {"mMapSlotList.Length() == 0", WHEN(s.directory.InitNew())},
    {"mMapSlotList.Length() == 0", WHEN(s.directory.InitFromUUIDs(nullptr, 0))},
    {"mMap->LookupByUUID(uuid) < 0",
     WHEN(s.fresh.TestForceUUID(s.map->GetUUID(0).mText); s.fresh.InitNew())},
    {"dirLength > 0", WHEN(s.fresh.WriteUUIDs(nullptr))},
    {"dstSlotInMap >= 0", WHEN(s.directory.DirSlotFromMapSlot(-1))},
    {"dstSlotInMap < mMap->Length()", WHEN(s.directory.DirSlotFromMapSlot(1))},
    {"slotInMap >= 0", WHEN(s.map->GetPool(-1))},
    {"slotInMap < mItemList.Length()", WHEN(s.map->GetPool(1))},
    {"dstSlotInMap < mItemList.Length()", WHEN(s.map->SetSrcSlotInDir(0, 1, 0))},
};

TEST(AssertionDeathTest, ReportIsThreeLinesAndNothingRunsBehindIt) {
    const auto trapped = [](int status) {
        return WIFSIGNALED(status) && (WTERMSIG(status) == SIGILL || WTERMSIG(status) == SIGTRAP);
    };
    const std::string rest =
        "\n (OxbowRpm/impl|PrivateInterfaces)/OxbowRpm_[A-Za-z.]* [(] [0-9]+ [)]\n"
        "Put Stop in OxbowRpm_Assert::ReportAssertionFailure to find occurrence\n";
    for (const auto& [expression, breach] : kCases) {
        const auto quoted = std::regex_replace(expression, std::regex("[()|.]"), "\\$&");
        EXPECT_EXIT(breach(Scene()), trapped,
                    testing::MatchesRegex("OxbowASSERT failed: " + quoted + rest));
    }
}

TEST(AssertionDeathTest, AValidationIsReportedBeforeItIsRaised) {
    const auto validate = [] {
        BufferReports();
        try {
            OxbowVALIDATE(1 > 2);
        } catch (const OxbowExcValidationFailure&) {
            _exit(7);
        }
    };
    EXPECT_EXIT(validate(), testing::ExitedWithCode(7),
                "^OxbowVALIDATE failed: 1 > 2\n .*assertion_test.cpp [(] [0-9]+ [)]\n"
                "Put Stop in OxbowRpm_Assert::ReportValidationFailure to find occurrence\n$");
}

TEST(AssertionDeathTest, ReferenceToADeadTargetAbortsWithoutAWord) {
    OxbowRpm_StrongRef<File> strong(new File(nullptr));
    const OxbowRpm_WeakRef<File> weak(strong);
    strong.Nullify();
    EXPECT_EXIT(weak->PoolCount(), testing::KilledBySignal(SIGABRT), "^$");
}
