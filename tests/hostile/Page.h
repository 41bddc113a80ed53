#ifndef OXBOW_TEST_HOSTILE_PAGE_H
#define OXBOW_TEST_HOSTILE_PAGE_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "doubles/MemoryFiles.h"

/** Files in memory as the format's page tells them, without the library. */
namespace Hostile {

using std::string, std::uint64_t, std::vector;

/** What GetCode() gives for the classes that may come. */
constexpr int Sound = 0, Invalid = 1, Unbound = 2, Unknown = 3, Header = 5, Foreign = 6,
              Version = 7, Owner = 8, Directory = 9, Bounds = 10, ShortPool = 13, Here = 16,
              System = 17, Short = 24, TooBig = 25;
constexpr const char* kOwner = "HOST";
constexpr uint64_t kLongest = 9999999999999999;

inline string PathOf(const string& name) {
    return MemoryFiles::kFolder + ("/" + name);
}
inline MemoryFile& At(const string& name) {
    return MemoryFiles::At(PathOf(name));
}
/** As many as there are. */
inline string Bytes(const MemoryFile& file, uint64_t at, uint64_t count) {
    string bytes(at < file.length ? std::min(count, file.length - at) : 0, '\0');
    file.Read(at, bytes.data(), bytes.size());
    return bytes;
}
/** A page that isn't there holds zeros. */
inline bool operator==(const MemoryFile& a, const MemoryFile& b) {
    const auto holds = [](const MemoryFile& file, const MemoryFile& other) {
        return std::all_of(file.pages.begin(), file.pages.end(), [&](const auto& page) {
            const uint64_t at = page.first * MemoryFile::kPage;
            return Bytes(file, at, MemoryFile::kPage) == Bytes(other, at, MemoryFile::kPage);
        });
    };
    return a.length == b.length && holds(a, b) && holds(b, a);
}
inline string Little(uint64_t value, int size) {
    string bytes;
    for (; size-- > 0; value >>= 8) {
        bytes += static_cast<char>(value & 255);
    }
    return bytes;
}
inline uint64_t Number(const string& bytes, unsigned at, unsigned size) {
    uint64_t value = 0;
    while (size-- > 0) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + size));
    }
    return value;
}
/** The length field. */
inline string Decimal(uint64_t value) {
    const string digits = std::to_string(value);
    return string(16 - std::min<std::size_t>(digits.size(), 16), '0') + digits.substr(0, 16);
}

struct Pool {
    MemoryFile* file;
    uint64_t start, length;
    vector<string> uuids;
    uint64_t DataAt() const { return start + 48 + 32 * uuids.size(); }
    uint64_t DataLength() const { return start + length - DataAt(); }
};

inline void Learn(vector<string>& known, const vector<string>& uuids) {
    for (const string& uuid : uuids) {
        if (std::find(known.begin(), known.end(), uuid) == known.end()) {
            known.push_back(uuid);
        }
    }
}

/** Adds the pools of the chain, up to the one that is refused, and the UUIDs that their directories
    name; gives the code of the refusal. */
inline int Parse(MemoryFile& file, vector<Pool>& chain, vector<string>& known) {
    for (uint64_t at = 0; at < file.length; at += chain.back().length) {
        const string head = Bytes(file, at, 48);
        if (head.size() < 48 || head.compare(0, 8, "\x89OXB\r\n\x1A\n") != 0) {
            return head.size() < 48 ? Header : Foreign;
        }
        if (head[8] != 6 || head.compare(16, 4, kOwner) != 0) {
            return head[8] != 6 ? Version : Owner;
        }
        uint64_t length = 0;
        for (std::size_t i = 20; i < 36; ++i) {
            length = length * 10 + static_cast<uint64_t>(static_cast<signed char>(head.at(i)) - 48);
        }
        const uint64_t count = Number(head, 44, 4), size = 48 + 32 * count, left = file.length - at;
        if (length > UINT64_MAX - at || count == 0 || size > INT32_MAX || size > left) {
            return length > UINT64_MAX - at ? Header : Directory;
        }
        Pool pool{&file, at, length == 0 ? left : length, {}};
        for (uint64_t i = 0; i < count; ++i) {
            pool.uuids.push_back(Bytes(file, at + 48 + 32 * i, 32));
        }
        Learn(known, pool.uuids);
        if (pool.length < size) {
            return Header;
        }
        chain.push_back(pool);
    }
    return Sound;
}

}  // namespace Hostile

#endif
