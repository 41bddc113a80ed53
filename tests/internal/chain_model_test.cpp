// The pool chain under random work, held against a plain model of the same files as byte strings.

#include <algorithm>
#include <random>
#include <vector>

#include "internal/TestFolder.h"

namespace {

using std::size_t;
using std::string;
using std::vector;

struct ModelPool {
    string uuid;
    vector<string> directory;
    size_t start;
    size_t length;

    size_t DataAt() const { return start + 48 + 32 * directory.size(); }
    size_t DataLength() const { return start + length - DataAt(); }
};

struct ModelFile {
    string bytes;  // what has been written
    size_t end = 0;
    vector<ModelPool> pools;

    void Write(size_t at, const string& data) {
        bytes.resize(std::max(bytes.size(), at + data.size()), '\0');
        bytes.replace(at, data.size(), data);
    }
    void WriteHeader(const ModelPool& pool, bool sealed) {
        const string digits = std::to_string(sealed ? pool.length : 0);
        string header("\x89OXB\r\n\x1A\n\x06", 9);
        header += string(7, '\0') + "MODL" + string(16 - digits.size(), '0') + digits;
        const auto count = static_cast<char>(pool.directory.size());
        header += string("\2\0\0\0\0\0\0\0", 8) + count + string(3, '\0');
        for (const string& uuid : pool.directory) {
            header += uuid;
        }
        Write(pool.start, header);
        end = std::max(end, pool.start + header.size());
    }
    void DropEmpty() {
        if (!pools.empty() && pools.back().DataLength() == 0) {
            end = pools.back().start;
            pools.pop_back();
        }
    }
    void Add(const ModelPool& pool) {
        if (!pools.empty()) {
            WriteHeader(pools.back(), true);
        }
        pools.push_back(pool);
        WriteHeader(pool, false);
    }
    void Reopen() {
        end = bytes.size();
        pools.back().length = end - pools.back().start;
    }
};

/** A document of one file and its model. The map of a document only grows, so its UUIDs are a list.
 */
struct Pair {
    string name;
    std::unique_ptr<OxbowRpm_Document> document;
    std::unique_ptr<OxbowRpm_File> file;
    vector<string> known;
    ModelFile model;

    void Learn(const vector<string>& uuids) {
        for (const string& uuid : uuids) {
            if (std::find(known.begin(), known.end(), uuid) == known.end()) {
                known.push_back(uuid);
            }
        }
    }
};

class ChainModel : public TestFolder, public testing::WithParamInterface<unsigned> {
protected:
    size_t Below(size_t limit) {
        return std::uniform_int_distribution<size_t>(0, limit - 1)(mRandom);
    }
    string Random(size_t length) {
        string bytes(length, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(mRandom()); });
        return bytes;
    }

    void Open(Pair& pair, OxbowRpm_Document::AccessMode mode) {
        pair.document = std::make_unique<OxbowRpm_Document>("MODL");
        pair.known.clear();
        AddFile(pair, mode);
    }
    void AddFile(Pair& pair, OxbowRpm_Document::AccessMode mode) {
        pair.file = std::make_unique<OxbowRpm_File>(pair.document->AddFile(Name(pair.name), mode));
        if (mode == OxbowRpm_Document::AccessCreate) {
            NoteNewPool(pair);
        } else {
            pair.model.Reopen();
            for (const ModelPool& pool : pair.model.pools) {
                pair.Learn(pool.directory);
            }
        }
    }
    void NoteNewPool(Pair& pair) {
        ModelPool pool;
        pool.uuid = Text(pair.file->Pool().GetGUID());
        pool.directory = {pool.uuid};
        pool.directory.insert(pool.directory.end(), pair.known.begin(), pair.known.end());
        pair.known.push_back(pool.uuid);
        pair.model.DropEmpty();
        pool.start = pair.model.end;
        pool.length = 48 + 32 * pool.directory.size();
        pair.model.Add(pool);
    }

