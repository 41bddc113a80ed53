// The file calls on real files. Cases that change a whole process run in a forked child.
#include "platform/platform_FileCalls.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <vector>

#include "internal/TestFolder.h"

using std::string, std::to_string, std::uint64_t;

static int gSystemSyncs = 0;
// Stands in the place of the system's own. Every other call is interrupted.
int syncfs(int) noexcept {
    errno = EINTR;
    return ++gSystemSyncs % 2 == 0 ? 0 : -1;
}

namespace {

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr uint64_t k4G = uint64_t{1} << 32, kFailed = ~uint64_t{0}, kHere = kFailed;

HANDLE Open(const string& path, DWORD access = kReadWrite, DWORD how = OPEN_EXISTING,
            DWORD share = FILE_SHARE_READ) {
    return CreateFileA(path.c_str(), access, share, nullptr, how, 0, nullptr);
}
// 0 for a call that has worked, otherwise the code of its failure.
DWORD Code(BOOL worked) {
    EXPECT_TRUE(worked || GetLastError() != 0) << "a failure without a code";
    return worked ? 0 : GetLastError();
}
DWORD Close(HANDLE file) {
    return Code(file == INVALID_HANDLE_VALUE ? 0 : CloseHandle(file));
}
DWORD Seek(HANDLE file, uint64_t position) {
    LONG high = static_cast<LONG>(position >> 32);
    const DWORD low = SetFilePointer(file, static_cast<LONG>(position), &high, FILE_BEGIN);
    return Code(low == static_cast<DWORD>(position) && (low != UINT32_MAX || GetLastError() == 0));
}
DWORD Write(HANDLE file, const string& data, uint64_t position = kHere) {
    EXPECT_EQ(position == kHere ? 0 : Seek(file, position), 0) << position;
    DWORD done = 77;
    const BOOL well = WriteFile(file, data.data(), static_cast<DWORD>(data.size()), &done, nullptr);
    EXPECT_EQ(done, well ? data.size() : 0);
    return Code(well);
}
string Read(HANDLE file, DWORD length) {
    string data(length, '?');
    const BOOL well = ReadFile(file, data.data(), length, &length, nullptr);
    return well ? data.substr(0, length) : "code " + to_string(GetLastError());
}
uint64_t Size(HANDLE file) {
    DWORD high = 77;
    const DWORD low = GetFileSize(file, &high);
    return low == INVALID_FILE_SIZE && GetLastError() != 0 ? kFailed : high * k4G + low;
}
// The first descriptor above the standard streams that is open on the path, 64 for none.
int DescriptorOn(const string& path) {
    std::error_code none;
    int i = 3;
    while (i < 64 && !std::filesystem::equivalent("/proc/self/fd/" + to_string(i), path, none)) {
        ++i;
    }
    return i;
}
template <class Steps>
void InChild(const string& name, Steps steps) {
    SCOPED_TRACE(name);
    if (const pid_t child = fork(); child != 0) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "256: the failures above; less: the signal that ended it";
        return;
    }
    steps();
    _exit(testing::Test::HasFailure());
}
void Limit(decltype(RLIMIT_FSIZE) resource, rlim_t most) {
    const rlimit limit = {most, most};
    EXPECT_EQ(setrlimit(resource, &limit), 0);
}

// Works in its folder, which holds "plain" with the bytes "content" and a link to nowhere.
struct FileCalls : TestFolder {
    FileCalls() {
        Store("plain", "content");
        EXPECT_EQ(chdir(mFolder.c_str()), 0);
        EXPECT_EQ(symlink("nowhere", "dangling"), 0);
    }
    ~FileCalls() override {
        EXPECT_EQ(DescriptorOn("plain"), 64) << "left open";
        EXPECT_EQ(DescriptorOn("."), 64) << "left open";
        EXPECT_EQ(chdir("/"), 0);
    }
};

