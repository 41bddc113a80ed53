// Drives the built program as a user does: through the shell, whose means compare what it restores.

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>

#include "internal/TestFolder.h"

namespace {

/** Works in its folder. */
class Snapshots : public TestFolder {
protected:
    Snapshots() { EXPECT_EQ(chdir(mFolder.c_str()), 0); }
    // What is said goes to the file "output".
    static int Shell(const std::string& line) {
        const std::string program = "snapshots() { " SNAPSHOTS_PROGRAM " \"$@\"; }; ";
        const int status = std::system((program + "{ " + line + "; } >output 2>&1").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    void Expect(const std::string& line, int code = 0, const std::string& text = "") const {
        const int found = Shell(line);
        const std::string said = Bytes("output");
        EXPECT_EQ(found, code) << line << " said: " << said;
        EXPECT_NE(said.find(text), std::string::npos) << line << " said: " << said;
    }
    void MakeTree(const std::string& root, unsigned files) {
        std::filesystem::create_directories(root + "/sub/deep");
        for (unsigned i = 0; i < files; ++i) {
            const char* folders[] = {"/", "/sub/", "/sub/deep/"};
            Store(root + folders[i % 3] + "file" + std::to_string(i),
                  std::string(1 + mRandom() % 20000, static_cast<char>('a' + mRandom() % 26)));
        }
    }

    const unsigned mSeed = std::random_device()();
    const testing::ScopedTrace mTrace{__FILE__, __LINE__, "seed " + std::to_string(mSeed)};
    std::mt19937 mRandom{mSeed};
};

TEST_F(Snapshots, RestoreBringsBackEveryByteNameModeAndTime) {
    MakeTree("d", 9);
    Store("d/sub/\xff\xfe odd\n\x1b[1m\\name", "odd");
    // The random bytes are more than the program moves at once, and the times lie before 1970.
    Expect("cd d && >empty && mkfifo pipe && ln -s ../no/where dangling && ln -s sub 'to sub'");
    Expect("cd d && head -c 786433 /dev/urandom >big && chmod 6755 file3 && chmod 1755 sub/deep");
    Expect("touch -hd @-86399.876543211 d/sub d/dangling");
    Expect("snapshots take s d", 0, "neither file nor directory nor link: d/pipe");
    Expect("snapshots restore s 1 out/r && snapshots verify s 1 d");
    // An archive holds path, mode, time, target and contents of every entry.
    Expect(
        "archive() { tar -C $1 --exclude=pipe --sort=name --format=posix"
        " --pax-option=exthdr.name=%f,delete=atime,delete=ctime -c . >$2; };"
        "archive d 1 && archive out/r 2 && cmp 1 2");
    Expect("snapshots restore s 1 d", 1, "is not empty");
    Expect("snapshots restore s 2 r", 1, "snapshot 2 of s is missing or unfinished");
    Expect("mkdir f; echo text >f/contents; snapshots take f d || cat f/*", 0,
           "f/contents is a foreign file\ntext\n");
}

TEST_F(Snapshots, SecondTakeStoresOnlyWhatChangedAndVerifyNamesEachDifference) {
    MakeTree("d", 30);
    usleep(100000);  // A file whose stamps are no older than the take is read again by the next.
    Expect("snapshots take d/store d");  // A store inside the tree is passed over.
    const std::size_t before = Bytes("d/store/contents").size();
    const std::size_t added = (Bytes("d/file0") + Bytes("d/sub/file1")).size() + 1000;
    // file0 keeps its size, and is made to bear the same time.
    Expect("cp -p d/file0 old && tr a-z A-Z <old >d/file0 && touch -r old d/file0");
    Expect("rm d/file3 && chmod 600 d/sub/file1 && head -c 1000 /dev/zero >d/new");
    for (const char* line : {"file0 has other contents", "file3: No such file",
                             "new is not in the snapshot", "sub/file1 has another mode"}) {
        Expect("snapshots verify d/store 1 d", 1, line);
    }
    // A new mode is a change as well, as far as the file's stamps show.
    Expect("snapshots take d/store d", 0, "stored " + std::to_string(added) + " bytes in 3 files");
    EXPECT_LT(Bytes("d/store/contents").size(), before + added + 300);
    Expect("snapshots restore d/store 1 first && cmp old first/file0");
    // Files made at one moment that change places with their folders are distinguished.
    Expect("cd d && mkdir 1 2 && echo 1 >1/f && echo 2 >2/f && snapshots take store .");
    Expect("cd d && mv 1 t && mv 2 1 && mv t 2 && snapshots take store .");
    Expect("snapshots verify d/store 4 d");
}

TEST_F(Snapshots, KilledTakesAndPushesCostOnlyThemselvesAndPushTwiceIsPushOnce) {
    for (const char* tree : {"d1", "d2", "d3"}) {
        MakeTree(tree, 200);
    }
    Expect("snapshots take own d3 && snapshots take s d1");
    const auto start = std::chrono::steady_clock::now();
    Expect("snapshots take s d2");
    const std::chrono::duration<double> wholeRun = std::chrono::steady_clock::now() - start;
    int struck = 0, torn = 0;
    // Killed at some moment, then done again. False for the one thing that a kill may break
    // forever: a pool header cut in two.
    const auto killAndRepeat = [&](const std::string& words) {
        const double moment = wholeRun.count() * std::uniform_real_distribution()(mRandom);
        struck += Shell("timeout --foreground -s KILL " + std::to_string(moment) +
                        " " SNAPSHOTS_PROGRAM " " + words) == 128 + SIGKILL;
        const bool done = Shell("snapshots " + words) == 0;
        const bool cut = !done && Bytes("output").find("the store can't be used: ") == 11;
        torn += cut;
        if (!cut) {
            EXPECT_TRUE(done) << words << " said: " << Bytes("output");
        }
        return done;
    };
    for (const std::string store : {"a", "b", "c", "e"}) {  // killed in the making, and later on
        if (killAndRepeat("push s " + store) && killAndRepeat("take " + store + " d3")) {
            const std::string verify = "snapshots verify " + store;
            Expect(verify + " 1 d1 && " + verify + " 2 d2");
            Expect(verify + " 3 d3 || " + verify + " 4 d3");  // the killed one may be the third
        }
    }
    EXPECT_GT(struck, 0) << "no kill came in time";
    EXPECT_LE(torn, 2) << "stores with a header cut in two";
    Expect("snapshots push s own", 0, "2 snapshots pushed");
    Expect("cp own/contents . && snapshots push s own && cmp contents own/contents", 0,
           "0 snapshots pushed");
    Expect("snapshots verify own 1 d3 && snapshots verify own 3 d2");
}

TEST_F(Snapshots, DamageIsNamedAndNothingLeavesTheTargetFolder) {
    Expect("mkdir -p d/xxxx && echo sound >d/xxxx/good && echo damaged >d/xxxx/hurt");
    Expect("snapshots take s d && LC_ALL=C sed -i s/damaged/changed/ s/contents");
    Expect("snapshots restore s 1 r", 1, "xxxx/hurt: the stored contents are damaged");
    Expect("diff -r d r", 1, "Only in d/xxxx: hurt");
    for (const char* path : {"../x/hurt", "/xxx/hurt"}) {
        Expect(std::string("cp s/trees t && LC_ALL=C sed -i s,xxxx/hurt,") + path + ", s/trees");
        Expect("snapshots restore s 1 forged", 1, "has a damaged record");
        Expect("mv t s/trees");
    }
    EXPECT_FALSE(std::filesystem::exists("forged"));
}

}  // namespace
