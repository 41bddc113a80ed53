#include "doubles/MemoryFiles.h"

#include <algorithm>
#include <cstring>

using std::uint64_t;

void MemoryFile::Write(uint64_t position, const char* data, uint64_t count) {
    for (uint64_t part; count != 0; position += part, data += part, count -= part) {
        part = std::min(kPage - position % kPage, count);
        std::memcpy(pages[position / kPage].data() + position % kPage, data, part);
        length = std::max(length, position + part);
    }
}

uint64_t MemoryFile::Read(uint64_t position, char* buffer, uint64_t count) const {
    const uint64_t there = position < length ? std::min(count, length - position) : 0;
    std::fill_n(buffer, there, '\0');
    for (uint64_t done = 0, part; done < there; done += part) {
        const uint64_t at = position + done;
        part = std::min(kPage - at % kPage, there - done);
        if (const auto page = pages.find(at / kPage); page != pages.end()) {
            std::memcpy(buffer + done, page->second.data() + at % kPage, part);
        }
    }
    return there;
}
