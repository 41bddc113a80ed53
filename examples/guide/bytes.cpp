#include <cstdio>

#include "Guide.h"

// [bytes]
static void FillPool(OxbowRpm_File file) {
    const OxbowRpm_Locator first = file.Allocate(5);
    const OxbowRpm_Locator second = file.Allocate(6);  // just behind the first range
    first.Write(5, "hello");
    second.Write(6, " world");
    (second + 1).Write(1, "W");  // any part, at any time, in any order
    std::printf("%u bytes\n", static_cast<unsigned>(file.Pool().Length()));
}
// [bytes end]

// [inside]
static bool ReadInside(const OxbowRpm_Pool& pool, std::uint64_t offset, std::uint64_t length,
                       char* buffer) {
    const std::uint64_t end = pool.Length();
    return offset <= end && length <= end - offset &&
           (pool.Start() + offset).Read(length, buffer) == length;
}
// [inside end]

/** Writing, unlike reading, is held to the pool's data. */
static void WriteTooFar(const OxbowRpm_Pool& pool) {
    try {
        (pool.End() - 1).Write(2, "!!");
        Expect(false, "a write past the pool's data is refused");
    } catch (const OxbowExcIOBounds& e) {
        Expect(e.Offset() == 10 && e.End() == 12 && e.Limit() == 11, "the failure tells the range");
    }
}

void ShowBytes() {
    OxbowRpm_Document document("demo");
    OxbowRpm_File file = document.AddFile("bytes.oxb", OxbowRpm_Document::AccessCreate);
    FillPool(file);
    WriteTooFar(file.Pool());
    char text[12] = {};
    Expect(ReadInside(file.Pool(), 0, 11, text), "the pool holds 11 bytes");
    Expect(!ReadInside(file.Pool(), 1, 11, text), "no more than the pool is read");
    Expect(!ReadInside(file.Pool(), 12, UINT64_MAX, text), "a sum that wraps is no way round");
    std::printf("%s\n", text);
    document.Close();
}
