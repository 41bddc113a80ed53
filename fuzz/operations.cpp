// A file and operations on it, held against the model of the bytes that it must have.
// Input: the number of operations, three bytes for each, and the file.

#include "hostile/NamedFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace Hostile;
    static FILE* const quiet = stderr = std::fopen("/dev/null", "w");  // reports of validations
    static const Sample sample;
    const std::size_t count = size == 0 || quiet == nullptr ? 0 : data[0] % 32u;
    if (size <= 3 * count) {
        return 0;
    }
    const unsigned char* const file = data + 1 + 3 * count;
    MemoryFiles::All().clear();
    At("a").Set(string(file, data + size));
    At("b").Set(sample.b);
    Model other(kRead), model(kUpdate);
    other.Add("b");
    model.Add("a");
    for (const unsigned char* step = data + 1; step < file; step += 3) {
        model.Do(step[0], step[1], step[2], other);
        model.ReadAll();
    }
    return 0;
}
