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
    /** Gives how many bytes of those there were. */
    std::uint64_t Read(std::uint64_t position, char* buffer, std::uint64_t count) const;
    std::string Bytes() const;
    void Set(const std::string& bytes);

    static constexpr std::uint64_t kPage = 4096;
    std::map<std::uint64_t, std::array<char, kPage>> pages;  // by number
    std::uint64_t length = 0;
};

/** The files by path; an open one stays when it goes from here. There is one folder: other paths
    lead nowhere. */
namespace MemoryFiles {

constexpr const char* kFolder = "/memory";
std::map<std::string, std::shared_ptr<MemoryFile>>& All();
/** Made, if it isn't there. */
MemoryFile& At(const std::string& path);

}  // namespace MemoryFiles

#endif
