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

std::string MemoryFile::Bytes() const {
    std::string bytes(length, '\0');
    Read(0, bytes.data(), length);
    return bytes;
}

void MemoryFile::Set(const std::string& bytes) {
    *this = MemoryFile();
    Write(0, bytes.data(), bytes.size());
}

std::map<std::string, std::shared_ptr<MemoryFile>>& MemoryFiles::All() {
    static std::map<std::string, std::shared_ptr<MemoryFile>> files;
    return files;
}

MemoryFile& MemoryFiles::At(const std::string& path) {
    std::shared_ptr<MemoryFile>& file = All()[path];
    file = file == nullptr ? std::make_shared<MemoryFile>() : file;
    return *file;
}
