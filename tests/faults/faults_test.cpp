// Every platform call and every allocation of the workloads fails in turn; and what a stopped
// writer and a power cut leave, rebuilt from the writes of the workloads.

#include <cerrno>
#include <cstring>
#include <set>
#include <unordered_set>

#include "doubles/CountingAllocator.h"
#include "faults/Counts.h"
#include "faults/WorkloadRunner.h"

namespace Faults {
namespace {

using namespace TestPlatform;
constexpr Kind kMemory = kKinds;

/** Calls that fail, the codes that they can have, and those of what is then raised. */
const struct {
    Kind kind;
    std::vector<DWORD> codes;
    std::set<int> raised;
} kCalls[] = {
    {Open, {ENOENT}, {17, 18}},
    {Open,
     {EACCES, EBUSY, EDQUOT, EINVAL, EIO, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOMEM,
      ENOSPC, ENOTDIR, EOVERFLOW, EPERM, EROFS, ESPIPE, ETXTBSY},
     {17}},
    {Seek, {EINVAL, EBADF}, {17}},
    {Read, {EIO, EBADF, EINVAL, EISDIR, ENOMEM, ESTALE}, {20}},
    {Read, {0}, {0, 5, 9, 13, 24, 25}},  // moves nothing: has met the file's end
    {Write, {EIO, EBADF, EDQUOT, EFBIG, EINVAL, ENOMEM, ENOSPC, EPERM, ESTALE}, {21}},
    {Write, {0}, {23}},  // moves nothing
    {Flush, {EIO, EBADF, EDQUOT, EINVAL, ENOSPC, EROFS, ESTALE}, {17}},
    {Size, {EIO, EBADF, EOVERFLOW, ESTALE}, {17}},
    {CloseFile, {EIO, EBADF, EDQUOT, ENOSPC, ESTALE}, {0, 19}},  // 0: in a destructor
};

constexpr const char* kKindNames[] = {"open",  "seek", "read",  "write",
                                      "flush", "size", "close", "allocation"};
constexpr const char* kEndings[] = {"leaves", "closes", "starts a pool and closes"};
constexpr const char* kRefusals[] = {"CorruptHeader", "NotOxbowFile", "NeedUpgrade",
                                     "UserSigMismatch", "CorruptDirectory"};

string Describe(const Fault& fault) {
    const string from =
        fault.full
            ? "a disk with room for " + std::to_string(fault.after) + " bytes"
            : string(kKindNames[fault.kind]) + " number " + std::to_string(fault.after + 1) +
                  " fails with " +
                  (fault.code == 0 ? "nothing moved" : strerror(static_cast<int>(fault.code)));
    const string tear =
        fault.tear == 0 ? "" : ", torn after " + std::to_string(fault.tear) + " bytes";
    const string most = fault.most == Fault().most
                            ? ""
                            : ", transfers of at most " + std::to_string(fault.most) + " bytes";
    return from + (fault.forEver ? ", and all after it" : ", once") + tear + most;
}

class Sweep : public testing::Test {
protected:
    /** Fails the n-th call for every n until none fires any more, once and for ever (a full disk is
        for ever), each with all ways to go on. */
    void Each(const Workload& workload, const std::set<int>& codes, Fault fault,
              unsigned stride = 1) {
        int& fired = mFired[{fault.kind, fault.code, fault.full, fault.tear, fault.most}];
        for (const bool forEver : {false, true}) {
            fault.forEver = forEver;
            fault.after = 0;
            while ((forEver || !fault.full) && Run(workload, codes, fault, Leaves) &&
                   Run(workload, codes, fault, Closes) &&
                   Run(workload, codes, fault, StartsPools)) {
                fired += 1;
                fault.after += static_cast<int>(stride * Stride());
            }
        }
    }

