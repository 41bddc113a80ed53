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
    std::vector<Writer::Names> names(8, {Name("0"), Name("8"), Name("source")});
    Writer::MakeSource(names[0][2]);
    for (unsigned i = 1; i < 16; ++i) {
        names[i % 8][i / 8] = Name(std::to_string(i));
    }
    Writer::Progress progress, alone;
    OnEightThreads([&](unsigned t) { Writer(names[t], seed + t, progress).Steps(150); });
    for (unsigned t = 0; t < 8; ++t) {
        const Writer::Contents found = Writer::Read(names[t]);
        Writer(names[t], seed + t, alone).Steps(150);
        EXPECT_EQ(Writer::Read(names[t]), found) << "OXBOW_SEED=" << seed;
    }
    std::printf("threads: 8 documents, %u operations (seed %u)\n", progress.returned.load(), seed);
}

TEST_F(Threads, TransfersOfOneFileKeepTheirPlaces) {
    OxbowRpm_DocumentImpl document("thrd");
    OxbowRpm_FileImpl file(&document);
    file.OpenNew(Name("file"), 0);
    const auto data = [](unsigned block) { return std::string(64, static_cast<char>(block)); };
    const auto holds = [&](unsigned block) {
        std::string found(64, '?');
        return file.ReadAt(80 + block * 64, 64, found.data()) == 64 && found == data(block);
    };
    OnEightThreads([&](unsigned t) {
        for (unsigned block = t; block < 40000; block += 8) {
            file.WriteAt(80 + block * 64, 64, data(block).data());
            EXPECT_TRUE(holds(block / 16 * 8 + t)) << block;  // one of its own, half as far
        }
    });
    for (unsigned block = 0; block < 40000; ++block) {
        EXPECT_TRUE(holds(block)) << block;
    }
    std::printf("threads: 8 on one file, 120000 transfers\n");
}

}  // namespace