    void Allocate(Pair& pair) {
        const size_t size = Below(5) == 0 ? 0 : Below(3000);
        ModelPool& pool = pair.model.pools.back();
        EXPECT_TRUE(pair.file->Allocate(size) == pair.file->Start() + pool.DataLength());
        pool.length += size;
        pair.model.end = std::max(pair.model.end, pool.start + pool.length);
    }
    void Write(Pair& pair) {
        const size_t index = Below(pair.model.pools.size());
        const ModelPool& pool = pair.model.pools[index];
        const size_t offset = Below(pool.DataLength() + 1);
        const string data = Random(Below(pool.DataLength() - offset + 1));
        const OxbowRpm_Locator at = pair.file->Pool(static_cast<unsigned>(index)).Start() + offset;
        at.Write(data.size(), data.data());
        if (!data.empty()) {
            pair.model.Write(pool.DataAt() + offset, data);
        }
        const string over(pool.DataLength() - offset + 1, '!');
        EXPECT_EQ(CodeOf([&] { at.Write(over.size(), over.data()); }),
                  OxbowExcIOBounds(0, 0, 0).GetCode());
    }
    void Append(Pair& to, Pair& from) {
        const size_t index = Below(from.model.pools.size());
        ModelPool pool = from.model.pools[index];
        const OxbowRpm_Pool source = from.file->Pool(static_cast<unsigned>(index));
        const bool bound = std::any_of(to.model.pools.begin(), to.model.pools.end(),
                                       [&](const ModelPool& own) { return own.uuid == pool.uuid; });
        const bool cut = pool.start + pool.length > from.model.bytes.size();
        const int expected = bound ? OxbowExcPoolAlreadyInDoc().GetCode()
                             : cut ? OxbowExcShortPool().GetCode()
                                   : 0;
        EXPECT_EQ(CodeOf([&] { to.file->AppendPool(source); }), expected);
        if (expected != 0) {
            return;
        }
        const string copied = from.model.bytes.substr(pool.start, pool.length);
        to.model.DropEmpty();
        pool.start = to.model.end;
        to.model.end += pool.length;
        to.model.Write(pool.start, copied);
        to.Learn(pool.directory);
        to.model.Add(pool);
    }
    void Reopen(Pair& pair) {
        if (Below(2) == 0) {
            pair.document->Close();  // else it just ends, as a stopped process would
        }
        pair.document.reset();
        Open(pair, OxbowRpm_Document::AccessUpdate);
    }
    /** A locator from before keeps its slot while the file is away and reads the same bytes
     * afterwards. */
    void CloseAndAddAgain(Pair& pair) {
        const OxbowRpm_Locator live = pair.file->Pool(0).Start();
        pair.document->Close(*pair.file);
        char byte = 0;
        EXPECT_EQ(CodeOf([&] { live.Read(1, &byte); }), OxbowExcCantDerefLocator().GetCode());
        AddFile(pair, OxbowRpm_Document::AccessUpdate);
        EXPECT_TRUE(live == pair.file->Pool(0).Start());
    }

    void Check(const Pair& pair) {
        ASSERT_EQ(Bytes(pair.name), pair.model.bytes);
        ASSERT_EQ(pair.file->PoolCount(), pair.model.pools.size());
        for (unsigned i = 0; i < pair.file->PoolCount(); ++i) {
            const ModelPool& pool = pair.model.pools[i];
            ASSERT_EQ(pair.file->Pool(i).Length(), pool.DataLength());
            ASSERT_EQ(Text(pair.file->Pool(i).GetGUID()), pool.uuid);
            const size_t there = std::min(pool.DataAt(), pair.model.bytes.size());
            ASSERT_EQ(Get(pair.file->Pool(i).Start(), pool.DataLength()),
                      pair.model.bytes.substr(there, pool.DataLength()));
        }
    }

    std::mt19937 mRandom{GetParam()};
};

TEST_P(ChainModel, EveryByteIsWhereTheModelHasIt) {
    SCOPED_TRACE("seed " + std::to_string(GetParam()));
    Pair pairs[2];
    for (Pair& pair : pairs) {
        pair.name = &pair == pairs ? "one" : "two";
        Open(pair, OxbowRpm_Document::AccessCreate);
    }
    for (int step = 0; step < 200 && !HasFatalFailure(); ++step) {
        const size_t which = Below(2);
        Pair& pair = pairs[which];
        switch (Below(9)) {
            case 0:
                if (pair.known.size() < 60) {
                    pair.file->NewPool();
                    NoteNewPool(pair);
                }
                break;
            case 1:
                Append(pair, pairs[1 - which]);
                break;
            case 2:
                Reopen(pair);
                break;
            case 3:
                CloseAndAddAgain(pair);
                break;
            case 4:
                pair.document->Flush();
                break;
            case 5:
            case 6:
                Allocate(pair);
                break;
            default:
                Write(pair);
        }
        Check(pair);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ChainModel, testing::Range(1u, 13u));

}  // namespace
