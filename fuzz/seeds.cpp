// Writes the seeds of the corpora below the folder that is named.

#include <fstream>

#include "hostile/NamedFiles.h"

int main(int count, char** arguments) {
    using namespace Hostile;
    const auto write = [&](const string& name, const string& bytes) {
        std::ofstream(arguments[count - 1] + ("/" + name), std::ios::binary) << bytes;
    };
    string steps;
    for (unsigned i = 0; i < 90; ++i) {
        steps += Little(i * 5 + i / 8, 1) + Little(i * 7, 1) + Little(40 + i * 11, 1);
    }
    write("list/all", steps);
    int number = 0;
    for (const Named& named : NamedFiles()) {
        const string name = "named-" + std::to_string(number++);
        const bool both = !named.b.empty();
        const string input = both ? Little(1, 1) + Little(named.a.size(), 2) : Little(0, 1);
        write("open_read/" + name, input + named.a + named.b);
        write("open_modify/" + name, input + named.a + named.b);
        if (named.code == Sound && named.a.size() < 1000) {
            write("operations/" + name, Little(30, 1) + steps.substr(0, 90) + named.a);
        }
    }
    return 0;
}
