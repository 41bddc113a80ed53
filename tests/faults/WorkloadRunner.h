#ifndef OXBOW_TEST_WORKLOAD_RUNNER_H
#define OXBOW_TEST_WORKLOAD_RUNNER_H

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <utility>

#include "base/FennelUtilsRand.h"
#include "doubles/MemoryFiles.h"
#include "doubles/RecordingPlatform.h"
#include "processes/Setting.h"

/** Workloads, and what their files must hold after a failure. */
namespace Faults {

using Document = OxbowRpm_Document;
constexpr auto kRead = Document::AccessReadOnly;
using std::size_t, std::string;

/** What a file holds: by the UUIDs of its pools their bytes, and in the place of a stored
    reference what it leads to. */
using Pools = std::map<string, string>;

constexpr int kNoMemory = -1, kFirstRefusal = 5, kLastRefusal = 9;  // those by the header checks
/** The code of what the action raises, 0 for nothing. */
template <class Action>
int CodeOf(Action action) {
    try {
        action();
    } catch (const FennelException& failure) {
        return failure.GetCode();
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
    return 0;
}

constexpr unsigned kReference = 5;  // the offset in all of them; no other data begins so
constexpr size_t kReferenceSize = 12;

inline Pools ReadAll(const OxbowRpm_File& file) {
    Pools pools;
    for (unsigned i = 0; i < file.PoolCount(); ++i) {
        const OxbowRpm_Locator start = file.Pool(i).Start();
        string bytes(file.Pool(i).Length(), '?');
        bytes.resize(start.Read(bytes.size(), bytes.data()));
        if (bytes.size() >= kReferenceSize && bytes[0] == kReference) {
            OxbowRpm_BStreamReadLocator stream(start, kReferenceSize, 16);
            OxbowRpm_Locator place;
            place.InternalizeImpl(stream);
            bytes.replace(0, kReferenceSize, place.GetGUID().View(), 0, kReferenceSize);
        }
        bytes.resize(bytes.find_last_not_of('\0') + 1);  // what was booked may be missing
        pools[string(start.GetGUID().View())] = bytes;
    }
    return pools;
}

enum Ending { Leaves, Closes, StartsPools };

/** One run of a workload. */
class WorkloadRunner {
public:
    /** All runs of a workload have the same bytes and UUIDs, and others have others. */
    explicit WorkloadRunner(const string& workload) : mRandom(std::hash<string>()(workload)) {
        FennelUtilsInitRand(static_cast<std::int64_t>(mRandom()));
    }

    /** Returns the code of what the step raises. */
    int Do(const string& step) {
        std::istringstream words(step);
        string word, name, other;
        unsigned b = 0, c = 0;
        words >> word >> name >> other >> b >> c;
        const auto a = static_cast<unsigned>(std::atoi(other.c_str()));
        const std::map<string, std::function<void()>> actions = {
            {"create", [&] { Add(name, Document::AccessCreate); }},
            {"update", [&] { Add(name, Document::AccessUpdate); }},
            {"read", [&] { ReadAll(Add(name, kRead)); }},
            {"put", [&] { FileOf(name).Allocate(a).Write(a, Fresh(a).data()); }},
            {"book", [&] { FileOf(name).Allocate(a); }},
            {"over", [&] { (FileOf(name).Pool(a).Start() + b).Write(c, Fresh(c).data()); }},
            {"pool", [&] { FileOf(name).NewPool(); }},
            {"append", [&] { FileOf(name).AppendPool(FileOf(other).Pool(b)); }},
            {"stream", [&] { Stream(FileOf(name), FileOf(other)); }},
            {"flush", [&] { FileOf(name).Flush(); }},
            {"close", [&] { Close(name); }},
            {"end", [&] { End(name, true); }},
            {"leave", [&] { End(name, false); }}};
        const unsigned count = word == "pool" ? FileOf(name).PoolCount() : 0;
        const int code = CodeOf(actions.at(word));
        if (word == "pool" && code == kNoMemory) {
            EXPECT_EQ(FileOf(name).PoolCount(), count)
                << "a lack of memory leaves the chain as it was";
        }
        return code;
    }
    /** As a host does after a failure that it doesn't take for one of the whole document: it writes
        more, and leaves, or closes, or starts pools before. Returns the code of what closing raises. */
    int GoOn(Ending ending) {
        int closed = 0;
        for (Side& side : mSides) {
            for (auto& entry : side.files) {
                OxbowRpm_File& file = entry.second;
                CodeOf([&] { file.Allocate(20).Write(20, string(20, '\0').data()); });
                if (ending == StartsPools) {
                    CodeOf([&] { StartPool(file); });
                }
            }
            if (ending != Leaves && side.document != nullptr) {
                closed += CodeOf([&] { side.document->Close(); });
            }
        }
        return closed;
    }

private:
    struct Side {
        std::unique_ptr<Document> document;
        std::map<string, OxbowRpm_File> files;  // open
    };
    /** Files from "m" on belong to a second document. */
    Side& SideOf(const string& file) { return mSides[file >= "m"]; }
    OxbowRpm_File& FileOf(const string& name) { return SideOf(name).files.at(name); }

    static void StartPool(OxbowRpm_File& file) {
        file.NewPool();
        const Pools pools = ReadAll(Document("TEST").AddFile(file.FileName(), kRead));
        EXPECT_EQ(pools.count(string(file.Pool().GetGUID().View())), 1u) << "a new pool is lost";
    }
    const OxbowRpm_File& Add(const string& name, Document::AccessMode mode) {
        Side& side = SideOf(name);
        if (side.document == nullptr) {
            side.document = std::make_unique<Document>("TEST");
        }
        const OxbowRpm_File file =
            side.document->AddFile((MemoryFiles::kFolder + ("/" + name)).c_str(), mode);
        return side.files.insert_or_assign(name, file).first->second;
    }
    /** The pool is new, so that references come first. */
    void Stream(OxbowRpm_File& file, const OxbowRpm_File& target) {
        OxbowRpm_BStreamWriteLocator stream(file.Allocate(kReferenceSize + 44), 0, 40);
        (target.Start() + kReference).ExternalizeImpl(stream);
        stream.WriteBlock(Fresh(44).data(), 44);
    }
    void Close(const string& name) {
        SideOf(name).document->Close(FileOf(name));
        SideOf(name).files.erase(name);
    }
    void End(const string& name, bool closes) {
        SideOf(name).files.clear();
        const auto document = std::exchange(SideOf(name).document, nullptr);
        if (closes && document != nullptr) {
            document->Close();
        }
    }
    /** Bytes as no other step writes them. */
    string Fresh(size_t size) {
        string bytes(size, '\0');
        std::generate(bytes.begin(), bytes.end(),
                      [&] { return "ABCDEFGHIJKLMNOP"[mRandom() % 16]; });
        return bytes;
    }

    std::minstd_rand mRandom;
    Side mSides[2];
};

struct Workload {
    struct Step {
        string words;
        std::map<string, Pools> before;  // by the paths of the files, when nothing fails
        std::vector<TestPlatform::Call> calls;
    };
    Workload(const string& name, std::istringstream steps) : mName(name) {
        MemoryFiles::All().clear();
        WorkloadRunner runner(name);
        for (string words = "first"; !words.empty();) {
            words.clear();
            std::getline(steps >> std::ws, words, ',');
            mSteps.push_back({words, {}, {}});
            for (const auto& [path, file] : MemoryFiles::All()) {
                mSteps.back().before[path] = ReadAll(Document("TEST").AddFile(path.c_str(), kRead));
            }
            TestPlatform::Reset();
            EXPECT_EQ(words.empty() ? 0 : runner.Do(words), 0) << mName << words;
            mSteps.back().calls = TestPlatform::Log();
        }
    }
    /** Those of workloads.txt. */
    static const std::vector<Workload>& All() {
        static std::vector<Workload> all;
        std::ifstream file(all.empty() ? OXBOW_WORKLOADS : "");
        string name, steps;
        while (std::getline(file >> std::ws, name) && std::getline(file, steps, ';')) {
            all.emplace_back(name, std::istringstream(steps));
        }
        return all;
    }

    struct Outcome {
        size_t steps;        // done
        int raised, closed;  // codes of what the next one has raised, and closing behind it
    };
    /** Runs it with the orders that the doubles have got. */
    Outcome Run(Ending ending) const {
        WorkloadRunner runner(mName);
        int code = 0;
        size_t done = 0;
        while (done < mSteps.size() - 1 && (code = runner.Do(mSteps[done].words)) == 0) {
            ++done;
        }
        return {done, code, code != 0 ? runner.GoOn(ending) : 0};
    }

    Pools Before(const string& path, size_t step) const {
        const auto found = mSteps[step].before.find(path);
        return found == mSteps[step].before.end() ? Pools() : found->second;
    }
    /** What the file must hold with the steps up to `sure` done, and those up to `now` begun:
        '?' means bytes that these change, and pools that they drop are left out. */
    Pools Expect(const string& path, size_t sure, size_t now) const {
        Pools expected = Before(path, sure);
        for (size_t i = sure + 1; i <= std::min(now, mSteps.size() - 1); ++i) {
            const Pools later = Before(path, i);
            for (auto pool = expected.begin(); pool != expected.end();) {
                const auto found = later.find(pool->first);
                for (size_t at = 0; found != later.end() && at < pool->second.size(); ++at) {
                    char& byte = pool->second[at];
                    byte = at < found->second.size() && found->second[at] == byte ? byte : '?';
                }
                pool = found == later.end() ? expected.erase(pool) : std::next(pool);
            }
        }
        return expected;
    }
    /** Whether the step replaces a pool without data. */
    bool Drops(const string& path, size_t step) const {
        return Expect(path, step, step + 1).size() < Before(path, step).size();
    }
    /** Whether it does so by copying a pool. */
    bool CopiesOver(const string& path, size_t step) const {
        return mSteps[step].words.rfind("append", 0) == 0 && Drops(path, step);
    }

    string mName;
    std::vector<Step> mSteps;  // and an empty one
};

/** Whoever starts pools replaces a last one without data. */
inline void DropEmpty(Pools& pools) {
    for (auto pool = pools.begin(); pool != pools.end();) {
        pool = pool->second.empty() ? pools.erase(pool) : std::next(pool);
    }
}

/** Opens the file read-only and for update. Returns the code of the header check that refuses it,
    with every byte of its pools in place but for references, or 0 if it is sound. Anything else
    fails the test. */
inline int Check(const Pools& expected, const string& path, bool mayRefuse) {
    int code = 0;
    for (const auto mode : {kRead, Document::AccessUpdate}) {
        TestPlatform::Reset();
        Pools pools;
        code = CodeOf([&] { pools = ReadAll(Document("TEST").AddFile(path.c_str(), mode)); });
        if (mode == kRead) {
            EXPECT_EQ(TestPlatform::Told().find("write"), string::npos) << path << " is written";
        }
        const bool refused = mayRefuse && code >= kFirstRefusal && code <= kLastRefusal;
        if (!refused) {
            EXPECT_EQ(code, 0) << path << " is refused";
        }
        for (const auto& [uuid, bytes] : expected) {
            if (!refused) {
                EXPECT_EQ(pools.count(uuid), 1u) << path << " has lost pool " << uuid;
            }
            const string data =
                refused ? bytes.substr(std::min(kReferenceSize, bytes.size())) : bytes;
            const string in = refused ? MemoryFiles::At(path).Bytes() : pools[uuid];
            const auto found =
                std::search(in.begin(), in.end(), data.begin(), data.end(),
                            [](char has, char byte) { return byte == '?' || byte == has; });
            const auto place = refused ? found : in.begin();
            const bool there = found != in.end() || data.empty();
            EXPECT_TRUE(there) << path << " has lost bytes of pool " << uuid << ": \"" << data
                               << "\", found \"" << in << "\"";
            EXPECT_EQ(found - in.begin(), place - in.begin()) << path << ", pool " << uuid;
        }
    }
    return code;
}

}  // namespace Faults

#endif