TEST_F(FileCalls, OpeningFailsWithTheCodeOfItsCause) {
    ASSERT_EQ(mkdir("folder", 0777), 0);
    ASSERT_EQ(mkfifo("pipe", 0666), 0);
    const std::map<DWORD, std::vector<string>> pathsOfCodes = {
        {0, {"plain"}},
        {ENOENT, {"missing", PathOf("folder/missing"), "dangling"}},
        {ENOTDIR, {"plain/x", PathOf("folder/no/x"), "no-folder/x", ""}},
        {EISDIR, {"folder"}},
        {ESPIPE, {"pipe", "/dev/null"}}};
    for (const auto& [code, paths] : pathsOfCodes) {
        for (const string& path : paths) {
            EXPECT_EQ(Close(Open(path, GENERIC_READ)), code) << path;
            EXPECT_EQ(Close(Open(path)), code) << path;
            const DWORD created = code == ENOENT ? 0 : code;
            EXPECT_EQ(Close(Open(path, GENERIC_READ, CREATE_ALWAYS)), created) << path;
        }
    }
    EXPECT_EQ(Bytes("plain"), "") << "creating has not emptied it";
    EXPECT_EQ(DescriptorOn("folder"), 64) << "left open";
}

TEST_F(FileCalls, PositionsAndSizesHave64Bits) {
    const HANDLE file = Open("plain");
    for (const uint64_t at : {k4G - 2, k4G - 1, k4G, 2 * k4G - 2, 2 * k4G - 1, 300 * k4G + 5}) {
        Seek(nullptr, 0);  // the code that this leaves must not turn a success into a failure
        EXPECT_EQ(Write(file, "x", at), 0) << at;
        Seek(nullptr, 0);
        EXPECT_EQ(Size(file), at + 1);
        EXPECT_EQ(Seek(file, at), 0);
        EXPECT_EQ(Read(file, 9), "x") << at;
    }
    EXPECT_EQ(Seek(file, INT64_MAX), 0);
    EXPECT_EQ(Read(file, 9), "");
    EXPECT_EQ(SetFilePointer(file, 1, nullptr, FILE_BEGIN), 1) << "a null high word counts as 0";
    EXPECT_EQ(Read(file, 2), "on");
    EXPECT_EQ(Seek(file, uint64_t{1} << 63), EINVAL);
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN + 1), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(Read(file, 4), "tent") << "a refused position is taken";
    EXPECT_EQ(GetFileSize(file, nullptr), 6);
    EXPECT_EQ(Close(file), 0);
}

TEST_F(FileCalls, AReadersFirstSizeIsThatOfItsOpeningAndAllOthersAreFresh) {
    const HANDLE reader = Open("plain", GENERIC_READ, OPEN_EXISTING, kShareAll);
    const HANDLE writer = Open("plain", kReadWrite, OPEN_EXISTING, kShareAll);
    Store("plain", "more content");
    EXPECT_EQ(Size(reader), 7);
    EXPECT_EQ(Size(reader), 12);
    EXPECT_EQ(Size(writer), 12);
    EXPECT_EQ(Close(reader) + Close(writer), 0);
}

TEST_F(FileCalls, AnOpenIsRefusedWhereOneWritesAndTheOtherDeniesWriting) {
    const struct {
        string name;
        DWORD access, how, share;
        string passes;  // beside the first four of these
    } kinds[] = {{"a reader", GENERIC_READ, OPEN_EXISTING, kShareAll, "yyyy"},
                 {"a reader that denies", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ, "yynn"},
                 {"a writer", kReadWrite, OPEN_EXISTING, kShareAll, "ynyn"},
                 {"a writer that denies", kReadWrite, OPEN_EXISTING, FILE_SHARE_READ, "ynnn"},
                 {"a creator", GENERIC_READ, CREATE_ALWAYS, kShareAll, "ynyn"},
                 {"a creator that denies", GENERIC_READ, CREATE_ALWAYS, FILE_SHARE_READ, "ynnn"}};
    for (int i = 0; i < 4; ++i) {
        for (const auto& [name, access, how, share, passes] : kinds) {
            SCOPED_TRACE(name + " beside " + kinds[i].name);
            Store("plain", "content");
            const HANDLE first = Open("plain", kinds[i].access, OPEN_EXISTING, kinds[i].share);
            const bool opens = passes[static_cast<unsigned>(i)] == 'y';
            EXPECT_EQ(Close(Open("plain", access, how, share)), opens ? 0 : EBUSY);
            EXPECT_EQ(Bytes("plain"), opens && how == CREATE_ALWAYS ? "" : "content");
            EXPECT_EQ(Write(first, "c"), kinds[i].access == GENERIC_READ ? EBADF : 0);
            EXPECT_EQ(Close(first), 0);
        }
    }
}

