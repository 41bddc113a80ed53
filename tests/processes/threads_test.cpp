// Threads as far as they are promised: a document each, and the transfers of one file from several.

#include <future>

#include "OxbowRpm/impl/OxbowRpm_DocumentImpl.h"
#include "processes/Writer.h"

namespace {

using Threads = TestFolder;

template <class Body>
void OnEightThreads(Body body) {
    std::vector<std::future<void>> threads;  // each waits for its end
    for (unsigned t = 0; t < 8; ++t) {
        threads.push_back(std::async(std::launch::async, body, t));
    }
}

TEST_F(Threads, DocumentsOnSeveralThreadsShareNamesAndAReadOnlyFile) {
    const unsigned seed = Seed();
    const FennelUnicodeString shared = Name("shared"), twin = Name("twin");
    Writer::Progress progress, alone;
    Writer(shared, seed, alone).Steps(100);
    const Writer::Contents contents = Writer::Read(shared);
    OnEightThreads([&](unsigned t) {
        Writer(Name(std::to_string(t)), seed + t, progress).Steps(100);
        EXPECT_EQ(Writer::Read(shared), contents);
    });
    for (unsigned t = 0; t < 8; ++t) {
        Writer(twin, seed + t, alone).Steps(100);
        EXPECT_EQ(Writer::Read(Name(std::to_string(t))), Writer::Read(twin)) << "seed " << seed;
    }
    std::printf("threads: 8 documents, %u operations (seed %u)\n", progress.returned.load(), seed);
}

TEST_F(Threads, TransfersOfOneFileKeepTheirPlaces) {
    OxbowRpm_DocumentImpl document("thrd");
    OxbowRpm_FileImpl file(&document);
    file.OpenNew(Name("file"), 0);
    const auto data = [](unsigned block) { return std::string(64, static_cast<char>(block)); };
    // A lock that is left out shows in two rounds of three.
    const unsigned rounds = 12;
    const auto transfer = [&](unsigned t) {
        for (unsigned block = t; block < 40000; block += 8) {
            file.WriteAt(80 + block * 64, 64, data(block).data());
            const unsigned own = block / 16 * 8 + t;  // half as far
            std::string found(64, '?');
            file.ReadAt(80 + own * 64, 64, found.data());
            EXPECT_EQ(found, data(own)) << own;
        }
    };
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
        OnEightThreads(transfer);
    }
    std::printf("threads: 8 on one file, %u transfers\n", rounds * 80000);
}

}  // namespace
