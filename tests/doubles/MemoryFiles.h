#ifndef OXBOW_TEST_MEMORY_FILES_H
#define OXBOW_TEST_MEMORY_FILES_H

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

/** A file in memory. It is sparse: bytes that were never written take no room. */
struct MemoryFile {
    void Write(std::uint64_t position, const char* data, std::uint64_t count);
    /** Returns how many bytes of those there were. */
    std::uint64_t Read(std::uint64_t position, char* buffer, std::uint64_t count) const;
    std::string Bytes() const {
        std::string bytes(length, '\0');
        Read(0, bytes.data(), length);
        return bytes;
    }
    void Set(const std::string& bytes) {
        *this = MemoryFile();
        Write(0, bytes.data(), bytes.size());
    }

    static constexpr std::uint64_t kPage = 4096;
    std::map<std::uint64_t, std::array<char, kPage>> pages;  // by number
    std::uint64_t length = 0;
};

/** The files by path; an open one stays when it goes from here. There is one folder: other paths
    lead nowhere. */
namespace MemoryFiles {

constexpr const char* kFolder = "/memory";
inline std::map<std::string, std::shared_ptr<MemoryFile>>& All() {
    static std::map<std::string, std::shared_ptr<MemoryFile>> files;
    return files;
}
/** Made, if it isn't there. */
inline MemoryFile& At(const std::string& path) {
    std::shared_ptr<MemoryFile>& file = All()[path];
    file = file == nullptr ? std::make_shared<MemoryFile>() : file;
    return *file;
}

}  // namespace MemoryFiles

#endif
