// Every platform call and every allocation of the workloads fails in turn.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <sstream>
#include <utility>

#include "doubles/CountingAllocator.h"
#include "doubles/MemoryFiles.h"
#include "faults/Bench.h"

namespace {

using namespace TestPlatform;
using std::string;

constexpr DWORD kWhole = 0xFFFFFFFF;
constexpr Kind kMemory = kKinds;

struct Fault {
    Kind kind;            // of the calls that fail
    DWORD code;           // 0: they move nothing
    DWORD most = kWhole;  // that a transfer moves at once
    DWORD tear = 0;       // bytes that a failing write overwrites
    bool full = false;    // the disk, after 37 n bytes
    int n = 0;            // calls before the first that fails
    bool forEver = false;

    void Arm() const {
        if (kind == kMemory) {
            return (forEver ? TestAllocator::FailFrom : TestAllocator::FailAt)(n + 1);
        }
        MoveAtMost(Read, most);
        MoveAtMost(Write, most);
        FailingWritesTear(tear);
        if (full) {
            FullAfter(static_cast<unsigned>(n) * 37);
        } else {
            (forEver ? FailFrom : FailNext)(kind, code, n);
        }
    }
    /** Whether that is the exception of such a call. */
    bool Explains(const string& told) const {
        static const char* const classes[] = {"OxbowExcSystemError: CreateFile",
                                              "OxbowExcSystemError: SetFilePointer",
                                              "OxbowExcReadError",
                                              "OxbowExcWriteError",
                                              "OxbowExcSystemError: FlushFileBuffers",
                                              "OxbowExcSystemError: GetFileSize",
                                              "OxbowExcFileCloseFailed",
                                              "no memory"};
        if (code == 0 && kind != kMemory) {  // a read that moves nothing has met the file's end
            return kind == Read || told.rfind("OxbowExcShortWrite", 0) == 0;
        }
        if (told.empty() || (kind == Open && code == ENOENT)) {  // closed in a destructor; missing
            return kind == (told.empty() ? CloseFile : Open);
        }
        return told.rfind(classes[kind], 0) == 0 &&
               (kind == kMemory || told.rfind(" " + std::to_string(code)) != string::npos);
    }
};

/** Whether a write of a header into the file broke off and was not done again. */
bool HasTornHeader(const std::vector<Call>& log, const string& path) {
    std::set<std::uint64_t> torn;
    std::uint64_t start = 0, next = 0, left = 0;
    for (const Call& call : log) {
        if (call.kind != Write || *call.path != path) {
            continue;
        }
        if (call.position != next || call.asked != left || left == 0) {
            start = call.position;
            if (call.bytes[0] == '\x89' && call.asked >= 80 && call.asked % 32 == 16) {
                torn.insert(start);
            }
        }
        next = call.position + call.bytes.size();
        left = call.asked - call.bytes.size();
        if (left == 0) {
            torn.erase(start);
        }
    }
    return !torn.empty();
}

class Sweep : public testing::Test {
protected:
    ~Sweep() override { MemoryFiles::All().clear(); }

    /** Fails the n-th call for every n until none fires any more, once and for ever, with every way
        to go on. */
    void Each(const Workload& workload, Fault fault, int stride = 1) {
        for (int run = 0; run < 2 * kEndings - 1; ++run) {
            const Ending ending = static_cast<Ending>(run % kEndings);
            fault.forEver = run >= kEndings || fault.full;
            // To repeat what has torn a header doesn't begin where the first attempt did.
            bool fired = ending != Insists || fault.tear == 0;
            for (fault.n = 0; fired; fault.n += stride * static_cast<int>(FaultStride())) {
                fired = Run(workload, fault, ending);
                mKinds.insert(fired ? fault.kind : kKinds);
            }
        }
    }

