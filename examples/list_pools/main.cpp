// Lists the pools of container files of any program, one file after the other: list_pools FILE...
// It changes nothing. The exit code is 1 if a file could not be listed.

#include <OxbowPoolManager/OxbowPoolManager.h>

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

/** The user signature of the program that made the file is at position 16 of its first header.
    A file too short for one holds no pool, and any signature does. */
std::string SignatureOf(const char* path) {
    char start[20] = {};
    std::ifstream(path, std::ios::binary).read(start, sizeof start);
    return std::string(start + 16, 4);
}

/** The UUID as a line of text: a damaged one can hold any bytes. */
std::string Printable(const FennelString& uuid) {
    std::string text;
    for (const char c : uuid.View()) {
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
        text += c > ' ' && c <= '~' ? std::string(1, c) : escaped;
    }
    return text;
}

void List(const char* path) {
    OxbowRpm_Document document(SignatureOf(path).data());
    const OxbowRpm_File file =
        document.AddFile(FennelUnicodeString(path), OxbowRpm_Document::AccessReadOnly);
    for (std::uint32_t i = 0; i < file.PoolCount(); ++i) {
        const OxbowRpm_Pool pool = file.Pool(i);
        std::printf("  pool %" PRIu32 ": %s, %" PRIu64 " data bytes\n", i,
                    Printable(pool.GetGUID()).c_str(), pool.Length());
    }
    std::printf("  %" PRIu32 " pools, sound\n", file.PoolCount());
}

}  // namespace

int main(int count, char** paths) {
    int modules = 0;
    OxbowPoolManager_initialize(modules);
    int failures = 0;
    for (int i = 1; i < count; ++i) {
        std::puts(paths[i]);
        try {
            List(paths[i]);
        } catch (const FennelException& failure) {
            std::printf("  damaged: %s\n", failure.UserReport().View().data());
            ++failures;
        }
    }
    OxbowPoolManager_finalize(modules);
    return failures == 0 ? 0 : 1;
}
