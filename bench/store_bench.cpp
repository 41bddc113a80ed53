// What the ways of moving bytes cost, on the public interface and real files. Each figure is
// beside one of the bare system calls or of another way, so that ratios can be read off one run.

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kDataSize = 16 * 1024 * 1024;

/** A folder that goes when the benchmark ends. */
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "oxbow-bench-XXXXXX").string();
        mPath = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(mPath); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const char* file) const { return (mPath / file).string(); }

private:
    std::filesystem::path mPath;
};

/** A document of one file with kDataSize bytes of data in its last pool. */
struct Filled {
    explicit Filled(int pools = 1)
        : file(document.AddFile(folder.Path("data").c_str(), OxbowRpm_Document::AccessCreate)) {
        for (int i = 1; i < pools; ++i) {
            file.Allocate(64).Write(64, std::string(64, 'p').data());
            file.NewPool();
        }
        start = file.Allocate(kDataSize);
        start.Write(kDataSize, std::string(kDataSize, 'x').data());
    }

    Folder folder;
    OxbowRpm_Document document{"BNCH"};
    OxbowRpm_File file;
    OxbowRpm_Locator start;
};

std::uint64_t RandomOffset(std::mt19937_64& random, std::uint64_t size) {
    return random() % (kDataSize - size);
}

void RandomReadsByLocator(benchmark::State& state) {
    const Filled store;
    const auto size = static_cast<std::uint64_t>(state.range(0));
    std::vector<char> buffer(size);
    std::mt19937_64 random(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            (store.start + RandomOffset(random, size)).Read(size, buffer.data()));
    }
}
BENCHMARK(RandomReadsByLocator)->Arg(64)->Arg(4096);

void RandomReadsByThePlatform(benchmark::State& state) {
    const Filled store;
    const int fd = open(store.folder.Path("data").c_str(), O_RDONLY | O_CLOEXEC);
    const auto size = static_cast<std::uint64_t>(state.range(0));
    std::vector<char> buffer(size);
    std::mt19937_64 random(1);
    for (auto _ : state) {
        const auto at = static_cast<off_t>(80 + RandomOffset(random, size));
        benchmark::DoNotOptimize(pread(fd, buffer.data(), size, at));
    }
    close(fd);
}
BENCHMARK(RandomReadsByThePlatform)->Arg(64)->Arg(4096);

/** 4-byte scalars through a stream whose buffer has the size given. */
void ScalarsThroughAStream(benchmark::State& state) {
    Filled store;
    const std::uint64_t limit = 64 * 1024;
    for (auto _ : state) {
        OxbowRpm_BStreamWriteLocator stream(store.start, limit,
                                            static_cast<std::uint64_t>(state.range(0)));
        for (std::uint32_t i = 0; i < limit / 4; ++i) {
            stream.Write(i);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(limit / 4));
}
BENCHMARK(ScalarsThroughAStream)->Arg(16)->Arg(4096)->Arg(65536);

/** References to pools of a document of as many pools: the first one to each is searched for. */
void ReferencesThroughAStream(benchmark::State& state) {
    Filled store(static_cast<int>(state.range(0)));
    const std::uint32_t targets = store.file.PoolCount();
    const int count = 1000;
    for (auto _ : state) {
        OxbowRpm_BStreamWriteLocator stream(store.start, 0, 16384);
        for (std::uint32_t i = 0; i < count; ++i) {
            store.file.Pool(i % targets).Start().ExternalizeImpl(stream);
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(ReferencesThroughAStream)->Arg(1)->Arg(256);

/** Opening a file of as many pools, each of which names all before it. */
void OpeningAFile(benchmark::State& state) {
    Filled store(static_cast<int>(state.range(0)));
    const std::string path = store.folder.Path("data");
    store.document.Close();
    for (auto _ : state) {
        OxbowRpm_Document document("BNCH");
        benchmark::DoNotOptimize(
            document.AddFile(path.c_str(), OxbowRpm_Document::AccessReadOnly).PoolCount());
    }
}
BENCHMARK(OpeningAFile)->Arg(1)->Arg(16)->Arg(256)->Unit(benchmark::kMicrosecond);

/** Booking, writing and starting a pool, without waiting for the device. */
void StartingAPool(benchmark::State& state) {
    Folder folder;
    OxbowRpm_Document document("BNCH");
    OxbowRpm_File file =
        document.AddFile(folder.Path("pools").c_str(), OxbowRpm_Document::AccessCreate);
    for (auto _ : state) {
        file.Allocate(64).Write(64, std::string(64, 'p').data());
        file.NewPool();
    }
}
BENCHMARK(StartingAPool)->Iterations(500)->Unit(benchmark::kMicrosecond);

}  // namespace
