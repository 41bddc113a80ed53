#ifndef OXBOW_TEST_HOSTILE_VISITOR_H
#define OXBOW_TEST_HOSTILE_VISITOR_H

#include <OxbowPoolManager/OxbowPoolManager.h>

#include <stdexcept>

#include "doubles/RecordingPlatform.h"
#include "hostile/Page.h"

/** Reads everything that a host can reach in files that nobody vouches for, and holds each answer
    and each refusal against a reading of the same bytes by the format's page. What differs is raised
    as std::logic_error. */
namespace Hostile {

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

/** A document over some files and what the page says of them. */
class Visitor {
public:
    using Document = OxbowRpm_Document;

    explicit Visitor(Document::AccessMode mode) : mMode(mode) {}

    /** Gives the code that the file is refused with. */
    int Add(const string& name) {
        const MemoryFile before = At(name);
        const string head = Bytes(before, 0, 9);
        const bool ours = head.size() == 9 && head.compare(0, 8, "\x89OXB\r\n\x1A\n") == 0;
        const int version = ours && head[8] > 0 && head[8] < 7 ? head[8] : 0;
        const int types[] = {0, 2, 2, 1, 1, 1, 1};
        Require(Document::GetFileType(PathOf(name).c_str()) == types[version], "file type");
        vector<Pool> chain;
        const int code = Parse(At(name), chain);
        MemoryFile after = before;
        if (code == Sound && mMode == Document::AccessUpdate && !chain.empty()) {
            after.Write(chain.back().start + 9, "\0\0\0\0\0\0\0", 7);
            after.Write(chain.back().start + 20, "0000000000000000", 16);
        }
        const FennelUnicodeString path(PathOf(name).c_str());
        if (Expect("open", code, [&] { files.push_back(mDocument.AddFile(path, mMode)); })) {
            chains.push_back(chain);
        }
        Require(after == At(name), "bytes written");
        return code;
    }

    void ReadAll() {
        for (std::size_t i = 0; i < files.size(); ++i) {
            Require(files[i].PoolCount() == chains[i].size(), "number of pools");
            if (chains[i].empty()) {
                Expect("no pool", Invalid, [&] { files[i].Start(); });
                Expect("no pool", Invalid, [&] { files[i].Allocate(1); });
            }
            for (unsigned k = 0; k < files[i].PoolCount(); ++k) {
                ReadPool(files[i].Pool(k), chains[i][k]);
            }
        }
    }

    /** Starts a pool behind all others with a text and references to the files' first pools. */
    bool Grow(std::size_t which) {
        OxbowRpm_File& file = files[which];
        vector<Pool>& chain = chains[which];
        const bool tooLong = !chain.empty() && chain.back().length > kLongest;
        if (!Expect("new pool", tooLong ? Bounds : Sound, [&] { file.NewPool(); })) {
            return false;
        }
        if (!chain.empty() && chain.back().DataLength() == 0) {
            chain.pop_back();
        }
        const uint64_t size = 8 + 12 * files.size();
        OxbowRpm_BStreamWriteLocator out(file.Allocate(size), size, 16);
        out.Write("text");
        for (const OxbowRpm_File& target : files) {
            const bool none = target.PoolCount() == 0;
            (none ? OxbowRpm_Locator() : target.Pool(0).Start()).ExternalizeImpl(out);
        }
        return true;
    }
    /** The last one that bears the UUID is the one that is open under it. */
    const Pool* Bound(const string& uuid) const {
        const Pool* bound = nullptr;
        for (const vector<Pool>& chain : chains) {
            for (const Pool& pool : chain) {
                bound = pool.uuids[0] == uuid ? &pool : bound;
            }
        }
        return bound;
    }
    void Close() { mDocument.Close(); }
    /** Closes the last of the files. */
    void CloseLast() {
        mDocument.Close(files.back());
        files.pop_back();
        chains.pop_back();
    }

    vector<OxbowRpm_File> files;
    vector<vector<Pool>> chains;

private:
    void ReadPool(const OxbowRpm_Pool& handle, const Pool& pool) const {
        const char* const uuid = pool.uuids[0].c_str();
        const uint64_t length = pool.DataLength();
        Require(handle.Length() == length, "length of a pool");
        Require(handle.GetGUID().View() == uuid && handle.Directory().GetGUID().View() == uuid,
                "GUID");
        const Pool* const bound = Bound(pool.uuids[0]);
        Look(handle.Start(), bound, 0, std::min<uint64_t>(length, 1 << 16));
        Look(handle.End(), bound, length, 8);
        const bool reads = mMode == Document::AccessReadOnly;
        ReadStream(handle.Start(), *bound, reads ? length : 0, reads ? 16 : 100);
    }
    /** Offsets wrap: the page doesn't bound them, and a read isn't held to its pool. */
    void Look(const OxbowRpm_Locator& place, const Pool* pool, uint64_t offset,
              uint64_t count) const {
        string got(count, '?');
        const uint64_t at = pool == nullptr ? 0 : pool->dataAt + offset;
        if (!Expect("read",
                    pool == nullptr  ? Unbound
                    : at > INT64_MAX ? System
                                     : Sound,
                    [&] { got.resize(place.Read(count, got.data())); })) {
            return;
        }
        Require(got == Bytes(*pool->file, at, count), "bytes read");
        if (mMode == Document::AccessUpdate && !got.empty()) {
            Expect("write", offset < pool->DataLength() ? Sound : Bounds,
                   [&] { place.Write(1, got.data()); });
        }
    }

