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
    std::atomic<unsigned> arrived{0}, refused{0}, readers{0}, grants[1000] = {};
};

/** The file "a" lies where the process works: in the test's folder, or on a disk of its own. */
class Processes : public TestFolder {
protected:
    Processes() { EXPECT_EQ(chdir(mFolder.c_str()), 0); }
    unsigned Draw(unsigned below) { return static_cast<unsigned>(mRandom() % below); }
    /** Works until nothing more fits, then looks, every second time opens again, and goes on. */
    template <class Action>
    void FillUp(const char* what, unsigned rounds, Action confine) {
        rounds /= Stride();
        for (unsigned i = 0; i < rounds && !HasFailure(); ++i) {
            Writer::Progress progress;
            const unsigned seed = Draw(~0u);
            Writer writer(mName, seed, progress);
            EXPECT_EQ(confine(true), 0);
            EXPECT_THROW(writer.Steps(5000), OxbowExcWriteError);
            const unsigned done = progress.returned;
            if (Draw(2) == 0) {
                writer.OpenAgain();  // no header is torn
            }
            const Writer::Contents left = Writer::Read(mName);
            EXPECT_EQ(confine(false), 0);
            writer.NewPools();
            writer.Steps(20);
            Writer(mTwin, seed, progress).Steps(done);
            const Writer::Contents before = Writer::Read(mTwin);
            EXPECT_TRUE(Writer::Keeps(left, before)) << "on the full disk, seed " << seed;
            EXPECT_TRUE(Writer::Keeps(Writer::Read(mName), before)) << "afterwards, seed " << seed;
        }
        std::printf("%s: %u reached, all read back whole (seed %u)\n", what, rounds, mSeed);
    }
    static constexpr int kRights = PROT_READ | PROT_WRITE, kKind = MAP_SHARED | MAP_ANONYMOUS;
    const FennelUnicodeString mName{"a"}, mTwin = Name("twin");
    Board& mBoard = *new (mmap(nullptr, sizeof(Board), kRights, kKind, -1, 0)) Board;
    const unsigned mSeed = Seed();
    std::mt19937 mRandom{mSeed};
};

TEST_F(Processes, KilledWritersLoseNothingThatHadReturned) {
    const unsigned kills = (std::getenv("OXBOW_TORTURE") != nullptr ? 2000 : 200) / Stride();
    Writer::Progress& progress = mBoard.progress;
    unsigned torn = 0, whole = 0;
    for (unsigned i = 0; i < kills && !HasFailure(); ++i) {
        progress.begun = progress.returned = 0;
        const unsigned seed = Draw(~0u), operation = 1 + Draw(100);
        const pid_t child = fork();
        if (child == 0) {
            Writer(mName, seed, progress).Steps(~0u);
        }
        int status = 0;
        while (progress.begun < operation && waitpid(child, &status, WNOHANG) == 0) {
            sched_yield();
        }
        usleep(Draw(100));
        kill(child, SIGKILL);
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself";

        Writer::Progress own;
        Writer twin(mTwin, seed, own);
        twin.Steps(progress.returned);
        const Writer::Contents before = Writer::Read(mTwin);
        twin.Steps(progress.begun - progress.returned);
        try {
            whole += Writer::Keeps(Writer::Read(mName), before) &&
                     Writer::Keeps(Writer::Read(mName, Document::AccessUpdate), before) &&
                     Writer::Keeps(Writer::Read(mName), before);
        } catch (const FennelException& failure) {
            const int code = failure.GetCode();
            torn += twin.WritesHeader() && (code == 5 || code == 6 || code == 9);
            for (const std::string& data : before) {
                EXPECT_NE(Bytes("a").find(data), std::string::npos);
            }
        }
        EXPECT_EQ(whole + torn, i + 1) << "seed " << mSeed;
    }
    std::printf(
        "killed writers: %u kills, %u read back whole, %u in the unmendable case (seed %u)\n",
        kills, whole, torn, mSeed);
}

TEST_F(Processes, FilesAtTheirSizeLimitLoseNothingAndGoOn) {
    signal(SIGXFSZ, SIG_IGN);
    FillUp("size limits", 300, [this](bool narrow) {
        const unsigned spans[] = {400, 400000, 20000, 20000};
        const rlimit limit = {narrow ? 160 + Draw(spans[Draw(4)]) : RLIM_INFINITY, RLIM_INFINITY};
        return setrlimit(RLIMIT_FSIZE, &limit);
    });
}

/** One that is mounted at no path: it can't be in the way, or stay behind. */
int NewFileSystem() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const int made = fsopen("tmpfs", FSOPEN_CLOEXEC);
    if (made < 0 && unshare(CLONE_NEWNS | CLONE_NEWUSER) == 0) {  // who may not, may there
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        return fsopen("tmpfs", FSOPEN_CLOEXEC);
    }
    return made;
}

TEST_F(Processes, FilesOnAFullDiskLoseNothingAndGoOn) {
    const int disk = NewFileSystem();
    fsconfig(disk, FSCONFIG_CMD_CREATE, nullptr, nullptr, 0);
    if (fchdir(fsmount(disk, FSMOUNT_CLOEXEC, 0)) != 0) {
        std::printf("full disks: none, this process has no right to mount a file system\n");
        GTEST_SKIP();
    }
    FillUp("full disks", 200, [&](bool narrow) {
        const std::string size = std::to_string(narrow ? 4 * (3 + Draw(49)) : 8192) + "k";
        return fsconfig(disk, FSCONFIG_SET_STRING, "size", size.c_str(), 0) +
               fsconfig(disk, FSCONFIG_CMD_RECONFIGURE, nullptr, nullptr, 0);
    });
}

TEST_F(Processes, OfTwoThatRaceForAFileAtMostOneWritesAndReadersGetIn) {
    const auto meet = [this] {  // until both are here
        for (const unsigned mine = mBoard.arrived++; mBoard.arrived <= (mine | 1);) {
            sched_yield();
        }
    };
    const unsigned party = fork() == 0 ? 1 : 0;
    unsigned rounds[3] = {};
    for (unsigned round = 0; round < 1000; ++round) {
        const FennelUnicodeString name(std::to_string(round / 8).c_str());
        // Both create, a new file or an old one, both update, or one does either.
        const bool creates = round % 4 == 0 || round % 4 == 2 + party;
        Document writer("proc"), reader("proc");
        meet();
        const int code = CodeOf([&] {
            writer.AddFile(name, creates ? Document::AccessCreate : Document::AccessUpdate);
        });
        mBoard.grants[round] += code == 0;
        mBoard.refused += code == 17;
        meet();
        ++rounds[mBoard.grants[round]];
        mBoard.readers += CodeOf([&] { reader.AddFile(name, Document::AccessReadOnly); }) == 0;
    }
    if (party == 1) {
        _exit(0);
    }
    EXPECT_GT(wait(nullptr), 0);
    EXPECT_GT(rounds[1], 0u) << "no round has a grant";
    EXPECT_EQ(mBoard.readers, 2000u);
    EXPECT_EQ(rounds[1] + mBoard.refused, 2000u) << rounds[2] << " double grants";
    std::printf("lock races: 1000 rounds, %u with one grant, %u with none, %u readers let in\n",
                rounds[1], rounds[0], mBoard.readers.load());
}

}  // namespace
