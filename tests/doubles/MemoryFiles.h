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
    std::uint64_t Read(std::uint64_t position, char* buffer, std::uint64_t count) const;
    std::string Bytes() const;
    void Set(const std::string& bytes);

    static constexpr std::uint64_t kPage = 4096;
    std::map<std::uint64_t, std::array<char, kPage>> pages;  // by number
    std::uint64_t length = 0;
    int writers = 0;  // handles open on it that write, and that deny others to write
    int deniers = 0;
};

/** The files by path; a handle keeps its file. The calls on them do what platform_FileCalls.h
    tells. There is one folder: paths with another directory part lead nowhere. */
namespace MemoryFiles {

constexpr const char* kFolder = "/memory";
std::map<std::string, std::shared_ptr<MemoryFile>>& All();
/** Made, if it isn't there. */
MemoryFile& At(const std::string& path);

}  // namespace MemoryFiles

#endif
