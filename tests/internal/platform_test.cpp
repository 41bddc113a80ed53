// The file calls on real files. Cases that change a whole process run in a forked child, whose
// result is the number of things that went wrong.
#include "platform/platform_FileCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr std::uint64_t kFourGiB = std::uint64_t{1} << 32;
constexpr std::uint64_t kFailed = ~std::uint64_t{0};

HANDLE Open(const std::string& path, DWORD access, DWORD disposition = OPEN_EXISTING,
            DWORD share = FILE_SHARE_READ) {
    return CreateFileA(path.c_str(), access, share, nullptr, disposition,
                       FILE_FLAG_RANDOM_ACCESS | FILE_ATTRIBUTE_NORMAL, nullptr);
}

// The error code of an open, 0 when it works; it is closed again.
template <typename... Arguments>
int OpenCode(Arguments... arguments) {
    const HANDLE file = Open(arguments...);
    const bool failed = file == INVALID_HANDLE_VALUE || !CloseHandle(file);
    return failed ? static_cast<int>(GetLastError()) : 0;
}

bool Seek(HANDLE file, std::uint64_t position) {
    LONG high = static_cast<LONG>(position >> 32);
    const DWORD low = SetFilePointer(file, static_cast<LONG>(position), &high, FILE_BEGIN);
    return low == static_cast<DWORD>(position) && (low != UINT32_MAX || GetLastError() == 0);
}

bool Write(HANDLE file, const std::string& data) {
    DWORD written = 77;
    const auto count = static_cast<DWORD>(data.size());
    const bool done = WriteFile(file, data.data(), count, &written, nullptr) != 0;
    EXPECT_EQ(written, done ? count : 0);
    return done;
}

std::string Read(HANDLE file, DWORD length) {
    std::string data(length, '?');
    DWORD got = 77;
    const BOOL done = ReadFile(file, data.data(), length, &got, nullptr);
    return done ? data.substr(0, got) : "failed";
}

std::uint64_t Size(HANDLE file) {
    DWORD high = 77;
    const DWORD low = GetFileSize(file, &high);
    return low == INVALID_FILE_SIZE && GetLastError() != 0 ? kFailed : high * kFourGiB + low;
}

std::vector<int> DescriptorsOn(const char* path) {
    std::vector<int> found;
    for (int i = 0; i < 64; ++i) {
        const std::string link = "/proc/self/fd/" + std::to_string(i);
        std::error_code none;
        if (std::filesystem::equivalent(link, path, none)) {
            found.push_back(i);
        }
    }
    return found;
}

// Gives the result of `body`, or the negated signal that ended the child.
int InChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body() + ::testing::Test::HasFailure());
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Works in a new folder, which holds "plain" with the bytes "content".
struct FileCalls : ::testing::Test {
    std::string mFolder = (std::filesystem::temp_directory_path() / "filecallsXXXXXX").string();

    void SetUp() override {
        ASSERT_TRUE(mkdtemp(mFolder.data()) != nullptr && chdir(mFolder.c_str()) == 0);
        const HANDLE plain = Open("plain", kReadWrite, CREATE_ALWAYS);
        ASSERT_TRUE(Write(plain, "content") && CloseHandle(plain));
    }
    void TearDown() override {
        EXPECT_TRUE(DescriptorsOn("plain").empty() && DescriptorsOn(".").empty());
        ASSERT_EQ(chdir("/"), 0);
        std::filesystem::remove_all(mFolder);
    }
};

TEST_F(FileCalls, EveryFailureToOpenHasItsCode) {
    ASSERT_TRUE(mkdir("folder", 0777) == 0 && mkfifo("pipe", 0666) == 0);
    ASSERT_EQ(symlink("nowhere", "dangling"), 0);
    const struct {
        std::string path;
        int existing, creating;
    } cases[] = {{"plain", 0, 0},
                 {"missing", ENOENT, 0},
                 {mFolder + "/folder/missing", ENOENT, 0},
                 {"dangling", ENOENT, 0},
                 {"missing-folder/x", ENOTDIR, ENOTDIR},
                 {mFolder + "/folder/no/x", ENOTDIR, ENOTDIR},
                 {"plain/x", ENOTDIR, ENOTDIR},
                 {"", ENOTDIR, ENOTDIR},
                 {"folder", EISDIR, EISDIR},
                 {"pipe", ESPIPE, ESPIPE},
                 {"/dev/null", ESPIPE, ESPIPE}};
    for (const auto& c : cases) {
        EXPECT_EQ(OpenCode(c.path, GENERIC_READ), c.existing) << c.path;
        EXPECT_EQ(OpenCode(c.path, kReadWrite), c.existing) << c.path;
        EXPECT_EQ(OpenCode(c.path, kReadWrite, CREATE_ALWAYS), c.creating) << c.path;
    }
    EXPECT_EQ(std::filesystem::file_size("plain"), 0U);
    EXPECT_TRUE(std::filesystem::exists("nowhere") && DescriptorsOn("folder").empty());
}

