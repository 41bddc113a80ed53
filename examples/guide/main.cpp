#include <cstdio>
#include <cstdlib>

#include "Guide.h"

void Expect(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "not as the guide says: %s\n", what);
        std::exit(1);
    }
}

static void ShowAll() {
    ShowBytes();
    ShowStreams();
    ShowReferences();
    ShowFiles();
    ShowCopies();
    ShowDurability();
    ShowFailures();
    ShowSharing();
}

int main() try {
    int modules = 0;
    OxbowPoolManager_initialize(modules);
    ShowAll();
    OxbowPoolManager_finalize(modules);
} catch (const FennelException& e) {
    std::fprintf(stderr, "%s\n", e.DeveloperReport().View().data());
    return 1;
}
