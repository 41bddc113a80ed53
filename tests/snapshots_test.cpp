// Drives the built program by its path. What it restores is compared by this file's own means.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "internal/TestFolder.h"

namespace fs = std::filesystem;

namespace {

class Snapshots : public TestFolder {
protected:
    // Both of the program's streams go to the file "output" in the test's folder.
    pid_t Start(const std::string& words, const std::string& before = "") const {
        const std::string line = "cd " + mFolder.string() + " && " + before +
                                 "exec " SNAPSHOTS_PROGRAM " " + words + " >output 2>&1";
        const pid_t child = fork();
        if (child == 0) {
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(99);
        }
        return child;
    }
    int Finish(pid_t child) const {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    void Expect(const std::string& words, int code, const std::string& text = "",
                const std::string& before = "") const {
        const int found = Finish(Start(words, before));
        const std::string said = Bytes("output");
        EXPECT_TRUE(found == code && said.find(text) != std::string::npos)
            << words << " gave " << found << " and said: " << said << "; seed " << mSeed;
    }

    // Path, mode, time, target and contents of every entry but the pipes.
    std::string Tree(const std::string& root) const {
        const std::string line = "cd '" + PathOf(root) + "' && { find . ! -type p -printf " +
                                 "'%p %M %T@ %l\\n'; find . -type f -exec sha1sum {} +; }" +
                                 " | LC_ALL=C sort >'" + PathOf("tree") + "'";
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

    // Kills the program somewhere within the time of a whole run, then does what it should have
    // done. False for the one thing that a kill may break for good: a pool header cut in two.
    bool KillAndRepeat(const std::string& words, int kills) {
        for (; kills > 0; --kills) {
            const pid_t child = Start(words);
            usleep(Draw() % mWholeRun);
            kill(child, SIGKILL);
            mStruck += Finish(child) == -SIGKILL ? 1 : 0;
        }
        const int code = Finish(Start(words));
        const bool torn = code != 0 && Bytes("output").find("the store can't be used: ") == 11;
        EXPECT_TRUE(code == 0 || torn)
            << words << " said: " << Bytes("output") << "; seed " << mSeed;
        EXPECT_LE(mTorn += torn ? 1 : 0, 2);
        return code == 0;
    }
    void TimeWholeRun(const std::string& words) {
        const auto start = std::chrono::steady_clock::now();
        Expect(words, 0);
        const auto time = std::chrono::steady_clock::now() - start;
        mWholeRun = static_cast<unsigned>(time / std::chrono::microseconds(1));
    }
    unsigned Draw() { return static_cast<unsigned>(mRandom()); }
    const unsigned mSeed = std::random_device()();
    std::mt19937 mRandom{mSeed};
    unsigned mWholeRun = 0;
    int mStruck = 0, mTorn = 0;
};

TEST_F(Snapshots, RestoreGivesBackEveryByteNameModeAndTime) {
    MakeTree("d", 1, 9);
    Store("d/empty", "");
    Store("d/sub/\xff\xfe odd\n\x1b[1m\\name", "odd");
    std::string big;
    for (int i = 0; big.size() < 3 * 256 * 1024; ++i) {
        big += std::to_string(i);
    }
    Store("d/big", big);
    fs::create_symlink("../no/where", PathOf("d/dangling"));
    fs::create_directory_symlink("sub", PathOf("d/to folder"));
    chmod(PathOf("d/file0").c_str(), 0400);
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
    Expect("restore s 1 d", 1, "is not empty");
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
    Expect("verify d/store 2 d", 0);
    Expect("restore d/store 1 first", 0);
    EXPECT_EQ(Bytes("first/file0"), old);
    // Files made at one moment that change places with their folders are told apart.
    for (const char* name : {"1", "2"}) {
        fs::create_directory(PathOf(std::string("d/") + name));
        Store(std::string("d/") + name + "/f", name);
    }
    Expect("take d/store d", 0);
    fs::rename(PathOf("d/1"), PathOf("d/t"));
    fs::rename(PathOf("d/2"), PathOf("d/1"));
    fs::rename(PathOf("d/t"), PathOf("d/2"));
    Expect("take d/store d", 0);
    Expect("verify d/store 4 d", 0);
}

TEST_F(Snapshots, PushTwiceIsPushOnceAlsoIntoAStoreWithSnapshotsOfItsOwn) {
    MakeTree("d", 3, 20);
    MakeTree("own", 4, 10);
    Expect("take other own", 0);
    std::vector<std::string> trees = {Tree("own")};
    for (const char round : {'1', '2', '3'}) {
        Store("d/sub/changing", std::string(5000, round));
        Expect("take s d", 0);
        trees.push_back(Tree("d"));
        Expect("push s other", 0, "1 snapshots pushed");
        const std::string contents = Bytes("other/contents");
        Expect("push s other", 0, "0 snapshots pushed");
        EXPECT_EQ(Bytes("other/contents"), contents);
    }
    for (std::size_t i = 0; i < trees.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        Expect("restore other " + number + " out" + number, 0);
        EXPECT_EQ(Tree("out" + number), trees[i]);
    }
    Expect("push s fresh", 0, "3 snapshots pushed");
    EXPECT_EQ(Bytes("fresh/contents").size(), Bytes("s/contents").size());
}

TEST_F(Snapshots, KilledTakesCostOnlyThemselves) {
    MakeTree("base", Draw(), 300);
    TimeWholeRun("take s base");
    for (int round = 0; round < 15; ++round) {
        MakeTree("d", Draw(), 300);
        // Every third kill meets a store in the making, the others a copy of a sound one.
        const std::string store = "s" + std::to_string(round);
        round % 3 == 0 ? void() : fs::copy(PathOf("s"), PathOf(store));
        if (KillAndRepeat("take " + store + " d", 1)) {
            const std::string said = Bytes("output");
            const std::string number = said.substr(said.rfind("snapshot ") + 9, 2);
            Expect("verify " + store + " " + std::to_string(std::stoi(number)) + " d", 0);
            round % 3 == 0 ? void() : Expect("verify " + store + " 1 base", 0);
        }
    }
    EXPECT_GT(mStruck, 0);
}

TEST_F(Snapshots, KilledPushesRepeatedEndRight) {
    for (const char* tree : {"d1", "d2", "d3", "d4"}) {
        MakeTree(tree, Draw(), 150);
        Expect(std::string("take s ") + tree, 0);
    }
    TimeWholeRun("push s scratch");
    for (const std::string other : {"a", "b", "c", "e", "f"}) {
        if (KillAndRepeat("push s " + other, 3)) {
            for (const std::string number : {"1", "2", "3", "4"}) {
                Expect("verify " + other + " " + number + " d" + number, 0);
            }
            Expect("list " + other, 0, "\n4  ");
            EXPECT_EQ(Bytes("output").find("unfinished"), std::string::npos);
        }
    }
    EXPECT_GT(mStruck, 0);
}

TEST_F(Snapshots, SecondWriterIsRefusedAndReaderIsNot) {
    MakeTree("d", 5, 3);
    Expect("take s d", 0);
    Store("d/big", std::string(64 * 1024 * 1024, 'b'));
    const pid_t writer = Start("take s d");
    while (fs::file_size(PathOf("s/contents")) < 1024 * 1024 &&
           waitpid(writer, nullptr, WNOHANG) == 0) {
        usleep(100);
    }
    ASSERT_EQ(kill(writer, SIGSTOP), 0);
    Expect("take s d", 1, "another process is writing s");
    Expect("list s", 0, "2  unfinished");
    Expect("restore s 2 out", 1, "snapshot 2 of s is missing or unfinished");
    Expect("restore s 1 out", 0);
    kill(writer, SIGCONT);
    EXPECT_EQ(Finish(writer), 0);
    Expect("verify s 2 d", 0);
    Store("d/big", std::string(3 * 1024 * 1024, 'c'));
    Expect("take s d", 1, "can't write to the store: File too large",
           "trap '' XFSZ; ulimit -f 133120; ");  // 65 MiB
    Expect("take s d", 0, "snapshot 4: ");
    Expect("verify s 4 d", 0);
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
    for (const std::string path : {"../../hurt", "/xxxx/hurt", "xxxx//hurt", "xxxx/../hurt",
                                   "xxxx/../..", "yyyy/hurt", "xxxx/good"}) {
        std::string forged = trees;
        forged.replace(at, 12, path + std::string(12 - path.size(), '\0'));
        forged[at - 4] = static_cast<char>(path.size());
        Store("s/trees", forged);
        Expect("restore s 1 forged", 1, "has a damaged record: " + path);
    }
    std::string forged = trees;
    forged.replace(at + 12 + 4 + 8, 4, 4, '\xff');  // its contents are nowhere
    Store("s/trees", forged);
    Expect("restore s 1 forged", 1, "has a damaged record: xxxx/hurt");
    EXPECT_FALSE(fs::exists(PathOf("forged")));
}

TEST_F(Snapshots, MissingAndForeignStoresAreNamed) {
    MakeTree("d", 7, 3);
    Expect("take s d", 0);
    fs::create_directories(PathOf("foreign"));
    Store("foreign/contents", "text");
    Store("foreign/trees", std::string(500, 't'));
    fs::create_directories(PathOf("theirs"));
    OxbowRpm_Document("othr").AddFile(Name("theirs/contents"), OxbowRpm_Document::AccessCreate);
    const char* cases[][2] = {
        {"list nowhere", "there is no snapshot store at nowhere"},
        {"push nowhere o", "there is no snapshot store at nowhere"},
        {"take foreign d", "foreign/contents is a foreign file"},
        {"list foreign", "foreign/trees is a foreign file"},
        {"take theirs d", "theirs/contents is a foreign file"},
        {"take d s", "d is not a snapshot store: it holds"},
        {"take s s", "s is no directory, or the store itself"},
        {"restore s 2 r", "snapshot 2 of s is missing or unfinished"},
        {"take o nodir", "nodir is no directory"},
    };
    for (const auto& c : cases) {
        Expect(c[0], 1, c[1]);
    }
    EXPECT_EQ(Bytes("foreign/contents"), "text");
    EXPECT_FALSE(fs::exists(PathOf("nowhere")) || fs::exists(PathOf("o")));
}

}  // namespace
