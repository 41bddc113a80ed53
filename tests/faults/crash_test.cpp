// What a stopped writer and a power cut leave, rebuilt from the writes of the workloads.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <unordered_set>
#include <utility>

#include "doubles/MemoryFiles.h"
#include "faults/Bench.h"

namespace {

using std::size_t;
using std::string;
using TestPlatform::Call;

constexpr size_t kPiece = 512;  // a device writes that many bytes whole or not at all
constexpr int kAllSubsetsUpTo = 12;
constexpr size_t kSamples = 100000;

/** The file with the first bytes of the write. */
string With(string content, const Call& write, size_t count) {
    if (count != 0) {
        content.resize(std::max<size_t>(content.size(), write.position + count));
        content.replace(write.position, count, write.bytes, 0, count);
    }
    return content;
}

bool WritesHeader(const Call& call) {
    return call.bytes.size() >= 80 && call.bytes.size() % 32 == 16 && call.bytes[0] == '\x89';
}
bool Creates(const Call& call) {
    return call.kind == TestPlatform::Open && call.asked == CREATE_ALWAYS;
}

class CrashStates : public testing::Test {
protected:
    /** Hands the calls on each file of each workload to the first action, with the steps done
        before; then calls the second. */
    template <class OnCall, class AtEnd>
    void EachHistory(OnCall onCall, AtEnd atEnd) {
        for (const Workload& workload : AllWorkloads()) {
            mWorkload = &workload;
            MemoryFiles::All().clear();
            for (const auto& entry : workload.mSnapshots.back()) {
                mFile = entry.first;
                SCOPED_TRACE(workload.mName + ", file " + mFile);
                for (size_t i = 0; i < workload.mLog.size(); ++i) {
                    const Call& call = workload.mLog[i];
                    call.path == PathOf(mFile) ? onCall(call, workload.StepOfCall(i)) : void();
                }
                atEnd(workload.mSnapshots.size());
            }
        }
    }

    void Expect(size_t sure, size_t now) {
        mChoices = mWorkload->Expect(mFile, sure, now);
        mSeen.clear();
    }

    /** Opens the state both ways, unless it was there under the same expectation. */
    void Try(const string& content, bool mayRefuse) {
        const size_t hash = std::hash<string>()(content);
        mStates.insert(hash);
        if (HasFailure() || !mSeen.insert(hash).second) {
            return;
        }
        for (const How how : {How::Update, How::Read}) {
            MemoryFiles::At(PathOf(mFile)).Set(content);
            mRefusal = Check(mChoices, mFile, how, mayRefuse);
        }
        ++mCounts[mRefusal.empty() ? "sound" : mRefusal.substr(0, mRefusal.find(':'))];
    }

    /** What a power cut can leave of the writes since the last flush, of which these are the states
        of the file: each piece as one of them has it, and its length. */
    void Cut(const std::vector<string>& states, bool mayRefuse) {
        std::vector<std::vector<string>> pieces;
        std::set<size_t> lengths;
        for (string state : states) {
            lengths.insert(state.size());
            state.resize(states.back().size());
            pieces.resize((state.size() + kPiece - 1) / kPiece);
            for (size_t i = 0; i < pieces.size(); ++i) {
                const string piece = state.substr(i * kPiece, kPiece);
                if (pieces[i].empty() || pieces[i].back() != piece) {
                    pieces[i].push_back(piece);
                }
            }
        }
        const auto count = std::count_if(pieces.begin(), pieces.end(),
                                         [](const auto& piece) { return piece.size() > 1; });
        const bool all = count <= kAllSubsetsUpTo;
        const size_t subsets = all ? size_t{1} << count : 0;
        for (const size_t length : lengths) {
            for (size_t i = 0; i < subsets + kSamples / (all ? 100 : 1); i += mStride) {
                Try(Mix(pieces, i, i >= subsets).substr(0, length), mayRefuse);
            }
        }
    }
    /** The bits tell which pieces came. */
    string Mix(const std::vector<std::vector<string>>& pieces, size_t bits, bool random) {
        string state;
        for (const auto& versions : pieces) {
            const size_t last = versions.size() - 1;
            state += versions[random ? mRandom() % versions.size() : bits % 2 * last];
            bits >>= last != 0;
        }
        return state;
    }

    void Print(const char* what) const {
        std::printf("%s: %zu workloads, %zu distinct states;", what, AllWorkloads().size(),
                    mStates.size());
        for (const auto& [outcome, count] : mCounts) {
            std::printf(" %zu %s", count, outcome.c_str());
        }
    }

    const size_t mStride = FaultStride();
    std::mt19937 mRandom{20};
    const Workload* mWorkload = nullptr;
    string mFile, mRefusal;
    Choices mChoices;
    std::unordered_set<size_t> mStates, mSeen;
    std::map<string, size_t> mCounts;
};

TEST_F(CrashStates, AfterAStopEverythingWrittenReadsBackUnlessItTearsAHeader) {
    string content;
    const auto stop = [&](const Call& call, size_t step) {
        Expect(step, step + 1);
        const bool inCopy = mWorkload->CopiesOver(mFile, step);
        for (size_t count = 0; count < call.bytes.size(); count += mStride) {
            Try(With(content, call, count), inCopy || (WritesHeader(call) && count != 0));
        }
        content = Creates(call) ? "" : With(content, call, call.bytes.size());
    };
    EachHistory(stop, [&](size_t end) {
        Expect(end - 1, end);
        Try(std::exchange(content, ""), false);
    });
    Print("stopped process");
    std::printf("\n");
    EXPECT_GE(mStates.size() * mStride, 100000u);
}

TEST_F(CrashStates, APowerCutCostsNothingThatWasFlushedUnlessAHeaderIsBeingChanged) {
    int spans = 0, quiet = 0;
    std::vector<string> states = {""};  // since the last flush
    bool changesHeader = false;
    size_t sure = 0;
    const auto cut = [&](size_t now) {
        Expect(sure, now);
        ++spans;
        quiet += !changesHeader;
        Cut(states, std::exchange(changesHeader, false));
    };
    const auto next = [&](const Call& call, size_t step) {
        if (call.kind == TestPlatform::Write) {
            states.push_back(With(states.back(), call, call.bytes.size()));
            changesHeader |= WritesHeader(call) && states.back() != states[states.size() - 2];
        } else if (call.kind == TestPlatform::Flush || Creates(call)) {
            cut(step + 1);
            states = {Creates(call) ? "" : states.back()};
            sure = Creates(call) ? 0 : step;
        }
    };
    EachHistory(next, [&](size_t end) {
        cut(end);
        states = {""};
        sure = 0;
    });
    Print("power cut");
    std::printf("; %d of %d spans between flushes change no header\n", quiet, spans);
    EXPECT_GE(mStates.size() * mStride, 1000000u);
}

}  // namespace
