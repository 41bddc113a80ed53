#ifndef OXBOW_TEST_HOSTILE_MODEL_H
#define OXBOW_TEST_HOSTILE_MODEL_H

#include <OxbowPoolManager/OxbowPoolManager.h>

#include <memory>
#include <set>
#include <stdexcept>

#include "doubles/RecordingPlatform.h"
#include "hostile/Page.h"

namespace Hostile {

constexpr auto kRead = OxbowRpm_Document::AccessReadOnly, kUpdate = OxbowRpm_Document::AccessUpdate;

inline void Require(bool right, const char* what) {
    right ? void() : throw std::logic_error(what);
}
/** The code of what the action raises, 0 for none. */
template <class Action>
int CodeOf(Action action) {
    try {
        action();
    } catch (const FennelException& failure) {
        return failure.GetCode();
    }
    return Sound;
}
/** Raises unless the action does as told; gives whether it raised nothing. */
template <class Action>
bool Expect(const char* what, int code, Action action) {
    const int got = CodeOf(action);
    if (got != code) {
        throw std::logic_error(what + (": " + std::to_string(got)) + ", not " +
                               std::to_string(code));
    }
    return code == Sound;
}

/** A document over files that nobody vouches for, beside the bytes that they must have: every answer,
    every refusal and every byte written is held against the format's page. What differs is raised as
    std::logic_error. */
class Model {
public:
    explicit Model(OxbowRpm_Document::AccessMode mode) : mMode(mode) {}

    /** Gives the code that the file is refused with. */
    int Add(const string& name) {
        const string head = Bytes(At(name), 0, 9);
        const bool ours = head.size() == 9 && head.compare(0, 8, "\x89OXB\r\n\x1A\n") == 0;
        const int version = ours && head[8] > 0 && head[8] < 7 ? head[8] : 0;
        const FennelUnicodeString path(PathOf(name).c_str());
        Require(OxbowRpm_Document::GetFileType(path) == "\0\2\2\1\1\1\1"[version], "file type");
        MemoryFile bytes = At(name);
        vector<Pool> chain;
        const int code = Parse(At(name), chain, mKnown);
        if (code == Sound && mMode == kUpdate && !chain.empty()) {
            WriteHeader(bytes, chain.back(), 0);
        }
        Expect("open", code, [&] {
            mFiles.push_back({name, mDocument->AddFile(path, mMode), chain, bytes});
        });
        for (const Pool& pool : code == Sound ? chain : vector<Pool>()) {
            mGone.erase(pool.uuids[0]);
        }
        Require(bytes == At(name), "bytes written at the opening");
        return code;
    }

    /** Everything that a host can reach. */
    void ReadAll() const {
        for (const Held& held : mFiles) {
            OxbowRpm_File file = held.file;
            Require(file.PoolCount() == held.chain.size(), "number of pools");
            if (held.chain.empty()) {
                Expect("no pool", Invalid, [&] { file.Start(); });
                Expect("no pool", Invalid, [&] { file.Allocate(1); });
            }
            for (unsigned k = 0; k < held.chain.size(); ++k) {
                ReadPool(file.Pool(k), held.chain[k]);
            }
            Require(held.bytes == At(held.name), "bytes of the file");
        }
    }

    enum Operation { kAllocate, kWrite, kNewPool, kFlush, kCloseFile, kReopen, kAppend, kRefer };
    /** An operation on one of the files, or with a pool of another document; the numbers choose. */
    void Do(unsigned operation, uint64_t x, uint64_t y, Model& other) {
        TestPlatform::Reset();
        if (mFiles.empty()) {
            return;
        }
        const std::size_t which = y % mFiles.size();
        Held& held = mFiles[which];
        switch (held.chain.empty() ? static_cast<unsigned>(kNewPool) : operation % 8) {
            case kNewPool:
                return NewPool(held);
            case kAppend:
                return Append(held, other.mFiles.at(0), y);
            case kAllocate:
                return static_cast<void>(Allocate(held, x * y));
            case kWrite:
                return Write(held, x, y);
            case kFlush:
                held.file.Flush();
                return WriteHeader(held.bytes, held.chain.back(), 0);
            case kCloseFile:
                return CloseFile(which);
            case kReopen:
                return Reopen(x % 2 == 0);
            default:
                return Refer(held, x, y);
        }
    }

private:
    struct Held {
        string name;
        OxbowRpm_File file;
        vector<Pool> chain;
        MemoryFile bytes;  // that it must have
    };