TEST_F(FileCalls, AFailedWriteLeavesLengthBytesAndPosition) {
    for (const bool alone : {false, true}) {
        Store("plain", "content");
        InChild(alone ? "alone" : "beside others", [&] {
            const DWORD share = alone ? FILE_SHARE_READ : kShareAll;
            const HANDLE file = Open("plain", kReadWrite, OPEN_EXISTING, share);
            signal(SIGXFSZ, SIG_DFL);
            Limit(RLIMIT_FSIZE, 200);
            for (const uint64_t position : {200u, 250u, 40u, 3u, 7u}) {
                EXPECT_EQ(Write(file, string(300, 'x'), position), EFBIG) << position;
                EXPECT_EQ(Bytes("plain"), "content") << position;
            }
            EXPECT_EQ(Write(file, "ment"), 0) << "the position is still 7";
            EXPECT_EQ(Write(file, "", 90), 0) << "no bytes";
            EXPECT_EQ(Write(file, string(300, 'x'), 9), EFBIG);
            EXPECT_EQ(Bytes("plain"), "contentment");
            // Another makes it longer: one that may, or one that knows no locks and goes farther.
            EXPECT_EQ(truncate("plain", 100), 0);
            Limit(RLIMIT_FSIZE, alone ? 80 : 105);
            EXPECT_EQ(Write(file, string(alone ? 70 : 90, 'x'), 20), EFBIG);
            EXPECT_EQ(Size(file), 100);
            Limit(RLIMIT_FSIZE, 60);
            EXPECT_EQ(Write(file, "inside", 54), 0) << "up to the limit";
        });
    }
    Store("plain", "content");
    // Unreadable bytes stop the part inside, which is written last: the four over "tent".
    void* const pages = mmap(nullptr, 1 << 17, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const readable = static_cast<char*>(pages) + (1 << 16);
    ASSERT_EQ(mprotect(readable, 1 << 16, PROT_READ), 0);
    const HANDLE file = Open("plain");
    DWORD done = 3;
    EXPECT_EQ(Read(file, done), "con");
    EXPECT_EQ(Code(WriteFile(file, readable - 4, 9, &done, nullptr)), EFAULT);
    EXPECT_EQ(Bytes("plain"), "content");
    EXPECT_EQ(Close(file), 0);
}

TEST_F(FileCalls, DescriptorsArePrivateAndAboveTheStandardStreams) {
    for (const int closed : {0, 3}) {
        InChild(to_string(closed) + " standard streams are closed", [&] {
            const int reports = fcntl(STDOUT_FILENO, F_DUPFD, 10);
            for (int stream = 0; stream < closed; ++stream) {
                close(stream);
            }
            const string made = "made" + to_string(closed);
            Open(made, kReadWrite, CREATE_ALWAYS);
            dup2(reports, STDOUT_FILENO);
            EXPECT_EQ(fcntl(DescriptorOn(made), F_GETFD), FD_CLOEXEC);
            EXPECT_EQ(fcntl(DescriptorOn("."), F_GETFD), FD_CLOEXEC);
        });
    }
    for (const DWORD code :
         {DWORD{EINVAL}, DWORD{EMFILE}}) {  // no number above 2 is allowed, or none is free
        InChild("moving up fails with code " + to_string(code), [&] {
            const int last = dup(STDERR_FILENO);
            close(STDIN_FILENO);
            Limit(RLIMIT_NOFILE, code == EINVAL ? 3 : static_cast<rlim_t>(last) + 1);
            EXPECT_EQ(Close(Open("plain")), code);
            EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "the low one is left open";
        });
    }
}

TEST_F(FileCalls, AFlushSyncsTheFolderOfANewFileAndFailsForeverOnceItHasFailed) {
    // The longest path that there is, of 4,095 bytes: a folder, a slash and a letter.
    string deep(PATH_MAX - 3 - mFolder.native().size(), 'd');
    for (std::size_t i = 0; i < deep.size(); i += 200) {
        deep[i] = '/';
    }
    std::filesystem::create_directories(deep = mFolder.native() + deep);
    for (const auto& [folder, name] : {std::pair(string("."), "new"), {deep, "n"}}) {
        const HANDLE file = Open(folder + '/' + name, kReadWrite, CREATE_ALWAYS);
        const int held = DescriptorOn(folder), spare = dup(held);
        ASSERT_EQ(close(held), 0) << name;
        EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF) << name;
        ASSERT_EQ(dup2(spare, held), held) << name;
        EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF) << name << ": the failure is forgotten";
        EXPECT_EQ(Close(file), 0) << name;
        EXPECT_EQ(close(spare), 0) << name;
    }
    const HANDLE plain = Open("plain", kReadWrite, CREATE_ALWAYS);
    EXPECT_EQ(DescriptorOn("."), 64) << "the folder of a file that was there";
    const HANDLE made = Open("made", kReadWrite, CREATE_ALWAYS);
    int pipes[2] = {};
    ASSERT_EQ(pipe(pipes), 0);
    dup2(pipes[0],
         DescriptorOn("."));  // fails with EINVAL, as where folders are not synced by hand
    const HANDLE linked = Open("dangling", kReadWrite, CREATE_ALWAYS);
    for (const HANDLE file : {plain, made, linked, plain, made, linked}) {
        EXPECT_EQ(Code(FlushFileBuffers(file)), 0);
    }
    EXPECT_EQ(gSystemSyncs, 2) << "where the link leads is on the device";
    EXPECT_EQ(Close(plain) + Close(made) + Close(linked), 0);
    EXPECT_EQ(close(pipes[0]) + close(pipes[1]), 0);
}