    /** Texts and references in turn, up to the first that is refused. */
    void ReadStream(const OxbowRpm_Locator& start, const Pool& pool, uint64_t limit,
                    uint64_t buffer) const {
        OxbowRpm_BStreamReadLocator stream(start, limit, buffer);
        uint64_t left = pool.file->length - pool.dataAt, at = pool.dataAt;
        const uint64_t end = limit == 0 ? UINT64_MAX : at + limit;
        const auto refusal = [&](uint64_t count, bool direct) {
            return count > end - at ? Short : !direct && count > left ? TooBig : Sound;
        };
        const auto pass = [&](uint64_t count) {
            left -= std::min(left, count);
            at += count;
        };
        for (int i = 0; i < 30 && (limit != 0 || at - pool.dataAt < pool.DataLength()); ++i) {
            int code = refusal(4, false);
            const uint64_t length = code == Sound ? Number(Bytes(*pool.file, at, 4), 0, 4) : 0;
            pass(4);
            const uint64_t padded = (length + 3) & ~uint64_t{3};
            if (length > kPiece && left >= kPiece) {
                return;  // a file of this size may cost what it holds
            }
            code = code != Sound        ? code
                   : length > INT32_MAX ? Invalid
                                        : refusal(std::min(padded, kPiece), padded > buffer);
            if (code == Sound && padded > kPiece) {  // the file has ended in the first piece
                const uint64_t room = end - at - std::min(left, end - at), last = padded % kPiece;
                code = std::min(padded - kPiece, kPiece) > room ? Short
                       : last != 0 && last <= buffer            ? TooBig
                                                                : Sound;
            }
            FennelString text;
            if (!Expect("text", code, [&] { stream.Read(text); })) {
                return;
            }
            Require(text.View() == Bytes(*pool.file, at, length).c_str(), "text");
            pass(std::min(left, padded));
            code = refusal(12, false);
            const string stored = code == Sound ? Bytes(*pool.file, at, 12) : string(12, '\xFF');
            if (!ReadReference(stream, pool, stored, code)) {
                return;
            }
            pass(12);
        }
    }
    bool ReadReference(OxbowRpm_BStreamReadLocator& stream, const Pool& pool, const string& stored,
                       int code) const {
        const auto slot = static_cast<std::int32_t>(Number(stored, 8, 4));
        const bool known = slot < static_cast<int>(pool.uuids.size());
        OxbowRpm_Locator place;
        if (!Expect("reference", known ? code : Invalid, [&] { place.InternalizeImpl(stream); })) {
            return false;
        }
        Require(place.IsNull() == (slot < 0), "null reference");
        if (slot >= 0) {
            const string& uuid = pool.uuids[static_cast<unsigned>(slot)];
            Require(place.GetGUID().View() == uuid.c_str(), "target's GUID");
            Look(place, Bound(uuid), Number(stored, 0, 8), 8);
        }
        return true;
    }

    static constexpr uint64_t kPiece = 1 << 20;  // a longer text is read in pieces
    const Document::AccessMode mMode;
    Document mDocument{kOwner};
};

/** Reads both files; to modify is to open them for update too, to start a pool in one, and to read
    them again. Gives the code that the first is refused with, or else the second. */
inline int Visit(bool modify, std::size_t grow = 0) {
    TestPlatform::Reset();
    Visitor reader(OxbowRpm_Document::AccessReadOnly);
    const int codes[] = {reader.Add("a"), reader.Add("b")};
    const bool open[] = {codes[0] == Sound, codes[1] == Sound};
    reader.ReadAll();
    reader.Close();
    if (modify) {
        Visitor writer(OxbowRpm_Document::AccessUpdate), again(OxbowRpm_Document::AccessReadOnly);
        Require(writer.Add("a") == codes[0] && writer.Add("b") == codes[1], "refused elsehow");
        writer.ReadAll();
        grow = open[0] && open[1] ? grow % 2 : 0;
        const bool grown = (open[0] || open[1]) && writer.Grow(grow);
        writer.Close();
        Require(again.Add("a") == codes[0] && again.Add("b") == codes[1], "opens no more");
        again.ReadAll();
        if (grown) {
            again.chains[grow].pop_back();
            Require(again.chains[grow] == writer.chains[grow], "earlier pools changed");
        }
    }
    return open[0] ? codes[1] : codes[0];
}

}  // namespace Hostile

#endif