    /** What the UUID leads to: the pool that was opened last, unless it is gone since. */
    const Pool* Bound(const string& uuid) const {
        const Pool* bound = nullptr;
        for (const Held& held : mFiles) {
            for (const Pool& pool : held.chain) {
                bound = pool.uuids[0] == uuid ? &pool : bound;
            }
        }
        return mGone.count(uuid) == 0 ? bound : nullptr;
    }

    void ReadPool(const OxbowRpm_Pool& handle, const Pool& pool) const {
        const char* const uuid = pool.uuids[0].c_str();
        Require(handle.Length() == pool.DataLength(), "length of a pool");
        Require(handle.GetGUID().View() == uuid && handle.Directory().GetGUID().View() == uuid,
                "GUID");
        const Pool* const bound = Bound(pool.uuids[0]);
        Look(handle.Start(), bound, 0, std::min(pool.DataLength(), pool.file->length + 8));
        Look(handle.End(), bound, pool.DataLength(), 8);
        bound != nullptr ? ReadStream(handle.Start(), *bound) : void();
    }
    /** Offsets wrap: the page doesn't bound them, and a read isn't held to its pool. */
    void Look(const OxbowRpm_Locator& place, const Pool* pool, uint64_t offset,
              uint64_t count) const {
        string got(std::min(count, kPiece), '?');
        const uint64_t at = pool == nullptr ? 0 : pool->DataAt() + offset;
        const int code = pool == nullptr ? Unbound : at > INT64_MAX ? System : Sound;
        if (!Expect("read", code, [&] { got.resize(place.Read(got.size(), got.data())); })) {
            return;
        }
        Require(got == Bytes(*pool->file, at, std::min(count, kPiece)), "bytes read");
        const uint64_t some = got.empty() ? 1 : std::min<uint64_t>(got.size(), 8),
                       length = pool->DataLength();
        const bool inside = some <= length && offset <= length - some;
        if (mMode == kUpdate && (!inside || !got.empty())) {
            Expect("write", inside ? Sound : Bounds, [&] { place.Write(some, got.data()); });
        }
    }
    /** Texts and references in turn, up to the first that is refused. */
    void ReadStream(const OxbowRpm_Locator& start, const Pool& pool) const {
        const bool reads = mMode == kRead;
        const uint64_t limit = reads ? pool.DataLength() : 0;  // 0 is none
        OxbowRpm_BStreamReadLocator stream(start, limit, reads ? 16 : 100);
        uint64_t at = pool.DataAt();
        const uint64_t end = limit == 0 ? UINT64_MAX : at + limit;
        for (int i = 0; i < 30 && (limit != 0 || at < pool.start + pool.length); ++i) {
            if (!ReadText(stream, *pool.file, at, end) || !ReadReference(stream, pool, at, end)) {
                return;
            }
        }
    }
    bool ReadText(OxbowRpm_BStreamReadLocator& stream, const MemoryFile& file, uint64_t& at,
                  uint64_t end) const {
        const uint64_t most = std::min(end, file.length), left = most - std::min(at, most);
        const string stored = Bytes(file, at, left < 4 ? 0 : 4);
        const uint64_t length = left < 4 ? 0 : Number(stored, 0, 4),
                       next = 4 + (length + 3) / 4 * 4;
        if (length > kPiece && left > kPiece) {
            return false;  // a file of this size may cost what it holds
        }
        FennelString text;
        const int code = CodeOf([&] { stream.Read(text); });
        const bool refused = code == Short || code == TooBig;
        Require(length > INT32_MAX ? code == Invalid
                : next <= left     ? code == Sound
                                   : refused || (code == Sound && left >= 4 && end > file.length),
                "refusal of a text");
        Require(code != Sound || text.View() == Bytes(file, at + 4, length).c_str(), "text");
        at += next;
        return code == Sound && next <= left;
    }
    bool ReadReference(OxbowRpm_BStreamReadLocator& stream, const Pool& pool, uint64_t& at,
                       uint64_t end) const {
        const bool there = std::min(end, pool.file->length) - at >= 12;
        const string stored = there ? Bytes(*pool.file, at, 12) : string(12, '\xFF');
        const auto slot = static_cast<std::int32_t>(Number(stored, 8, 4));
        const bool known = slot < static_cast<int>(pool.uuids.size());
        OxbowRpm_Locator place;
        const int code = CodeOf([&] { place.InternalizeImpl(stream); });
        Require(there ? code == (known ? Sound : Invalid) : code == Short || code == TooBig,
                "refusal of a reference");
        if (code != Sound) {
            return false;
        }
        at += 12;
        Require(place.IsNull() == (slot < 0), "null reference");
        if (slot >= 0) {
            const string& uuid = pool.uuids[static_cast<unsigned>(slot)];
            Require(place.GetGUID().View() == uuid.c_str(), "target's GUID");
            Look(place, Bound(uuid), Number(stored, 0, 8), 8);
        }
        return true;
    }

