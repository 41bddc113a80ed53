// Drives the built program by its path. What it restores is compared by this file's own means.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "internal/TestFolder.h"

namespace fs = std::filesystem;

namespace {

class Snapshots : public TestFolder {
protected:
    // Both of the program's streams go to the file "output" in the test's folder.
    pid_t Start(const std::string& words) const {
        const std::string line =
            "cd " + mFolder.string() + " && exec " SNAPSHOTS_PROGRAM " " + words + " >output 2>&1";
        const pid_t child = fork();
        if (child == 0) {
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(99);
        }
        return child;
    }
    static int Finish(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    void Expect(const std::string& words, int code, const std::string& text = "") const {
        const int found = Finish(Start(words));
        const std::string said = Bytes("output");
        EXPECT_TRUE(found == code && said.find(text) != std::string::npos)
            << words << " gave " << found << " and said: " << said << "; seed " << mSeed;
    }

    // Path, mode, time, target and contents of every entry but the pipes.
    std::string Tree(const std::string& root) const {
        const std::string line = "cd " + PathOf(root) + " && { find . ! -type p -printf " +
                                 "'%p %M %T@ %l\\n'; find . -type f -exec sha1sum {} +; }" +
                                 " | LC_ALL=C sort >" + PathOf("tree");
        EXPECT_EQ(std::system(line.c_str()), 0);
        return Bytes("tree");
    }
    void MakeTree(const std::string& root, unsigned seed, int files) const {
        std::mt19937 random(seed);
        fs::create_directories(PathOf(root + "/sub/deep"));
        for (int i = 0; i < files; ++i) {
            const char* folders[] = {"/", "/sub/", "/sub/deep/"};
            Store(root + folders[i % 3] + "file" + std::to_string(i),
                  std::string(random() % 20000, static_cast<char>('a' + random() % 26)));
        }
    }

    // Kills the program at some moment, then does what it should have done. False for the one thing
    // that a kill may break for good: a pool header cut in two.
    bool KillAndRepeat(const std::string& words) {
        const pid_t child = Start(words);
        usleep(Draw() % static_cast<unsigned>(mWholeRun / std::chrono::microseconds(1)));
        kill(child, SIGKILL);
        mStruck += Finish(child) == -SIGKILL;
        const int code = Finish(Start(words));
        const bool torn = code != 0 && Bytes("output").find("the store can't be used: ") == 11;
        EXPECT_TRUE(code == 0 || (torn && ++mTorn <= 2))
            << words << " said: " << Bytes("output") << "; seed " << mSeed;
        return code == 0;
    }
    unsigned Draw() { return static_cast<unsigned>(mRandom()); }
    const unsigned mSeed = std::random_device()();
    std::mt19937 mRandom{mSeed};
    std::chrono::nanoseconds mWholeRun{};
    int mStruck = 0, mTorn = 0;
};

TEST_F(Snapshots, RestoreGivesBackEveryByteNameModeAndTime) {
    MakeTree("d", 1, 9);
    Store("d/empty", "");
    Store("d/sub/\xff\xfe odd\n\x1b[1m\\name", "odd");
    std::string big(3 * 256 * 1024 + 1, '\0');  // more than the program moves at once
    std::generate(big.begin(), big.end(), [&] { return static_cast<char>(Draw()); });
    Store("d/big", big);
    fs::create_symlink("../no/where", PathOf("d/dangling"));
    fs::create_directory_symlink("sub", PathOf("d/to folder"));
    chmod(PathOf("d/file3").c_str(), 06755);
    chmod(PathOf("d/sub/deep").c_str(), 01755);
    mkfifo(PathOf("d/pipe").c_str(), 0600);
    const timespec old[2] = {{-5, 0}, {-86400, 123456789}};
    utimensat(AT_FDCWD, PathOf("d/sub").c_str(), old, 0);
    utimensat(AT_FDCWD, PathOf("d/dangling").c_str(), old, AT_SYMLINK_NOFOLLOW);
    Expect("take s d", 0, "neither file nor directory nor link: d/pipe");
    Expect("restore s 1 out/r", 0);
    Expect("verify s 1 d", 0);
    EXPECT_EQ(Tree("out/r"), Tree("d"));
    fs::create_directories(PathOf("foreign"));
    Store("foreign/contents", "text");
    Expect("restore s 1 d", 1, "is not empty");
    Expect("restore s 2 r", 1, "snapshot 2 of s is missing or unfinished");
    Expect("push nowhere o", 1, "there is no snapshot store at nowhere");
    Expect("take foreign d", 1, "foreign/contents is a foreign file");
    Expect("take d s", 1, "d is not a snapshot store: it holds");
    Expect("take s s", 1, "s is no directory, or the store itself");
    EXPECT_EQ(Bytes("foreign/contents"), "text");
}

TEST_F(Snapshots, SecondTakeStoresOnlyWhatChangedAndVerifyNamesEachDifference) {
    MakeTree("d", 2, 30);
    Expect("take d/store d", 0, "stored ");  // A store inside the tree is passed over.
    const auto before = fs::file_size(PathOf("d/store/contents"));
    const auto time = fs::last_write_time(PathOf("d/file0"));
    const std::string old = Bytes("d/file0");
    Store("d/file0", std::string(old.size(), '#'));  // Same size, and made to bear the same time.
    fs::last_write_time(PathOf("d/file0"), time);
    Store("d/new", std::string(1000, 'n'));
    fs::remove(PathOf("d/file3"));
    chmod(PathOf("d/sub/file1").c_str(), 0600);
    for (const char* line : {"file0 has other contents", "file3: No such file",
                             "new is not in the snapshot", "sub/file1 has another mode"}) {
        Expect("verify d/store 1 d", 1, line);
    }
    // A new mode is a change as well, as far as the file's stamps tell.
    const auto changed = old.size() + 1000 + fs::file_size(PathOf("d/sub/file1"));
    Expect("take d/store d", 0, "stored " + std::to_string(changed) + " bytes in 3 files");
    EXPECT_LT(fs::file_size(PathOf("d/store/contents")), before + changed + 300);
    Expect("restore d/store 1 first", 0);
    EXPECT_EQ(Bytes("first/file0"), old);
    // Files made at one moment that change places with their folders are told apart.
    fs::create_directories(PathOf("d/1"));
    fs::create_directories(PathOf("d/2"));
    Store("d/1/f", "1");
    Store("d/2/f", "2");
    Expect("take d/store d", 0);
    fs::rename(PathOf("d/1"), PathOf("d/t"));
    fs::rename(PathOf("d/2"), PathOf("d/1"));
    fs::rename(PathOf("d/t"), PathOf("d/2"));
    Expect("take d/store d", 0);
    Expect("verify d/store 4 d", 0);
}

TEST_F(Snapshots, KilledTakesAndPushesCostOnlyThemselvesAndPushTwiceIsPushOnce) {
    for (const char* tree : {"d1", "d2", "d3"}) {
        MakeTree(tree, Draw(), 200);
    }
    Expect("take own d3", 0);
    const auto start = std::chrono::steady_clock::now();
    Expect("take s d1", 0);
    mWholeRun = std::chrono::steady_clock::now() - start;
    Expect("take s d2", 0);
    for (const std::string store : {"a", "b", "c", "e"}) {  // killed in the making, and later on
        if (KillAndRepeat("push s " + store) && KillAndRepeat("take " + store + " d3")) {
            const std::string said = Bytes("output");
            Expect("verify " + store + " " + said[said.rfind("snapshot ") + 9] + " d3", 0);
            Expect("verify " + store + " 1 d1", 0);
            Expect("verify " + store + " 2 d2", 0);
        }
    }
    EXPECT_GT(mStruck, 0);
    Expect("push s own", 0, "2 snapshots pushed");
    const std::string contents = Bytes("own/contents");
    Expect("push s own", 0, "0 snapshots pushed");
    EXPECT_EQ(Bytes("own/contents"), contents);
    Expect("verify own 1 d3", 0);
    Expect("verify own 3 d2", 0);
}

TEST_F(Snapshots, DamageIsNamedAndNothingLeavesTheTargetFolder) {
    fs::create_directories(PathOf("d/xxxx"));
    Store("d/xxxx/good", "good bytes");
    Store("d/xxxx/hurt", "these will be hurt");
    Expect("take s d", 0);
    const std::string trees = Bytes("s/trees");
    std::string hurt = Bytes("s/contents");
    hurt[hurt.find("will be")] ^= 1;
    Store("s/contents", hurt);
    Expect("restore s 1 r", 1, "xxxx/hurt: the stored contents are damaged");
    EXPECT_EQ(Bytes("r/xxxx/good"), "good bytes");
    EXPECT_FALSE(fs::exists(PathOf("r/xxxx/hurt")));
    const std::size_t at = trees.find("xxxx/hurt");
    const auto expectRefused = [&](std::size_t place, const std::string& bytes, std::string path) {
        std::string forged = trees;
        forged.replace(place, bytes.size(), bytes);
        forged[at - 4] = static_cast<char>(path.size());
        Store("s/trees", forged);
        Expect("restore s 1 forged", 1, "has a damaged record: " + path);
    };
    for (const std::string path : {"../../hurt", "/xxxx/hurt", "xxxx//hurt", "xxxx/../hurt",
                                   "xxxx/..", "yyyy/hurt", "xxxx/good"}) {
        expectRefused(at, path + std::string(12 - path.size(), '\0'), path);
    }
    expectRefused(at + 12 + 4 + 8, "\xff\xff\xff\xff", "xxxx/hurt");  // its contents are nowhere
    EXPECT_FALSE(fs::exists(PathOf("forged")));
}

}  // namespace
