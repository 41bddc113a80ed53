#ifndef OXBOW_TEST_HOSTILE_NAMED_FILES_H
#define OXBOW_TEST_HOSTILE_NAMED_FILES_H

#include "hostile/Model.h"

namespace Hostile {

/** Two files, three pools: "a" holds the first and the third, "b" the second. Each has a text, a
    reference to a pool that was there, a text, and a null reference. */
struct Sample {
    Sample() {
        MemoryFiles::All().clear();
        OxbowRpm_Document document(kOwner);
        vector<OxbowRpm_Pool> pools;
        const auto fill = [&](OxbowRpm_File file) {
            OxbowRpm_BStreamWriteLocator out(file.Allocate(40), 40, 64);
            pools.push_back(file.Pool());
            out.Write("text");
            (pools[pools.size() / 2].Start() + 4).ExternalizeImpl(out);
            out.Write(string(1 + pools.size(), '!').c_str());
            OxbowRpm_Locator().ExternalizeImpl(out);
        };
        const string uuids[] = {string(32, '1'), string(32, '2'), string(32, '3')};
        OxbowRpm_PoolDirectory::TestForceUUID(uuids[0].data());
        OxbowRpm_File first =
            document.AddFile(PathOf("a").c_str(), OxbowRpm_Document::AccessCreate);
        fill(first);
        OxbowRpm_PoolDirectory::TestForceUUID(uuids[1].data());
        fill(document.AddFile(PathOf("b").c_str(), OxbowRpm_Document::AccessCreate));
        OxbowRpm_PoolDirectory::TestForceUUID(uuids[2].data());
        first.NewPool();
        fill(first);
        document.Close();
        a = At("a").Bytes();
        b = At("b").Bytes();
    }
    string a, b;
};

inline string With(string file, unsigned at, const string& bytes) {
    return file.replace(at, bytes.size(), bytes);
}
/** A chain of pools that each name only themselves. */
inline string Pools(const string& header, unsigned count) {
    string chain;
    for (unsigned i = 0; i < count; ++i) {
        const string uuid = string(28, 'u') + Little(i, 4);
        chain += With(header.substr(0, 48), 20, Decimal(84)) + uuid + "data";
    }
    return chain;
}

struct Named {
    const char* name;
    int code;           // of what is raised for "a", 0 for nothing
    std::size_t pools;  // of "a", before the refused one
    string a, b = "";   // "b" as in the sample, if it isn't told
};

inline vector<Named> NamedFiles() {
    const auto [a, b] = Sample();
    constexpr unsigned length = 20, count = 44, text = 80, last = 120, lastText = last + 144;
    return {
        {"empty", Sound, 0, ""},
        {"signature alone", Header, 0, a.substr(0, 8)},
        {"identity alone", Header, 0, a.substr(0, 9)},
        {"header but for a byte", Header, 0, a.substr(0, 47)},
        {"header without directory", Directory, 0, a.substr(0, 48)},
        {"directory but for a byte", Directory, 0, a.substr(0, 79)},
        {"data that was booked alone", Sound, 1, a.substr(0, 80)},
        {"last header cut", Header, 1, a.substr(0, last + 47)},
        {"zeros", Foreign, 0, string(500, '\0')},
        {"ends of line changed", Foreign, 0, With(a, 4, "\n\x1A\n")},
        {"version 5", Version, 0, With(a, 8, "\5")},
        {"owner of another case", Owner, 0, With(a, 16, "h")},
        {"reserved bytes and words", Sound, 2, With(With(a, 9, "1234567"), 36, "12345678")},
        {"bytes behind a seal", Foreign, 2, With(a, last + length, Decimal(184)) + string(48, 'x')},
        {"file twice over", Sound, 2, a + a},
        {"one pool four times", Sound, 4, a.substr(0, last) + a.substr(0, last) + a + a},
        {"files exchanged", Sound, 1, b, a},
        {"first pool unsealed", Sound, 1, With(a, length, Decimal(0))},
        {"length a byte short", Foreign, 1, With(a, length, Decimal(119))},
        {"length of no data", Foreign, 1, With(a, length, Decimal(80))},
        {"length inside directory", Header, 0, With(a, length, Decimal(79))},
        {"length 10^12", Sound, 1, With(a, length, Decimal(1000000000000))},
        {"last length 10^16 - 1", Sound, 2, With(a, last + length, Decimal(kLongest))},
        {"last length leads back", Header, 1, With(a, last + length, "000000000000000/")},
        {"length of zero bytes", Sound, 1, With(a, length, string(16, '\0'))},
        {"count 0", Directory, 0, With(a, count, Little(0, 4))},
        {"count past the end", Directory, 0, With(a, count, Little(9, 4))},
        {"count that 32 bits lose", Directory, 0, With(a, count, Little(1u << 27, 4))},
        {"count 2^32 - 1", Directory, 0, With(a, count, Little(0xFFFFFFFF, 4))},
        {"pools of one UUID", Sound, 2, With(a, last + 48, a.substr(48, 32))},
        {"UUID of the other file", Sound, 2, With(a, 48, b.substr(48, 32))},
        {"own UUID in all entries", Sound, 2, With(a, last + 80, string(64, '3'))},
        {"UUID of zeros", Sound, 2, With(a, 48, string(32, '\0'))},
        {"text of -1", Sound, 2, With(a, text, Little(0xFFFFFFFF, 4))},
        {"text of 2^31 - 1", Sound, 2, With(a, text, Little(INT32_MAX, 4))},
        {"last text to the end", Sound, 2, With(a, lastText, Little(40, 4))},
        {"slot behind the directory", Sound, 2, With(a, lastText + 16, Little(3, 4))},
        {"offset -8", Sound, 2, With(a, lastText + 8, Little(UINT64_MAX - 7, 8))},
        {"offset 2^63", Sound, 2, With(a, lastText + 8, Little(1ull << 63, 8))},
        {"hundred pools", Sound, 100, Pools(a, 100)},
    };
}

}  // namespace Hostile

#endif