    /** As the library does; the words are those that the bytes hold. */
    static void WriteHeader(MemoryFile& bytes, const Pool& pool, uint64_t length) {
        string header = "\x89OXB\r\n\x1A\n\6" + string(7, '\0') + kOwner + Decimal(length);
        header += Bytes(bytes, pool.start + 36, 8) + Little(pool.uuids.size(), 4);
        for (const string& uuid : pool.uuids) {
            header += uuid;
        }
        bytes.Write(pool.start, header.data(), header.size());
    }
    static bool TooLong(const Held& held) {
        return !held.chain.empty() && held.chain.back().length > kLongest;
    }
    /** Where the next pool starts: in the place of a last one without data. */
    uint64_t MakeWay(Held& held) {
        if (held.chain.empty()) {
            return 0;
        }
        const Pool last = held.chain.back();
        if (last.DataLength() == 0) {
            mGone.insert(last.uuids[0]);
            held.chain.pop_back();
            return last.start;
        }
        return last.start + last.length;
    }
    /** A pool of which all but the header's length stands in the bytes. */
    void Grow(Held& held, const Pool& pool) {
        if (!held.chain.empty()) {
            WriteHeader(held.bytes, held.chain.back(), held.chain.back().length);
        }
        WriteHeader(held.bytes, pool, 0);
        held.chain.push_back(pool);
        Learn(mKnown, pool.uuids);
        mGone.erase(pool.uuids[0]);
    }

    bool Allocate(Held& held, uint64_t size) {
        Pool& last = held.chain.back();
        const bool fits = last.length <= kLongest && size <= kLongest - last.length;
        if (Expect("allocate", fits ? Sound : Bounds, [&] {
                const OxbowRpm_Locator place = held.file.Allocate(size);
                Require(place == held.file.Start() + last.DataLength(), "place of a range");
            })) {
            last.length += size;
        }
        return fits;
    }
    void Write(Held& held, uint64_t x, uint64_t offset) {
        const auto index = static_cast<unsigned>(x % held.chain.size());
        const Pool* const pool = Bound(held.chain[index].uuids[0]);
        string bytes(x * x % 300007, '\0');
        std::generate(bytes.begin(), bytes.end(), [n = unsigned(offset)]() mutable {
            return static_cast<char>(++n * 2654435761u >> 17);
        });
        const uint64_t length = pool == nullptr ? 0 : pool->DataLength();
        const bool fits = offset <= length && bytes.size() <= length - offset;
        const auto write = [&] {
            (held.file.Pool(index).Start() + offset).Write(bytes.size(), bytes.data());
        };
        if (Expect("write", pool == nullptr ? Unbound : fits ? Sound : Bounds, write)) {
            for (Held& one : mFiles) {
                if (&At(one.name) == pool->file) {
                    one.bytes.Write(pool->DataAt() + offset, bytes.data(), bytes.size());
                }
            }
        }
    }
    void NewPool(Held& held) {
        if (!Expect("new pool", TooLong(held) ? Bounds : Sound, [&] { held.file.NewPool(); })) {
            return Reopen(false);  // the document has learned a UUID that nobody can tell
        }
        Pool pool{&At(held.name), MakeWay(held), 0, {string(held.file.Pool().GetGUID().View())}};
        pool.uuids.insert(pool.uuids.end(), mKnown.begin(), mKnown.end());
        pool.length = 48 + 32 * pool.uuids.size();
        held.bytes.Write(pool.start + 36, "\2\0\0\0\0\0\0\0", 8);
        Grow(held, pool);
    }
    void Append(Held& held, const Held& from, uint64_t y) {
        const auto index = static_cast<unsigned>(y % from.chain.size());
        Pool pool = from.chain.at(index);
        const bool bound = Bound(pool.uuids[0]) != nullptr;
        if (TooLong(held) && !bound) {
            return;  // it would leave the copy behind
        }
        const string copied = Bytes(*pool.file, pool.start, pool.length);
        const int code = bound ? Here : copied.size() < pool.length ? ShortPool : Sound;
        if (Expect("append", code, [&] { held.file.AppendPool(from.file.Pool(index)); })) {
            pool.file = &At(held.name);
            pool.start = MakeWay(held);
            held.bytes.Write(pool.start, copied.data(), copied.size());
            Grow(held, pool);
        }
    }
    /** Stores a text and a reference to a pool in the last one. */
    void Refer(Held& held, uint64_t x, uint64_t offset) {
        const Held& to = mFiles[x % mFiles.size()];
        const Pool& last = held.chain.back();
        if (to.chain.empty() || Bound(last.uuids[0]) != &last || !Allocate(held, 20)) {
            return;
        }
        const auto index = static_cast<unsigned>(x % to.chain.size());
        const auto found =
            std::find(last.uuids.begin(), last.uuids.end(), to.chain[index].uuids[0]);
        const bool known = found != last.uuids.end();
        OxbowRpm_BStreamWriteLocator(held.file.End() - 20, 8, 16).Write("text");
        Expect("refer", known ? Sound : Unknown, [&] {
            OxbowRpm_BStreamWriteLocator out(held.file.End() - 12, 12, 16);
            (to.file.Pool(index).Start() + offset).ExternalizeImpl(out);
        });
        const string slot = Little(static_cast<uint64_t>(found - last.uuids.begin()), 4);
        const string stored = known ? Little(offset, 8) + slot : string(12, '\0');
        held.bytes.Write(last.start + last.length - 20, ("\4" + string(3, '\0') + "text").data(),
                         8);
        held.bytes.Write(last.start + last.length - 12, stored.data(), 12);
    }

