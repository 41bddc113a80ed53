#ifndef OXBOW_TEST_HOSTILE_PAGE_H
#define OXBOW_TEST_HOSTILE_PAGE_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "doubles/MemoryFiles.h"

/** Files in memory as the format's page describes them, without the library. */
namespace Hostile {

using std::string, std::uint64_t, std::vector;

/** What GetCode() returns for the classes that may come. */
constexpr int Sound = 0, Invalid = 1, Unbound = 2, Header = 5, Foreign = 6, Version = 7, Owner = 8,
              Directory = 9, Bounds = 10, ShortPool = 13, Here = 16, System = 17, Short = 24,
              TooBig = 25;
constexpr const char *kOwner = "HOST", *kSignature = "\x89OXB\r\n\x1A\n";
constexpr uint64_t kLongest = 9999999999999999;

/** The library's reports since the last call of SetFiles. They would be thousands on a terminal. */
inline char gReports[1 << 16];

/** Two files and no others. */
constexpr const char *kA = "/memory/a", *kB = "/memory/b";
inline void SetFiles(const string& a, const string& b) {
    [[maybe_unused]] static FILE* const kept = stderr = fmemopen(gReports, sizeof gReports, "w");
    std::rewind(stderr);
    gReports[0] = '\0';
    MemoryFiles::All().clear();
    MemoryFiles::At(kA).Set(a);
    MemoryFiles::At(kB).Set(b);
}
/** As many as there are. */
inline string Bytes(const MemoryFile& file, uint64_t at, uint64_t count) {
    string bytes(at < file.length ? std::min(count, file.length - at) : 0, '\0');
    file.Read(at, bytes.data(), bytes.size());
    return bytes;
}
inline void Put(MemoryFile& file, uint64_t at, const string& bytes) {
    file.Write(at, bytes.data(), bytes.size());
}
/** The tests' own machine is little-endian, too. */
inline string Little(uint64_t value, std::size_t size) {
    return string(reinterpret_cast<const char*>(&value), size);
}
inline uint64_t Number(const string& bytes, std::size_t at, std::size_t size) {
    uint64_t value = 0;
    bytes.copy(reinterpret_cast<char*>(&value), size, at);
    return value;
}
/** The length field. */
inline string Decimal(uint64_t value) {
    const string digits = std::to_string(value);
    return string(16 - std::min<std::size_t>(digits.size(), 16), '0') + digits.substr(0, 16);
}

struct Pool {
    uint64_t DataAt() const { return start + 48 + 32 * uuids.size(); }
    uint64_t DataLength() const { return start + length - DataAt(); }
    /** Where the bytes end that are there. */
    uint64_t End() const { return std::min(start + length, file->length); }
    /** With the directory; a length of 0 leaves the pool unsealed. */
    string Head(uint64_t sealed) const {
        const string head = kSignature + ("\6" + string(7, '\0')) + kOwner + Decimal(sealed) +
                            words + Little(uuids.size(), 4);
        return std::accumulate(uuids.begin(), uuids.end(), head);
    }

    vector<string> uuids = {};
    uint64_t start = 0, length = 0;
    string words = Little(2, 8);
    MemoryFile* file = nullptr;
};
using PoolRef = std::shared_ptr<Pool>;

/** Adds the pools of the chain, up to the one that is refused, and the UUIDs that their directories
    name; returns the code of the refusal. */
inline int Parse(MemoryFile& file, vector<PoolRef>& chain, vector<string>& known) {
    for (uint64_t at = 0; at < file.length; at += chain.back()->length) {
        const string head = Bytes(file, at, 48);
        if (head.size() < 48 || head.compare(0, 8, kSignature) != 0) {
            return head.size() < 48 ? Header : Foreign;
        }
        if (head[8] != 6 || head.compare(16, 4, kOwner) != 0) {
            return head[8] != 6 ? Version : Owner;
        }
        uint64_t length = 0;
        for (std::size_t i = 20; i < 36; ++i) {
            length = length * 10 + static_cast<uint64_t>(static_cast<signed char>(head[i]) - '0');
        }
        const uint64_t count = Number(head, 44, 4), size = 48 + 32 * count, left = file.length - at;
        if (length > UINT64_MAX - at || count == 0 || count > 46340 || size > left) {
            return length > UINT64_MAX - at ? Header : Directory;
        }
        Pool pool{{}, at, length == 0 ? left : length, head.substr(36, 8), &file};
        for (uint64_t entry = at + 48; entry < at + size; entry += 32) {
            pool.uuids.push_back(Bytes(file, entry, 32));
            if (std::count(known.begin(), known.end(), pool.uuids.back()) == 0) {
                known.push_back(pool.uuids.back());
            }
        }
        if (pool.length < size) {
            return Header;
        }
        chain.push_back(std::make_shared<Pool>(pool));
    }
    return Sound;
}

/** A text, a reference to the pool of that slot, marks as a text, and a null reference. */
inline string SampleData(unsigned slot, const string& marks) {
    return Little(4, 4) + "text" + Little(4, 8) + Little(slot, 4) + Little(marks.size(), 4) +
           marks + string(12 - marks.size(), '\0') + string(4, '\xFF');
}
/** Two files, three pools: "a" holds the first and the third, "b" the second. */
struct Sample {
    const string first = string(32, '1'), second = string(32, '2'), third = string(32, '3');
    const string a = Pool{{first}}.Head(120) + SampleData(0, "!!") +
                     Pool{{third, first, second}}.Head(0) + SampleData(2, "!!!!");
    const string b = Pool{{second, first}}.Head(0) + SampleData(0, "!!!");
};

}  // namespace Hostile

#endif