    /** False if the fault didn't fire. */
    bool Run(const Workload& workload, const std::set<int>& codes, const Fault& fault,
             Ending ending) {
        SCOPED_TRACE(workload.mName + ": " + Describe(fault) + ", then the host " +
                     kEndings[ending]);
        const bool memory = fault.kind == kMemory;
        MemoryFiles::All().clear();
        Reset();
        const long blocks = TestAllocator::LiveBlocks();
        if (memory) {
            TestAllocator::FailAt(fault.after + 1, fault.forEver);
        } else {
            Fail(fault);
        }
        const auto [step, raised, closed] = workload.Run(ending);
        TestAllocator::Disarm();
        const bool fired = memory ? TestAllocator::Fired() : gFired;
        EXPECT_EQ(OpenHandles(), 0) << "files left open";
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks) << "blocks left";
        const std::set<int> expected = fired ? codes : std::set<int>{0};
        EXPECT_EQ(expected.count(raised), 1u)
            << "raised code " << raised << ", not one of " << testing::PrintToString(expected);
        const bool mayStayOpen = fault.kind == Flush || fault.kind == CloseFile;
        bool drops = false;  // a header that can't be replaced is tried each time
        for (const auto& file : workload.mSteps.back().before) {
            drops |= workload.Drops(file.first, step);
        }
        if (!mayStayOpen && !(fault.forEver && (!fault.full || drops))) {
            EXPECT_EQ(closed, 0) << "the document doesn't close once the failure has passed";
        }
        const int sort = fault.most != Fault().most ? 3 : fault.tear != 0 ? 2 : fault.full ? 1 : 0;
        mPartial[sort] += std::count_if(Log().begin(), Log().end(), [](const Call& call) {
            return call.kind == Write && !call.bytes.empty() && call.bytes.size() < call.asked;
        });
        // A header that was torn is mended by the next write of it, if the file is open at all.
        const string word = workload.mSteps[step].words.substr(0, 3);
        const bool inData = word == "put" || word == "ove" || word == "str";
        const bool opening = word == "cre" || word == "upd";
        const bool tears = sort >= 2 && fault.kind == Write && raised != 0 &&
                           (fault.forEver || (!inData && (opening || ending == Leaves)));
        for (const auto& file : workload.mSteps.back().before) {
            Pools pools = workload.Expect(file.first, step, step + 1);
            if (ending == StartsPools) {
                DropEmpty(pools);
            }
            const bool mayRefuse = tears || (workload.CopiesOver(file.first, step) &&
                                             (fault.forEver || ending != StartsPools));
            MemoryFiles::At(file.first);  // empty, if it is missing
            mUnmendable[sort] += Check(pools, file.first, mayRefuse) != 0;
        }
        return fired && !HasFailure();
    }

    /** Calls that failed, each with each of its faults; every sort of fault has been there. */
    int Points() const {
        int points = 0;
        for (const auto& [fault, fired] : mFired) {
            EXPECT_GT(fired, 0) << testing::PrintToString(fault);
            points += fired;
        }
        return points;
    }

