// The product under real processes: killed writers, full file systems, races for one file.

#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "processes/Writer.h"

namespace {

/** What several processes see. */
struct Board {
    Writer::Progress progress;
    std::atomic<unsigned> arrived{0}, granted{0};
};

class Processes : public TestFolder {
protected:
    Processes() {
        std::filesystem::create_directory(PathOf("room"));
        Writer::MakeSource(mNames[2]);
    }
    unsigned Draw(unsigned below) { return static_cast<unsigned>(mRandom() % below); }
    /** The least that is true of files that don't open. */
    void ExpectIn(const std::string& bytes, const Writer::Contents& before) {
        for (const std::vector<std::string>& pools : before) {
            for (const std::string& pool : pools) {
                EXPECT_TRUE(pool.empty() || bytes.find(pool.substr(8)) != bytes.npos);
            }
        }
    }
    /** Works until nothing more fits, then looks, every second time opens again, and goes on. */
    template <class Action>
    void FillUp(const char* what, unsigned rounds, Action confine) {
        int reached = 0, whole = 0;
        for (unsigned i = 0; i < rounds && !HasFailure(); i += Stride(), ++reached) {
            Writer::Progress progress;
            const unsigned seed = Draw(~0u);
            Writer writer(mNames, seed, progress);
            EXPECT_EQ(confine(i), 0);
            EXPECT_THROW(writer.Steps(5000), OxbowExcWriteError);
            const unsigned done = progress.returned;
            Draw(2) == 0 ? writer.OpenAgain() : void();  // no header is torn
            const Writer::Contents left = Writer::Read(mNames);
            EXPECT_EQ(confine(kNoLimit), 0);
            writer.StartNewPools();
            writer.Steps(20);
            Writer twin(mOthers, seed, progress);
            twin.Steps(done);
            const Writer::Contents before = Writer::Read(mOthers);
            whole += Writer::Keeps(left, before) && Writer::Keeps(Writer::Read(mNames), before);
        }
        EXPECT_EQ(whole, reached);
        std::printf("%s: %d reached, %d read back whole (seed %u)\n", what, reached, whole, mSeed);
    }
    static constexpr unsigned kNoLimit = ~0u;
    static constexpr int kRights = PROT_READ | PROT_WRITE, kKind = MAP_SHARED | MAP_ANONYMOUS;
    const Writer::Names mNames{Name("room/a"), Name("room/b"), Name("source")};
    const Writer::Names mOthers{Name("a"), Name("b"), Name("source")};
    Board& mBoard = *new (mmap(nullptr, sizeof(Board), kRights, kKind, -1, 0)) Board;
    const unsigned mSeed = Seed();
    std::mt19937 mRandom{mSeed};
};

TEST_F(Processes, KilledWritersLoseNothingThatHadReturned) {
    const unsigned kills = (std::getenv("OXBOW_TORTURE") != nullptr ? 2000 : 200) / Stride();
    Writer::Progress& progress = mBoard.progress;
    unsigned inside = 0, torn = 0, whole = 0;
    for (unsigned i = 0; i < kills && !HasFailure(); ++i) {
        progress.begun = progress.returned = 0;
        const unsigned seed = Draw(~0u), operation = 1 + Draw(100);
        const pid_t child = fork();
        child == 0 ? Writer(mNames, seed, progress).Steps(~0u) : void();
        int status = 0;
        while (progress.begun < operation && waitpid(child, &status, WNOHANG) == 0) {
            sched_yield();
        }
        usleep(Draw(100));
        kill(child, SIGKILL);
        EXPECT_TRUE(waitpid(child, &status, 0) == child && WIFSIGNALED(status));

        Writer::Progress own;
        Writer twin(mOthers, seed, own);
        twin.Steps(progress.returned);
        const Writer::Contents before = Writer::Read(mOthers);
        inside += progress.begun != progress.returned;
        twin.Steps(progress.begun - progress.returned);
        try {
            EXPECT_TRUE(Writer::Keeps(Writer::Read(mNames), before)) << "seed " << mSeed;
            EXPECT_TRUE(Writer::Keeps(Writer::Read(mNames, Document::AccessUpdate), before));
            whole += Writer::Keeps(Writer::Read(mNames), before);
        } catch (const FennelException& failure) {
            ++torn;
            const int code = failure.GetCode();
            EXPECT_TRUE(twin.WritesHeader() && (code == 5 || code == 6 || code == 9)) << code;
            ExpectIn(Bytes("room/a") + Bytes("room/b"), before);
        }
    }
    EXPECT_EQ(whole + torn, kills);
    std::printf("killed writers: %u kills, %u inside an operation, ", kills, inside);
    std::printf("%u read back whole, %u in the unmendable case (seed %u)\n", whole, torn, mSeed);
}

TEST_F(Processes, FilesAtTheirSizeLimitLoseNothingAndGoOn) {
    signal(SIGXFSZ, SIG_IGN);
    FillUp("size limits", 300, [this](unsigned i) {
        const unsigned span = i % 4 == 0 ? 400 : i % 4 == 1 ? 400000 : 20000;
        const rlimit limit = {i == kNoLimit ? RLIM_INFINITY : 160 + Draw(span), RLIM_INFINITY};
        return setrlimit(RLIMIT_FSIZE, &limit);
    });
}

TEST_F(Processes, FilesOnAFullDiskLoseNothingAndGoOn) {
    const std::string room = PathOf("room"), user = "0 " + std::to_string(geteuid()) + " 1",
                      group = "0 " + std::to_string(getegid()) + " 1";
    const bool alone = unshare(CLONE_NEWNS) == 0 ||
                       (unshare(CLONE_NEWNS | CLONE_NEWUSER) == 0 &&  // the nameless make no files
                        (std::ofstream("/proc/self/uid_map") << user << std::flush) &&
                        (std::ofstream("/proc/self/setgroups") << "deny" << std::flush) &&
                        (std::ofstream("/proc/self/gid_map") << group << std::flush));
    if (!alone || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", room.c_str(), "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "no file system of its own for this process";
    }
    FillUp("full disks", 200, [&](unsigned i) {
        const unsigned pages = i == kNoLimit ? 2048 : i % 49 + 3;
        const std::string size = "size=" + std::to_string(4 * pages) + "k";
        return mount(nullptr, room.c_str(), nullptr, MS_REMOUNT, size.c_str());
    });
    umount(room.c_str());
}

TEST_F(Processes, OfTwoThatRaceForAFileAtMostOneWritesAndReadersGetIn) {
    const auto meet = [this] {  // until all three are here
        for (const unsigned mine = mBoard.arrived++; mBoard.arrived <= mine / 3 * 3 + 2;) {
            sched_yield();
        }
    };
    Document("proc").AddFile(mNames[0], Document::AccessCreate);
    const unsigned party = fork() == 0 ? 0 : fork() == 0 ? 1 : 2;  // the last one reads
    int rounds[3] = {}, readers = 0;
    for (unsigned round = 0; round < 1000; ++round) {  // both update, both create, one of each
        Document document("proc");
        const bool creates = round % 4 == 1 || round % 4 == 2 + party;
        const auto mode = party == 2 ? Document::AccessReadOnly
                          : creates  ? Document::AccessCreate
                                     : Document::AccessUpdate;
        party == 2 && round % 8 == 1 ? unlink(PathOf("room/a").c_str()) : 0;
        meet();
        const int code = CodeOf([&] { document.AddFile(mNames[0], mode); });
        // What is being created may be missing, or cut short.
        readers += party == 2 && (round % 4 == 0 ? code == 0 : code != 17);
        mBoard.granted += party == 2 || code == 17 ? 0 : code == 0 ? 1 : 2;
        meet();
        party == 2 ? ++rounds[std::min(mBoard.granted.exchange(0), 2u)] : 0;
        meet();
    }
    party < 2 ? _exit(0) : void();
    EXPECT_TRUE(wait(nullptr) > 0 && wait(nullptr) > 0 && rounds[1] > 0 && readers == 1000);
    EXPECT_EQ(rounds[2], 0);
    std::printf("lock races: 1000 rounds, %d with one grant, %d with none, %d readers let in\n",
                rounds[1], rounds[0], readers);
}

}  // namespace
