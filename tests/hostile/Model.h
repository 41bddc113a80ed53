#ifndef OXBOW_TEST_HOSTILE_MODEL_H
#define OXBOW_TEST_HOSTILE_MODEL_H

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest-printers.h>

#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <utility>

#include "doubles/CountingAllocator.h"
#include "doubles/RecordingPlatform.h"
#include "hostile/Page.h"

namespace Hostile {

constexpr auto kRead = OxbowRpm_Document::AccessReadOnly, kUpdate = OxbowRpm_Document::AccessUpdate;

/** What is under way, such as "step 7, append, /memory/a"; every failure begins with it. */
inline string gUnderWay;

inline void Require(bool right, const string& what) {
    if (!right) {
        throw std::logic_error(gUnderWay + ": " + what);
    }
}
template <class Found, class Expected>
void RequireEqual(const string& what, const Found& found, const Expected& expected) {
    if (!(found == expected)) {
        throw std::logic_error(gUnderWay + ": " + what + ": expected " +
                               testing::PrintToString(expected) + ", found " +
                               testing::PrintToString(found));
    }
}
/** Where two runs of bytes differ first, with the bytes there. */
inline void RequireSameBytes(const string& what, const string& found, const string& expected) {
    const auto at = static_cast<std::size_t>(
        std::mismatch(
            found.begin(),
            found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), expected.size())),
            expected.begin())
            .first -
        found.begin());
    RequireEqual(what + ", from byte " + std::to_string(at),
                 found.substr(std::min(at, found.size()), 16),
                 expected.substr(std::min(at, expected.size()), 16));
}
/** Returns the code of what the action raises, 0 for nothing; it must be one of these. */
template <class Action>
int Expect(const string& what, const vector<int>& codes, Action action) {
    int got = Sound;
    try {
        action();
    } catch (const FennelException& failure) {
        got = failure.GetCode();
    }
    const bool allowed = std::count(codes.begin(), codes.end(), got) != 0;
    Require(allowed, what + " raised code " + std::to_string(got) + ", expected one of " +
                         testing::PrintToString(codes));
    return got;
}

/** A document over files that may hold anything, beside the bytes that they must have: every
    answer, every refusal and every byte written is held against the format's page. What differs is
    raised as std::logic_error. */
class Model {
public:
    explicit Model(OxbowRpm_Document::AccessMode mode) : mMode(mode) {}

    /** Returns the code that the file is refused with. */
    int Add(const string& name) {
        MemoryFile& bytes = mBytes.try_emplace(name, MemoryFiles::At(name)).first->second;
        CheckBytes(name);
        const FennelUnicodeString path(name.c_str());
        const string head = Bytes(bytes, 0, 9);
        const bool ours = head.compare(0, 8, kSignature) == 0 && head[8] > 0 && head[8] < 7;
        const int type = !ours ? 0 : head[8] < 3 ? 2 : 1;
        RequireEqual("type of " + name, int{OxbowRpm_Document::GetFileType(path)}, type);
        vector<PoolRef> chain;
        const int code = Parse(bytes, chain, mKnown);
        if (code == Sound && mMode == kUpdate && !chain.empty()) {
            Put(bytes, chain.back()->start, chain.back()->Head(0));
        }
        Expect("open", {code}, [&] {
            mFiles.push_back({name, mDocument->AddFile(path, mMode), chain});
            for (const PoolRef& pool : chain) {
                mBound[pool->uuids[0]] = pool;
            }
        });
        CheckBytes(name);
        return code;
    }

    /** Everything that a host can reach. */
    void ReadAll() {
        TestPlatform::Reset();
        for (const Held& held : mFiles) {
            RequireEqual("pools of " + held.name, held.file.PoolCount(), held.chain.size());
            for (unsigned i = 0; i < held.chain.size(); ++i) {
                ReadPool(held.file.Pool(i), *held.chain[i],
                         held.name + ", pool " + std::to_string(i));
            }
            CheckBytes(held.name);
        }
    }