    std::map<std::tuple<Kind, DWORD, bool, DWORD, DWORD>, int> mFired;
    // Of faults of each sort: failed calls, full disks, torn writes, cut transfers.
    int mUnmendable[4] = {};
    long mPartial[4] = {};  // writes that moved a part
};

TEST_F(Sweep, AFailedCallRaisesItsExceptionAndLosesNothingThatWasWritten) {
    for (const Workload& workload : Workload::All()) {
        for (const auto& [kind, codes, raised] : kCalls) {
            for (const DWORD code : codes) {
                Each(workload, raised, {kind, code});
            }
        }
        Each(workload, {21}, {Write, ENOSPC, 0, true, true}, 11);
        for (const DWORD tear : {30u, 33u, 100u}) {
            Each(workload, {21}, {Write, EIO, 0, false, false, tear});
        }
        for (const auto& [most, stride] : {std::pair(1u, 211u), {7u, 31u}, {50u, 5u}}) {
            Each(workload, {21}, {Write, EIO, 0, false, false, 0, most}, stride);
            Each(workload, {20}, {Read, EIO, 0, false, false, 0, most}, stride);
        }
    }
    EXPECT_EQ(mPartial[0] + mPartial[1], 0) << "writes that moved a part without an order";
    EXPECT_GT(mPartial[2], 0) << "writes that tore";
    EXPECT_GT(mPartial[3], 0) << "transfers that were cut";
    const int points = Points();
    HoldCount("failing file calls", points);
    HoldCount("unreadable files after failing calls", mUnmendable[0]);
    HoldCount("unreadable files after full disks", mUnmendable[1]);
    HoldCount("unreadable files after torn writes", mUnmendable[2]);
    HoldCount("unreadable files after cut transfers", mUnmendable[3]);
    std::printf(
        "fault sweep: %zu workloads, %d I/O points, in the unmendable case: %d of failed "
        "calls, %d of a full disk, %d of writes that failed and tore, %d of cut transfers\n",
        Workload::All().size(), points, mUnmendable[0], mUnmendable[1], mUnmendable[2],
        mUnmendable[3]);
    EXPECT_GE(static_cast<unsigned>(points) * Stride(), 20000u);
}

TEST_F(Sweep, AFailedAllocationRaisesBadAllocAndLosesNothingThatWasWritten) {
    for (const Workload& workload : Workload::All()) {
        Each(workload, {kNoMemory}, {kMemory, ENOMEM});
    }
    HoldCount("failing allocations", Points());
    HoldCount("unreadable files after failing allocations", mUnmendable[0]);
    std::printf("fault sweep: %zu workloads, %d allocation points, %d in the unmendable case\n",
                Workload::All().size(), Points(), mUnmendable[0]);
    EXPECT_GE(static_cast<unsigned>(Points()) * Stride(), 4500u);
}

constexpr size_t kPiece = 512;  // a device writes that many bytes whole or not at all
constexpr size_t kAllUpTo = 1 << 17;
constexpr size_t kSamples = 120000;

/** The file with that many bytes of the write. The platform puts down first what lies behind the
    file's end. */
string With(string content, const Call& write, size_t count) {
    const size_t all = write.bytes.size(), end = content.size();
    const size_t inside = std::min(all, end - std::min<size_t>(end, write.position));
    const size_t behind = std::min(count, all - inside), at = write.position + inside;
    if (behind != 0) {
        content.resize(at + behind);
        content.replace(at, behind, write.bytes, inside, behind);
    }
    return count == behind
               ? content
               : content.replace(write.position, count - behind, write.bytes, 0, count - behind);
}

bool WritesHeader(const Call& call) {
    return call.bytes.size() >= 80 && call.bytes.size() % 32 == 16 && call.bytes[0] == '\x89';
}
bool Creates(const Call& call) {
    return call.kind == Open && call.asked == CREATE_ALWAYS;
}

class CrashStates : public testing::Test {
protected:
    /** Hands on the calls on each file of each workload, with the number of their step. The last is
        one that creates the file anew. */
    template <class Action>
    void EachCall(Action action) {
        for (const Workload& workload : Workload::All()) {
            mWorkload = &workload;
            MemoryFiles::All().clear();
            const size_t end = workload.mSteps.size() - 1;
            for (const auto& [path, pools] : workload.mSteps[end].before) {
                mPath = path;
                SCOPED_TRACE(workload.mName + ", file " + path);
                for (size_t step = 0; step < end; ++step) {
                    for (const Call& call : workload.mSteps[step].calls) {
                        if (call.path == path) {
                            action(call, step);
                        }
                    }
                }
                action({Open, path, 0, CREATE_ALWAYS, 0, ""}, end);
            }
        }
    }

    /** Opens the state, unless it was there under the same expectation. */
    void Try(const string& content, bool mayRefuse) {
        const size_t hash = std::hash<string>()(content);
        mStates.insert(hash);
        if (!HasFailure() && mSeen.insert(hash).second) {
            MemoryFiles::At(mPath).Set(content);
            ++mCounts[Check(mExpected, mPath, mayRefuse)];
        }
    }