    void AddAgain(const Held& held) {
        Require(held.bytes == At(held.name), "bytes of a file that was closed");
        Require(Add(held.name) == Sound, "opens no more");
    }
    /** A locator waits for its file. */
    void CloseFile(std::size_t which) {
        Held held = mFiles[which];
        const OxbowRpm_Locator live = held.file.Start();
        mDocument->Close(held.file);
        mFiles.erase(mFiles.begin() + static_cast<std::ptrdiff_t>(which));
        for (const Pool& pool : held.chain) {
            mGone.insert(pool.uuids[0]);
        }
        char byte = 0;
        Expect("read of a closed file", Unbound, [&] { live.Read(1, &byte); });
        WriteHeader(held.bytes, held.chain.back(), 0);
        AddAgain(held);
        Require(live == mFiles.back().file.Start(), "locator from before");
    }
    /** The document ends, closed or as a writer that stops, and another begins. */
    void Reopen(bool closes) {
        vector<Held> old;
        old.swap(mFiles);
        closes ? mDocument->Close() : void();
        mDocument = std::make_unique<OxbowRpm_Document>(kOwner);
        mKnown.clear();
        mGone.clear();
        for (Held& held : old) {
            if (closes && !held.chain.empty()) {
                WriteHeader(held.bytes, held.chain.back(), 0);
            }
            AddAgain(held);
        }
    }

    static constexpr uint64_t kPiece = 1 << 20;  // a longer text is read in pieces
    const OxbowRpm_Document::AccessMode mMode;
    std::unique_ptr<OxbowRpm_Document> mDocument = std::make_unique<OxbowRpm_Document>(kOwner);
    vector<Held> mFiles;
    vector<string> mKnown;   // UUIDs in the order of the document's map
    std::set<string> mGone;  // those that lead nowhere now
};

/** Reads both files; to modify is to open them for update too, and to start a pool in one, with a
    reference. Gives the code that the first is refused with, or else the second. */
inline int Visit(bool modify, unsigned which = 0) {
    int codes[2] = {};
    TestPlatform::Reset();
    for (const auto mode : {kRead, kUpdate}) {
        Model model(mode);
        codes[0] = model.Add("a");
        codes[1] = model.Add("b");
        model.ReadAll();
        if (mode == kUpdate) {
            for (const unsigned step : {Model::kNewPool, Model::kRefer, Model::kReopen}) {
                model.Do(step, 0, which, model);
            }
            model.ReadAll();
        } else if (!modify) {
            break;
        }
    }
    return codes[0] == Sound ? codes[1] : codes[0];
}

}  // namespace Hostile

#endif
