// Operations on a file and on the sample, held against the model of the bytes that both must have.
// Input: the number of operations, three bytes for each, and the file.

#include "hostile/Model.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::size_t steps = size == 0 ? 0 : data[0] % 32u * 3;
    if (size > steps) {
        const unsigned char* const file = data + 1 + steps;
        Hostile::Operate(std::string(file, data + size), Hostile::Sample().b, {data + 1, file});
    }
    return 0;
}
