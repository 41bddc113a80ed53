// Two files that nobody vouches for: opened and read, and with OXBOW_FUZZ_MODIFY also changed.
// Input: a byte of choices; then "a", beside which "b" is the sample's; or two bytes for the length of
// "a", then both.

#include "hostile/NamedFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace Hostile;
    static const Sample sample;
    static FILE* const quiet = stderr = std::fopen("/dev/null", "w");  // reports of validations
    const string input(reinterpret_cast<const char*>(data), size);
    if (quiet == nullptr || size < 3) {
        return 0;
    }
    const bool both = (input[0] & 1) != 0;
    const string rest = input.substr(both ? 3 : 1);
    const std::size_t length = both ? Number(input, 1, 2) : rest.size();
    MemoryFiles::All().clear();
    At("a").Set(rest.substr(0, length));
    At("b").Set(both ? rest.substr(std::min(length, rest.size())) : sample.b);
    Visit(OXBOW_FUZZ_MODIFY, (input[0] & 2) / 2);
    return 0;
}