    enum Operation { kNewPool, kReopen };
    /** One of seven operations on one of the files, or with a pool of another document; the numbers
        choose. A file without pools gets one. */
    void Do(unsigned operation, uint64_t x, uint64_t y, const Model& other) {
        if (mFiles.empty() || other.mFiles.empty()) {
            return;
        }
        Held& held = mFiles[y % mFiles.size()];
        const std::pair<const char*, std::function<void()>> operations[] = {
            {"new pool", [&] { NewPool(held); }},
            {"reopen", [&] { Reopen(x % 2 == 0); }},
            {"allocate", [&] { Allocate(held, 8 * x * y); }},
            {"write", [&] { Write(held, x, y); }},
            {"close files", [&] { CloseFiles(held.file.Start()); }},
            {"flush", [&] { held.file.Flush(); }},
            {"append", [&] { Append(held, other.mFiles[0], y); }}};
        const auto& [what, act] = operations[held.chain.empty() ? 0 : operation % 7];
        gUnderWay += string(", ") + what + " (" + std::to_string(x) + ", " + std::to_string(y) +
                     "), " + held.name;
        act();
    }

private:
    struct Held {
        string name;
        OxbowRpm_File file;
        vector<PoolRef> chain;
    };

    void CheckBytes(const string& name) const {
        const MemoryFile &bytes = mBytes.at(name), &file = MemoryFiles::At(name);
        RequireEqual("length of " + name, file.length, bytes.length);
        if (bytes.pages == file.pages) {
            return;
        }
        const uint64_t some = std::min(bytes.length, 4 * kMost);
        RequireSameBytes("bytes of " + name, Bytes(file, 0, some), Bytes(bytes, 0, some));
        Require(false, "bytes of " + name + " behind the first " + std::to_string(some));
    }
    void ReadPool(const OxbowRpm_Pool& handle, const Pool& pool, const string& what) {
        const PoolRef& bound = mBound[pool.uuids[0]];
        const uint64_t length = pool.DataLength();
        RequireEqual("length of " + what, handle.Length(), length);
        RequireEqual("GUID of " + what, handle.GetGUID().View(), pool.uuids[0].c_str());
        Look(handle.Start(), bound, 0, std::min({length, pool.file->length, kMost}));
        Look(handle.End(), bound, length, 8);
        if (bound != nullptr && bound->DataLength() != 0) {
            ReadStream(handle.Start(), *bound);
        }
    }
    /** Offsets wrap: the page doesn't bound them, and a read isn't held to its pool; a write is. */
    void Look(const OxbowRpm_Locator& place, const PoolRef& pool, uint64_t offset, uint64_t count) {
        string got(count, '?');
        const uint64_t at = pool == nullptr ? 0 : pool->DataAt() + offset;
        const int code = pool == nullptr ? Unbound : at > INT64_MAX ? System : Sound;
        Expect("read", {code}, [&] { got.resize(place.Read(count, got.data())); });
        if (code == Sound) {
            RequireSameBytes("bytes read at offset " + std::to_string(offset), got,
                             Bytes(*pool->file, at, count));
            if (mMode == kUpdate) {
                WriteAt(place, pool, offset, got.substr(0, 8));
            }
        }
    }
    /** Texts and references in turn, up to the first that is refused. */
    void ReadStream(const OxbowRpm_Locator& start, const Pool& pool) {
        OxbowRpm_BStreamReadLocator stream(start, pool.DataLength(), mMode == kRead ? 16 : 100);
        uint64_t at = pool.DataAt();
        for (int i = 0; i < 30 && at <= pool.End() && ReadText(stream, pool, at); ++i) {
            at = ReadReference(stream, pool, at) ? at + 12 : UINT64_MAX;
        }
    }
    static bool ReadText(OxbowRpm_BStreamReadLocator& stream, const Pool& pool, uint64_t& at) {
        const uint64_t left = pool.End() - at;
        const string stored = Bytes(*pool.file, at, left < 4 ? 0 : 4) + string(4, '\0');
        const uint64_t length = Number(stored, 0, 4), size = 4 + (length + 3) / 4 * 4;
        if (length > kMost && left > kMost) {
            return false;  // a file of this size may cost what it holds
        }
        const bool whole = length <= INT32_MAX && size <= left;
        const vector<int> right = {Sound}, any = {Sound, Invalid, Short, TooBig};
        FennelString text;
        const int code = Expect("text", whole ? right : any, [&] { stream.Read(text); });
        if (code == Sound) {
            RequireSameBytes("text at byte " + std::to_string(at), string(text.View()),
                             Bytes(*pool.file, at + 4, length).c_str());
        }
        at += size;
        return whole;
    }
    bool ReadReference(OxbowRpm_BStreamReadLocator& stream, const Pool& pool, uint64_t at) {
        const string stored =
            Bytes(*pool.file, at, pool.End() < at + 12 ? 0 : 12) + string(12, '\x7F');
        const auto slot = static_cast<std::int32_t>(Number(stored, 8, 4));
        const bool known = slot < static_cast<int>(pool.uuids.size());
        const vector<int> right = {Sound}, refusals = {Invalid, Short, TooBig};
        OxbowRpm_Locator place;
        Expect("reference", known ? right : refusals, [&] { place.InternalizeImpl(stream); });
        RequireEqual("null reference at byte " + std::to_string(at), place.IsNull(),
                     slot < 0 || !known);
        if (!place.IsNull()) {
            const string& uuid = pool.uuids[static_cast<unsigned>(slot)];
            RequireEqual("GUID that byte " + std::to_string(at) + " leads to",
                         place.GetGUID().View(), uuid.c_str());
            Look(place, mBound[uuid], Number(stored, 0, 8), 8);
        }
        return known;
    }
    static void WriteAt(const OxbowRpm_Locator& place, const PoolRef& pool, uint64_t offset,
                        const string& bytes) {
        const uint64_t length = pool == nullptr ? 0 : pool->DataLength();
        const bool fits = offset <= length && bytes.size() <= length - offset;
        const int code = pool == nullptr ? Unbound : fits ? Sound : Bounds;
        Expect("write", {code}, [&] { place.Write(bytes.size(), bytes.data()); });
        if (code == Sound) {
            Put(*pool->file, pool->DataAt() + offset, bytes);
        }
    }
    void Write(const Held& held, uint64_t x, uint64_t offset) {
        const auto index = static_cast<unsigned>(x % held.chain.size());
        string bytes(x * x * 5 % 300007, '\0');
        std::generate(bytes.begin(), bytes.end(), std::minstd_rand(static_cast<unsigned>(offset)));
        const PoolRef& bound = mBound[held.chain[index]->uuids[0]];
        WriteAt(held.file.Pool(index).Start() + offset, bound, offset, bytes);
    }
    static void Allocate(Held& held, uint64_t size) {
        Pool& last = *held.chain.back();
        const bool fits = last.length <= kLongest && size <= kLongest - last.length;
        Expect("allocate", {fits ? Sound : Bounds}, [&] { held.file.Allocate(size); });
        last.length += fits ? size : 0;
    }
    void NewPool(Held& held) {
        const bool fits = held.chain.empty() || held.chain.back()->length <= kLongest;
        if (Expect("new pool", {fits ? Sound : Bounds}, [&] { held.file.NewPool(); }) != Sound) {
            return Reopen(false);  // the document has learned a UUID that can't be asked for
        }
        Pool pool{{string(held.file.Pool().GetGUID().View())}};
        pool.uuids.insert(pool.uuids.end(), mKnown.begin(), mKnown.end());
        pool.length = pool.DataAt();
        Grow(held, pool, "");
    }
    void Append(Held& held, const Held& from, uint64_t y) {
        if (from.chain.empty()) {
            return;
        }
        const auto index = static_cast<unsigned>(y % from.chain.size());
        const Pool& pool = *from.chain[index];
        if (pool.End() - pool.start > 4 * kMost) {
            return;  // a copy costs what the file seems to hold
        }
        const string copied = Bytes(*pool.file, pool.start, pool.length);
        const bool bound = mBound[pool.uuids[0]] != nullptr;
        const bool fits = held.chain.back()->length <= kLongest;
        const int code = bound                         ? Here
                         : copied.size() < pool.length ? ShortPool
                         : !fits                       ? Bounds
                                                       : Sound;
        Expect("append", {code}, [&] { held.file.AppendPool(from.file.Pool(index)); });
        if (code == Sound) {
            Grow(held, pool, copied);
        }
    }
    /** Behind the last pool, or in its place if it has no data. */
    void Grow(Held& held, Pool pool, const string& copied) {
        vector<PoolRef>& chain = held.chain;
        pool.file = &mBytes.at(held.name);
        pool.start = chain.empty() ? 0 : chain.back()->start + chain.back()->length;
        if (!chain.empty() && chain.back()->DataLength() == 0) {
            pool.start = chain.back()->start;
            mBound.erase(chain.back()->uuids[0]);
            chain.pop_back();
        }
        if (!chain.empty()) {
            Put(*pool.file, chain.back()->start, chain.back()->Head(chain.back()->length));
        }
        Put(*pool.file, pool.start, copied);
        Put(*pool.file, pool.start, pool.Head(0));
        chain.push_back(mBound[pool.uuids[0]] = std::make_shared<Pool>(pool));
        vector<PoolRef> parsed;
        RequireEqual("code of the chain of " + held.name, Parse(*pool.file, parsed, mKnown), Sound);
    }

