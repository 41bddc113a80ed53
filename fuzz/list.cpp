// Lists that share with one another, against std::vector: the bytes choose edits and what fails.
#include "internal/ListWorld.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const unsigned char* const end = data + size;
    cow_ListPeer lists([&] { return data == end ? 0u : *data++; });
    lists.Run(static_cast<int>(size / 14));  // what a step takes
    return 0;
}