TEST_F(FileCalls, AFailedCloseIsFinalAndClosedHandlesAreRefused) {
    const HANDLE file = Open("made", kReadWrite, CREATE_ALWAYS);
    const int descriptor = DescriptorOn("made"), spare = dup(descriptor);
    ASSERT_EQ(close(descriptor), 0);
    EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF);
    EXPECT_EQ(Write(file, "x"), EBADF);
    EXPECT_EQ(Close(file), EBADF);
    EXPECT_EQ(DescriptorOn("."), 64) << "the folder is still open";
    ASSERT_EQ(dup2(spare, descriptor), descriptor);  // the number is somebody else's now
    for (const HANDLE handle : {HANDLE{}, INVALID_HANDLE_VALUE, file}) {
        EXPECT_EQ(Read(handle, 1), "code " + to_string(EBADF)) << handle;
        EXPECT_EQ(Write(handle, ""), EBADF) << handle;
        EXPECT_EQ(Seek(handle, 1), EBADF) << handle;
        EXPECT_EQ(Code(FlushFileBuffers(handle)), EBADF) << handle;
        EXPECT_EQ(Size(handle), kFailed) << handle;
        EXPECT_EQ(Code(CloseHandle(handle)), handle == file ? 0 : EBADF) << handle;
    }
    EXPECT_EQ(close(spare), 0);
    EXPECT_EQ(close(descriptor), 0) << "the second call has closed somebody else's file";
}

}  // namespace
