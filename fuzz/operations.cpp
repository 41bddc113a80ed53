// A file and operations on it, held against a plain model: the bytes that the file must have.
// Input: the number of operations, three bytes for each, and the file.

#include <memory>

#include "hostile/NamedFiles.h"

namespace Hostile {

class Model {
public:
    explicit Model(const string& file) {
        static const Sample sample;
        MemoryFiles::All().clear();
        TestPlatform::Reset();
        At("a").Set(file);
        At("b").Set(sample.b);
        mOther.Add("b");
        Open();
    }
    bool Usable() const { return !mVisitor->files.empty(); }

    void Do(unsigned operation, uint64_t x, uint64_t y) {
        vector<Pool>& chain = mVisitor->chains[0];
        if (operation % 4 != 2 && chain.empty()) {
            return;
        }
        const auto index = static_cast<unsigned>(chain.empty() ? 0 : x % chain.size());
        switch (operation % 8) {
            case 0:
                return static_cast<void>(Allocate(x * y));
            case 1:
                return Write(index, y);
            case 2:
                return NewPool();
            case 3:
                File().Flush();
                return WriteHeader(chain.back(), 0);
            case 4:
                WriteHeader(chain.back(), 0);
                mVisitor->CloseLast();
                return Add();
            case 5:
                return Open();  // as a writer that stopped leaves it
            case 6:
                return Append();
            default:
                return Refer(index, y);
        }
    }
    void Check() {
        Require(mBytes == At("a"), "bytes of the file");
        mVisitor->ReadAll();
        Require(mBytes == At("a"), "bytes of the file after reading");
    }

private:
    OxbowRpm_File& File() { return mVisitor->files[0]; }
    vector<Pool>& Chain() { return mVisitor->chains[0]; }

    void Open() {
        mVisitor = std::make_unique<Visitor>(OxbowRpm_Document::AccessUpdate);
        mKnown.clear();
        Add();
    }
    void Add() {
        Require(mBytes.length == 0 || mBytes == At("a"), "bytes of the file that was closed");
        const bool opened = mVisitor->Add("a") == Sound;
        Require(opened || mBytes.length == 0, "opens no more");
        mBytes = At("a");  // which Add has held against what was there
        for (const Pool& pool : opened ? Chain() : vector<Pool>()) {
            Learn(pool.uuids);
        }
    }
    void Learn(const vector<string>& uuids) {
        for (const string& uuid : uuids) {
            if (std::find(mKnown.begin(), mKnown.end(), uuid) == mKnown.end()) {
                mKnown.push_back(uuid);
            }
        }
    }
    void WriteHeader(const Pool& pool, uint64_t length, const string& words = "") {
        string header = "\x89OXB\r\n\x1A\n\6" + string(7, '\0') + kOwner + Decimal(length);
        header += words.empty() ? Bytes(mBytes, pool.start + 36, 8) : words;
        header += Little(pool.uuids.size(), 4);
        for (const string& uuid : pool.uuids) {
            header += uuid;
        }
        mBytes.Write(pool.start, header.data(), header.size());
    }
    /** Where the next pool starts. */
    uint64_t MakeWay() {
        if (!Chain().empty() && Chain().back().DataLength() == 0) {
            const uint64_t start = Chain().back().start;
            Chain().pop_back();
            return start;
        }
        return Chain().empty() ? 0 : Chain().back().start + Chain().back().length;
    }
    bool TooLong() { return !Chain().empty() && Chain().back().length > kLongest; }
    void Put(const Pool& pool, const string& words) {
        if (!Chain().empty()) {
            WriteHeader(Chain().back(), Chain().back().length);
        }
        WriteHeader(pool, 0, words);
        Chain().push_back(pool);
    }

    bool Allocate(uint64_t size) {
        Pool& last = Chain().back();
        const bool fits = last.length <= kLongest && size <= kLongest - last.length;
        if (Expect("allocate", fits ? Sound : Bounds, [&] { File().Allocate(size); })) {
            last.length += size;
        }
        return fits;
    }
    void Write(unsigned index, uint64_t offset) {
        const Pool& pool = *mVisitor->Bound(Chain()[index].uuids[0]);
        const string bytes(17, static_cast<char>(offset));
        const bool fits =
            pool.DataLength() >= bytes.size() && offset <= pool.DataLength() - bytes.size();
        if (Expect("write", fits ? Sound : Bounds, [&] {
                (File().Pool(index).Start() + offset).Write(bytes.size(), bytes.data());
            })) {
            mBytes.Write(pool.dataAt + offset, bytes.data(), bytes.size());
        }
    }
    void NewPool() {
        const bool sound =
            Expect("new pool", TooLong() ? Bounds : Sound, [&] { File().NewPool(); });
        if (!sound) {
            return Open();  // the document has learned a UUID that nobody can tell
        }
        const uint64_t start = MakeWay();
        Pool pool{&At("a"), start, 0, 0, {string(File().Pool().GetGUID().View())}};
        pool.uuids.insert(pool.uuids.end(), mKnown.begin(), mKnown.end());
        pool.length = 48 + 32 * pool.uuids.size();
        pool.dataAt = start + pool.length;
        Put(pool, Little(2, 8));
        Learn(pool.uuids);
    }
    void Append() {
        Pool pool = mOther.chains[0][0];
        const bool bound = mVisitor->Bound(pool.uuids[0]) != nullptr;
        if (TooLong() && !bound) {
            return;  // it would leave the copy behind
        }
        if (Expect("append", bound ? AlreadyBound : Sound,
                   [&] { File().AppendPool(mOther.files[0].Pool(0)); })) {
            const string copied = Bytes(*pool.file, 0, pool.length);
            pool.file = &At("a");
            pool.start = MakeWay();
            pool.dataAt += pool.start;
            mBytes.Write(pool.start, copied.data(), copied.size());
            Put(pool, "");
            Learn(pool.uuids);
        }
    }
    /** Stores a reference to a pool in the last one. */
    void Refer(unsigned index, uint64_t offset) {
        const Pool& last = Chain().back();
        if (mVisitor->Bound(last.uuids[0]) != &last || !Allocate(12)) {
            return;
        }
        const auto found = std::find(last.uuids.begin(), last.uuids.end(), Chain()[index].uuids[0]);
        const bool known = found != last.uuids.end();
        const auto slot = static_cast<uint64_t>(found - last.uuids.begin());
        Expect("refer", known ? Sound : Unknown, [&] {
            OxbowRpm_BStreamWriteLocator out(File().End() - 12, 12, 16);
            (File().Pool(index).Start() + offset).ExternalizeImpl(out);
        });
        const string stored = known ? Little(offset, 8) + Little(slot, 4) : string(12, '\0');
        mBytes.Write(last.start + last.length - 12, stored.data(), 12);
    }

    static constexpr int Unknown = 3, AlreadyBound = 16;
    Visitor mOther{OxbowRpm_Document::AccessReadOnly};
    std::unique_ptr<Visitor> mVisitor;
    MemoryFile mBytes;
    vector<string> mKnown;  // UUIDs in the order of the document's map
};

}  // namespace Hostile

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static FILE* const quiet = stderr = std::fopen("/dev/null", "w");  // reports of validations
    const std::size_t count = size == 0 || quiet == nullptr ? 0 : data[0] % 32u;
    if (size <= 3 * count) {
        return 0;
    }
    const unsigned char* step = data + 1;
    const unsigned char* const file = step + 3 * count;
    Hostile::Model model(std::string(file, data + size));
    for (; step < file && model.Usable(); step += 3) {
        model.Do(step[0], step[1], step[2]);
        model.Check();
    }
    return 0;
}