    /** False if the fault didn't fire. */
    bool Run(const Workload& workload, const Fault& fault, Ending ending) {
        std::ostringstream trace;
        trace << workload.mName << ": kind " << fault.kind << ", code " << fault.code << ", most "
              << fault.most << ", tear " << fault.tear << ", full " << fault.full << ", n "
              << fault.n << ", for ever " << fault.forEver << ", ending " << ending;
        SCOPED_TRACE(trace.str());
        MemoryFiles::All().clear();
        TestPlatform::Reset();
        const long blocks = TestAllocator::LiveBlocks();
        fault.Arm();
        const Outcome outcome = workload.Run(ending);
        const bool fired = Fired() || TestAllocator::Fired();
        EXPECT_EQ(OpenHandles(), 0);
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks);
        if (fired) {
            CheckFailure(workload, fault, ending, outcome);
        } else {
            EXPECT_TRUE(outcome.finished && outcome.failure.empty()) << outcome.failure;
        }
        for (const auto& [file, pools] : workload.mSnapshots.back()) {
            CheckFile(workload, file, outcome);
        }
        mPoints += fired;
        return fired && !HasFailure();
    }

    void CheckFailure(const Workload& workload, const Fault& fault, Ending ending,
                      const Outcome& outcome) {
        EXPECT_TRUE(fault.Explains(outcome.failure)) << outcome.failure;
        // A failed flush is final, a file that failed to close is given up, and a copy whose last
        // header failed stands.
        const bool vain = fault.forEver || fault.kind == Flush || fault.kind == CloseFile ||
                          workload.mWords[outcome.ends.size()].rfind("append", 0) == 0;
        EXPECT_TRUE(outcome.finished || ending != Insists || vain) << "repeated in vain";
    }

    void CheckFile(const Workload& workload, const string& file, const Outcome& outcome) {
        const std::size_t steps = outcome.ends.size();
        const Choices choices = workload.Expect(file, steps, steps + 1);
        if (MemoryFiles::All().count(PathOf(file)) == 0) {
            EXPECT_TRUE(choices.front().empty());
            return;
        }
        const bool mayRefuse =
            workload.CopiesOver(file, steps) || HasTornHeader(outcome.log, PathOf(file));
        for (const How how : {How::Read, How::UpdateAndAdd}) {
            const Verdict verdict = Check(choices, file, how);
            EXPECT_TRUE(verdict.found == Found::Sound ||
                        (verdict.found == Found::Refused && mayRefuse))
                << file << ": " << verdict.why;
            mUnmendable += how == How::Read && verdict.found == Found::Refused;
        }
    }

    int mPoints = 0;
    int mUnmendable = 0;
    std::set<Kind> mKinds;
};

TEST_F(Sweep, AFailedCallIsItsExceptionAndCostsNothingThatWasWritten) {
    const std::vector<DWORD> codes[] = {{ENOENT, EACCES, EBUSY, EMFILE, EIO},
                                        {EINVAL, EBADF},
                                        {EIO, EBADF, 0},
                                        {EIO, ENOSPC, EDQUOT, EFBIG, 0},
                                        {EIO, ENOSPC, EDQUOT},
                                        {EIO, EBADF},
                                        {EIO, EDQUOT}};
    int unmendable[4] = {};
    for (const Workload& workload : AllWorkloads()) {
        for (int kind = 0; kind < kKinds; ++kind) {
            for (const DWORD code : codes[kind]) {
                Each(workload, {static_cast<Kind>(kind), code});
            }
        }
        unmendable[0] += std::exchange(mUnmendable, 0);
        Each(workload, {Write, ENOSPC, kWhole, 0, true});
        unmendable[1] += std::exchange(mUnmendable, 0);
        for (const DWORD tear : {30u, 33u, 100u}) {
            Each(workload, {Write, EIO, kWhole, tear});
        }
        unmendable[2] += std::exchange(mUnmendable, 0);
        for (const auto& [most, stride] : {std::pair(1u, 211), {7u, 31}, {kHalf, 1}}) {
            Each(workload, {Write, EIO, most}, stride);
            Each(workload, {Read, EIO, most}, stride);
        }
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
        Each(workload, {kMemory, 0});
    }
    std::printf("fault sweep: %zu workloads, %d allocation points, %d in the unmendable case\n",
                AllWorkloads().size(), mPoints, mUnmendable);
    EXPECT_GE(static_cast<unsigned>(mPoints) * FaultStride(), 5000u);
}

}  // namespace
