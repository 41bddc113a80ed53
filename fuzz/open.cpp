// Two files that may hold anything: opened and read, and with OXBOW_FUZZ_MODIFY also changed.
// Input: a byte of choices; then "a", beside which "b" is the sample's; or two bytes for the length
// of "a", then both.

#include "hostile/Model.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace Hostile;
    if (size < 3) {
        return 0;
    }
    const string input(data, data + size);
    const bool both = (input[0] & 1) != 0;
    const string rest = input.substr(both ? 3 : 1);
    const std::size_t length = both ? std::min(Number(input, 1, 2), rest.size()) : rest.size();
    const string a = rest.substr(0, length), b = both ? rest.substr(length) : Sample().b;
    Visit(kRead, a, b);
    return OXBOW_FUZZ_MODIFY ? Visit(kUpdate, a, b), 0 : 0;
}
