// Every platform call and every allocation of the workloads fails in turn.

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <utility>

#include "doubles/CountingAllocator.h"
#include "doubles/MemoryFiles.h"
#include "faults/Bench.h"

namespace {

using namespace TestPlatform;
using std::string;

constexpr DWORD kWhole = 0xFFFFFFFF;
constexpr Kind kMemory = kKinds;

/** By their kind, what failing calls raise and the codes that they can have. */
const struct {
    const char* failure;
    std::vector<DWORD> codes;  // 0: a transfer moves nothing
} kCalls[] = {
    {"OxbowExcSystemError: CreateFile", {ENOENT, EACCES, EBUSY, EMFILE, EIO}},
    {"OxbowExcSystemError: SetFilePointer", {EINVAL, EBADF}},
    {"OxbowExcReadError", {EIO, EBADF, 0}},
    {"OxbowExcWriteError", {EIO, ENOSPC, EDQUOT, EFBIG, 0}},
    {"OxbowExcSystemError: FlushFileBuffers", {EIO, ENOSPC, EDQUOT}},
    {"OxbowExcSystemError: GetFileSize", {EIO, EBADF}},
    {"OxbowExcFileCloseFailed", {EIO, EDQUOT}},
};

/** Whether that is the exception of such a call. */
bool Explains(const Fault& fault, const string& told) {
    if (fault.kind == kMemory) {
        return told == "no memory";
    }
    if (fault.code == 0) {  // a read that moves nothing has met the file's end
        return fault.kind == Read || told.rfind("OxbowExcShortWrite", 0) == 0;
    }
    if (told.empty() || (fault.kind == Open && fault.code == ENOENT)) {
        return fault.kind == (told.empty() ? CloseFile : Open);  // in a destructor; missing
    }
    return told.rfind(kCalls[fault.kind].failure, 0) == 0 &&
           told.rfind(" " + std::to_string(fault.code)) != string::npos;
}

class Sweep : public testing::Test {
protected:
    /** Fails the n-th call for every n until none fires any more, once and for ever, with every way
        to go on. */
    void Each(const Workload& workload, Fault fault, unsigned stride = 1) {
        const int step = static_cast<int>(stride * FaultStride());
        for (int run = 0; run < 2 * kEndings - 1; ++run) {
            const Ending ending = static_cast<Ending>(run % kEndings);
            fault.forEver = run >= kEndings || fault.full;
            // To repeat what has torn a header doesn't begin where the first attempt did.
            bool fired = ending != Insists || fault.tear == 0;
            for (fault.after = 0; fired; fault.after += step) {
                fired = Run(workload, fault, ending);
                mKinds.insert(fired ? fault.kind : kKinds);
            }
        }
    }

    /** False if the fault didn't fire. */
    bool Run(const Workload& workload, const Fault& fault, Ending ending) {
        SCOPED_TRACE(testing::Message()
                     << workload.mName << ": kind " << fault.kind << ", code " << fault.code
                     << ", after " << fault.after << ", for ever " << fault.forEver << ", full "
                     << fault.full << ", tear " << fault.tear << ", most " << mMost << ", ending "
                     << ending);
        MemoryFiles::All().clear();
        Reset();
        const long blocks = TestAllocator::LiveBlocks();
        Arm(fault);
        const Outcome outcome = workload.Run(ending);
        const bool fired = fault.kind == kMemory ? TestAllocator::Fired() : Fired();
        EXPECT_EQ(OpenHandles(), 0);
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks);
        EXPECT_TRUE(fired ? Explains(fault, outcome.failure) : outcome.failure.empty())
            << outcome.failure;
        // A failed flush is final, a file that failed to close is given up, and a copy whose last
        // header failed stands.
        const bool vain = fault.forEver || fault.kind == Flush || fault.kind == CloseFile ||
                          workload.mSteps[outcome.ends.size()].rfind("append", 0) == 0;
        EXPECT_TRUE(outcome.finished || (fired && (ending != Insists || vain)))
            << "repeated in vain";
        const bool tears = fault.tear != 0 || mMost != kWhole;  // a header
        for (const auto& [file, pools] : workload.mSnapshots.back()) {
            CheckFile(workload, file, outcome, !outcome.finished && tears);
        }
        mPoints += fired;
        return fired && !HasFailure();
    }

    void Arm(const Fault& fault) const {
        if (fault.kind == kMemory) {
            return (fault.forEver ? TestAllocator::FailFrom
                                  : TestAllocator::FailAt)(fault.after + 1);
        }
        MoveAtMost(Read, mMost);
        MoveAtMost(Write, mMost);
        Fail(fault);
    }

    void CheckFile(const Workload& workload, const string& file, const Outcome& outcome,
                   bool mayTear) {
        const std::size_t steps = outcome.ends.size();
        const Choices choices = workload.Expect(file, steps, steps + 1);
        if (MemoryFiles::All().count(PathOf(file)) == 0) {
            EXPECT_TRUE(choices.front().empty());
            return;
        }
        const bool mayRefuse = mayTear || workload.CopiesOver(file, steps);
        mUnmendable += !Check(choices, file, How::Read, mayRefuse).empty();
        Check(choices, file, How::UpdateAndAdd, mayRefuse);
    }

    DWORD mMost = kWhole;  // that transfers move at once
    int mPoints = 0;
    int mUnmendable = 0;
    std::set<Kind> mKinds;
};

TEST_F(Sweep, AFailedCallIsItsExceptionAndCostsNothingThatWasWritten) {
    int unmendable[4] = {};
    for (const Workload& workload : AllWorkloads()) {
        for (int kind = 0; kind < kKinds; ++kind) {
            for (const DWORD code : kCalls[kind].codes) {
                Each(workload, {static_cast<Kind>(kind), code});
            }
        }
        unmendable[0] += std::exchange(mUnmendable, 0);
        Each(workload, {Write, ENOSPC, 0, true, true}, 37);
        unmendable[1] += std::exchange(mUnmendable, 0);
        for (const DWORD tear : {30u, 33u, 100u}) {
            Each(workload, {Write, EIO, 0, false, false, tear});
        }
        unmendable[2] += std::exchange(mUnmendable, 0);
        for (const auto& [most, stride] : {std::pair(1u, 211u), {7u, 31u}, {50u, 5u}}) {
            mMost = most;
            Each(workload, {Write, EIO}, stride);
            Each(workload, {Read, EIO}, stride);
        }
        mMost = kWhole;
        unmendable[3] += std::exchange(mUnmendable, 0);
    }
    EXPECT_EQ(mKinds.size(), std::size_t{kKinds} + 1);
    std::printf(
        "fault sweep: %zu workloads, %d I/O points, in the unmendable case: %d of failed "
        "calls, %d of a full disk, %d of writes that failed and tore, %d of cut transfers\n",
        AllWorkloads().size(), mPoints, unmendable[0], unmendable[1], unmendable[2], unmendable[3]);
    EXPECT_GE(static_cast<unsigned>(mPoints) * FaultStride(), 20000u);
}

TEST_F(Sweep, AFailedAllocationIsBadAllocAndCostsNothingThatWasWritten) {
    for (const Workload& workload : AllWorkloads()) {
        Each(workload, {kMemory});
    }
    std::printf("fault sweep: %zu workloads, %d allocation points, %d in the unmendable case\n",
                AllWorkloads().size(), mPoints, mUnmendable);
    EXPECT_GE(static_cast<unsigned>(mPoints) * FaultStride(), 5000u);
}

}  // namespace
