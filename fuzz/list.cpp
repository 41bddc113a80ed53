// Lists that share with one another, against std::vector: the bytes choose edits and what fails.
#include "internal/ListWorld.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const unsigned char* const end = data + size;
    const bool failing = size % 2 == 0;
    ListWorld lists([&] { return data == end ? 0u : *data++; }, failing);
    lists.Run(static_cast<int>(size / 10));  // what a step takes
    return 0;
}