TEST_F(FileCalls, PositionsAndSizesHave64Bits) {
    const HANDLE file = Open("plain", kReadWrite);
    for (std::uint64_t position : {kFourGiB - 2, kFourGiB - 1, kFourGiB, 2 * kFourGiB - 2,
                                   2 * kFourGiB - 1, 300 * kFourGiB + 5}) {
        Seek(nullptr, 0);  // the code that this leaves must not turn a success into a failure
        EXPECT_TRUE(Seek(file, position) && Write(file, "x")) << position;
        Seek(nullptr, 0);
        EXPECT_EQ(Size(file), position + 1);
        EXPECT_TRUE(Seek(file, position));
        EXPECT_EQ(Read(file, 9), "x") << position;
    }
    EXPECT_TRUE(Seek(file, INT64_MAX) && Read(file, 9).empty());
    EXPECT_TRUE(Seek(file, 1) && Read(file, 2) == "on");
    EXPECT_TRUE(!Seek(file, std::uint64_t{1} << 63) && GetLastError() == EINVAL);
    EXPECT_EQ(Read(file, 4), "tent");
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(FileCalls, OpensConflictWhenOneWritesAndTheOtherDeniesWriting) {
    const DWORD access[] = {GENERIC_READ, kReadWrite}, share[] = {FILE_SHARE_READ, kShareBoth};
    for (unsigned pair = 0; pair < 16; ++pair) {
        const unsigned writes1 = pair & 1, shares1 = pair >> 1 & 1;
        const unsigned writes2 = pair >> 2 & 1, shares2 = pair >> 3;
        const int code = (writes1 && !shares2) || (writes2 && !shares1) ? EBUSY : 0;
        const auto second = [&](DWORD disposition) {
            return OpenCode("plain", access[writes2], disposition, share[shares2]);
        };
        const HANDLE first = Open("plain", access[writes1], OPEN_EXISTING, share[shares1]);
        EXPECT_EQ(second(OPEN_EXISTING), code) << pair;
        EXPECT_EQ(InChild([&] { return second(OPEN_EXISTING); }), code) << pair;
        EXPECT_TRUE(code == 0 || !writes2 || second(CREATE_ALWAYS) == EBUSY) << pair;
        EXPECT_EQ(Read(first, 100), "content") << pair;
        EXPECT_TRUE(CloseHandle(first));
    }
}

TEST_F(FileCalls, TheLockOutlivesOtherOpensAndDiesWithItsProcess) {
    const auto openAndDie = [] {
        const HANDLE writer = Open("plain", kReadWrite);
        const int reader = OpenCode("plain", GENERIC_READ, OPEN_EXISTING, kShareBoth);
        const int second = OpenCode("plain", kReadWrite, OPEN_EXISTING, kShareBoth);
        return writer != nullptr && reader == 0 && second == EBUSY ? raise(SIGKILL) : 1;
    };
    EXPECT_EQ(InChild(openAndDie), -SIGKILL);
    EXPECT_EQ(OpenCode("plain", kReadWrite), 0);
}

TEST_F(FileCalls, AFailedWriteLeavesLengthAndPosition) {
    for (DWORD share : {FILE_SHARE_READ, kShareBoth}) {
        const auto writePastTheLimit = [share] {
            const std::string block(200, 'x');
            const HANDLE file = Open("plain", kReadWrite, CREATE_ALWAYS, share);
            const rlimit limit = {100, 100};
            int wrong = setrlimit(RLIMIT_FSIZE, &limit) != 0 || !Write(file, "content");
            wrong += !Seek(file, 1) || !Write(file, "O");   // the end stays known
            for (std::uint64_t position : {40U, 3U, 7U}) {  // behind the end, over it, at it
                wrong += !Seek(file, position) || Write(file, block) || GetLastError() != EFBIG;
                wrong += Size(file) != 7;
            }
            wrong += !Write(file, "ment") || Size(file) != 11;
            if (share == kShareBoth) {  // what another has written since is not taken back
                const HANDLE other = Open("plain", kReadWrite, OPEN_EXISTING, share);
                wrong += !Seek(other, 49) || !Write(other, "o") || Write(file, block);
                wrong += Size(file) != 50;
            }
            return wrong;
        };
        EXPECT_EQ(InChild(writePastTheLimit), 0) << share;
    }
}

TEST_F(FileCalls, DescriptorsAreAboveTheStandardStreamsAndNotInherited) {
    const auto create = [](const char* name) {
        Open(name, kReadWrite, CREATE_ALWAYS);
        int wrong = 0;
        for (const char* path : {name, "."}) {
            const auto used = DescriptorsOn(path);
            wrong += used.size() != 1 || used[0] < 3 || fcntl(used[0], F_GETFD) != FD_CLOEXEC;
        }
        return wrong;
    };
    EXPECT_EQ(InChild([&] { return create("made"); }), 0);
    EXPECT_EQ(InChild([&] { return close(0) + close(1) + close(2) + create("also made"); }), 0);
}

TEST_F(FileCalls, TheDirectoryOfANewFileIsHeldUntilTheFirstFlush) {
    ASSERT_EQ(symlink("nowhere", "dangling"), 0);
    for (const std::string path : {"made", "made", "dangling"}) {
        const bool isNew = path == "made" && !std::filesystem::exists(path);
        const HANDLE file = Open(path, kReadWrite, CREATE_ALWAYS);
        EXPECT_EQ(DescriptorsOn(".").size(), isNew ? 1U : 0U) << path;
        EXPECT_TRUE(FlushFileBuffers(file) && DescriptorsOn(".").empty());
        EXPECT_TRUE(FlushFileBuffers(file) && CloseHandle(file));
    }
}

TEST_F(FileCalls, AFailedFlushIsNeverForgotten) {
    const HANDLE file = Open("plain", kReadWrite);
    const int descriptor = DescriptorsOn("plain").at(0), spare = dup(descriptor);
    ASSERT_EQ(close(descriptor), 0);
    EXPECT_FALSE(FlushFileBuffers(file));
    ASSERT_EQ(dup2(spare, descriptor), descriptor);
    EXPECT_TRUE(Write(file, "C") && Size(file) == 7) << "the file is well again";
    EXPECT_TRUE(!FlushFileBuffers(file) && GetLastError() == EBADF);
    EXPECT_TRUE(CloseHandle(file) && close(spare) == 0);
}

TEST_F(FileCalls, HandlesThatAreNotOpenFailAndAFailedCloseIsFinal) {
    const HANDLE file = Open("made", kReadWrite, CREATE_ALWAYS);
    const int descriptor = DescriptorsOn("made").at(0);
    ASSERT_EQ(close(descriptor), 0);
    EXPECT_TRUE(!CloseHandle(file) && GetLastError() == EBADF && DescriptorsOn(".").empty());
    ASSERT_EQ(open("plain", O_RDONLY), descriptor);  // somebody takes the number over
    const HANDLE reader = Open("plain", GENERIC_READ);
    for (HANDLE handle : {HANDLE{}, INVALID_HANDLE_VALUE, file}) {
        EXPECT_TRUE(Read(handle, 1) == "failed" && !Write(handle, "x") && !Seek(handle, 1));
        EXPECT_TRUE(Size(handle) == kFailed && GetLastError() == EBADF);
        EXPECT_TRUE(!FlushFileBuffers(handle) && (handle == file || !CloseHandle(handle)));
    }
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(close(descriptor), 0) << "the second call closed another's file";
    EXPECT_TRUE(!Write(reader, "x") && GetLastError() == EBADF && Read(reader, 9) == "content");
    EXPECT_TRUE(CloseHandle(reader));
}

}  // namespace