    /** A locator waits for its file. */
    void CloseFiles(const OxbowRpm_Locator& live) {
        for (const Held& held : mFiles) {
            mDocument->Close(held.file);
        }
        Look(live, nullptr, 0, 1);
        AddAgain();
    }
    /** The document ends, closed or as a writer that stops, and another begins. */
    void Reopen(bool closes) {
        if (closes) {
            mDocument->Close();
        }
        mDocument = std::make_unique<OxbowRpm_Document>(kOwner);
        mKnown.clear();
        AddAgain();
    }
    void AddAgain() {
        mBound.clear();
        for (const Held& held : std::exchange(mFiles, {})) {
            RequireEqual("code of opening " + held.name + " again", Add(held.name), Sound);
        }
    }

    static constexpr uint64_t kMost = 1 << 20;  // bytes read at once
    const OxbowRpm_Document::AccessMode mMode;
    std::unique_ptr<OxbowRpm_Document> mDocument = std::make_unique<OxbowRpm_Document>(kOwner);
    vector<Held> mFiles;
    vector<string> mKnown;                // UUIDs in the order of the document's map
    std::map<string, PoolRef> mBound;     // what they lead to
    std::map<string, MemoryFile> mBytes;  // that the files must have
};

/** What was there before is gone, with every block of the library. */
inline void Begin(const string& a, const string& b) {
    RequireEqual("blocks that the case before has left", TestAllocator::LiveBlocks(), 0);
    SetFiles(a, b);
}
/** Reads both files, for update with a new pool in one. Returns the code of the first refusal. */
inline int Visit(OxbowRpm_Document::AccessMode mode, const string& a, const string& b) {
    Begin(a, b);
    Model model(mode);
    gUnderWay = mode == kRead ? "read" : "update";
    const int first = model.Add(kA), second = model.Add(kB);
    model.ReadAll();
    if (mode == kUpdate) {
        gUnderWay = "a pool more";
        model.Do(Model::kNewPool, 0, 0, model);
        model.Do(Model::kReopen, 0, 0, model);
        model.ReadAll();
    }
    return first == Sound ? second : first;
}
/** Two documents of a file each, which copy each other's pools; three bytes make an operation. */
inline void Operate(const string& a, const string& b, const vector<unsigned char>& steps) {
    Begin(a, b);
    Model models[] = {Model(kUpdate), Model(kUpdate)};
    models[0].Add(kA);
    models[1].Add(kB);
    for (std::size_t i = 0; i + 2 < steps.size(); i += 3) {
        Model &model = models[steps[i] / 128], &other = models[1 - steps[i] / 128];
        gUnderWay =
            "step " + std::to_string(i / 3) + ", document " + std::to_string(steps[i] / 128);
        model.Do(steps[i], steps[i + 1], steps[i + 2], other);
        model.ReadAll();
    }
}

}  // namespace Hostile

#endif