    /** What a power cut can leave of the writes since the last flush, of which these are the states
        of the file: each piece as one of them has it, and its length. */
    void Cut(std::vector<string> states, bool mayRefuse) {
        std::set<size_t> lengths;
        std::map<size_t, std::vector<string>> pieces;  // by place, as the states have them in turn
        for (string& state : states) {
            lengths.insert(state.size());
            state.resize(states.back().size());
            for (size_t at = 0; at < state.size(); at += kPiece) {
                const string piece = state.substr(at, kPiece);
                if (pieces[at].empty() || pieces[at].back() != piece) {
                    pieces[at].push_back(piece);
                }
            }
        }
        size_t count = 1;
        for (const auto& [at, versions] : pieces) {
            count = std::min(count * versions.size(), kAllUpTo + 1);
        }
        const bool all = count <= kAllUpTo;
        for (const size_t length : lengths) {
            for (size_t i = 0; i < (all ? count : kSamples); i += Stride()) {
                string state;
                size_t digits = i;  // choose the versions
                for (const auto& [at, versions] : pieces) {
                    state += versions[(all ? digits : mRandom()) % versions.size()];
                    digits /= versions.size();
                }
                Try(state.substr(0, length), mayRefuse);
            }
        }
    }

    void Print(const char* what) {
        HoldCount(std::string(what) + ": states", static_cast<long>(mStates.size()));
        for (int code = kFirstRefusal; code <= kLastRefusal; ++code) {
            HoldCount(std::string(what) + ": OxbowExc" + kRefusals[code - kFirstRefusal],
                      static_cast<long>(mCounts[code]));
        }
        std::printf("%s: %zu workloads, %zu distinct states; %zu sound", what,
                    Workload::All().size(), mStates.size(), mCounts[0]);
        for (int code = kFirstRefusal; code <= kLastRefusal; ++code) {
            std::printf(", %zu OxbowExc%s", mCounts[code], kRefusals[code - kFirstRefusal]);
        }
        std::printf("\n");
    }

    std::mt19937 mRandom{20};
    const Workload* mWorkload = nullptr;
    string mPath;
    Pools mExpected;
    std::unordered_set<size_t> mStates, mSeen;
    std::map<int, size_t> mCounts;  // by the codes of the refusals
};

TEST_F(CrashStates, AfterAStopEverythingWrittenReadsBackUnlessItTearsAHeader) {
    string content;
    EachCall([&](const Call& call, size_t step) {
        mExpected = mWorkload->Expect(mPath, step, step + 1);
        mSeen.clear();
        const bool inCopy = mWorkload->CopiesOver(mPath, step);
        for (size_t count = 0; count == 0 || count < call.bytes.size(); count += Stride()) {
            Try(With(content, call, count), inCopy || (WritesHeader(call) && count != 0));
        }
        content = Creates(call) ? "" : With(content, call, call.bytes.size());
    });
    Print("stopped process");
}

TEST_F(CrashStates, APowerCutLosesNothingThatWasFlushedUnlessAHeaderIsBeingChanged) {
    std::vector<string> states = {""};  // since the last flush
    bool changesHeader = false;
    size_t sure = 0;
    EachCall([&](const Call& call, size_t step) {
        if (call.kind == Write) {
            states.push_back(With(states.back(), call, call.bytes.size()));
            changesHeader |= WritesHeader(call) && states.back() != states[states.size() - 2];
        } else if (call.kind == Flush || Creates(call)) {
            mExpected = mWorkload->Expect(mPath, sure, step + 1);
            mSeen.clear();
            Cut(states, std::exchange(changesHeader, false));
            states = {Creates(call) ? "" : states.back()};
            sure = Creates(call) ? 0 : step;
        }
    });
    Print("power cut");
    EXPECT_GE(mStates.size() * Stride(), 1000000u);
}

}  // namespace
}  // namespace Faults
