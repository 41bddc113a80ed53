// The file calls on real files. Cases that change a whole process run in a forked child.
#include "platform/platform_FileCalls.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
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
constexpr uint64_t k4G = uint64_t{1} << 32, kFailed = ~uint64_t{0};

HANDLE Open(const string& path, DWORD access = kReadWrite, DWORD how = OPEN_EXISTING,
            DWORD share = FILE_SHARE_READ) {
    return CreateFileA(path.c_str(), access, share, nullptr, how, 0, nullptr);
}
// 0 for a call that has worked, otherwise the code of its failure.
DWORD Code(BOOL worked) {
    EXPECT_EQ(worked == 0, GetLastError() != 0);
    return GetLastError();
}
DWORD Close(HANDLE file) {
    return file == INVALID_HANDLE_VALUE ? GetLastError() : Code(CloseHandle(file));
}
DWORD Seek(HANDLE file, uint64_t position) {
    LONG high = static_cast<LONG>(position >> 32);
    const DWORD low = SetFilePointer(file, static_cast<LONG>(position), &high, FILE_BEGIN);
    EXPECT_EQ(low, GetLastError() == 0 ? static_cast<DWORD>(position) : INVALID_SET_FILE_POINTER);
    return GetLastError();
}
DWORD Write(HANDLE file, uint64_t position, const string& data) {
    Seek(file, position);
    DWORD done = 77;
    const BOOL well = WriteFile(file, data.data(), static_cast<DWORD>(data.size()), &done, nullptr);
    EXPECT_EQ(done, well ? data.size() : 0);
    return Code(well);
}
string Read(HANDLE file, DWORD length) {
    string data(length, '?');
    const BOOL well = ReadFile(file, data.data(), length, &length, nullptr);
    return data.substr(0, length) + (well ? "" : "code " + to_string(GetLastError()));
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
void Limit(decltype(RLIMIT_FSIZE) resource, int most) {
    const rlimit limit = {static_cast<rlim_t>(most), static_cast<rlim_t>(most)};
    EXPECT_EQ(setrlimit(resource, &limit), 0);
}

// Works in its folder, which holds "plain" with the bytes "content" and a link to nowhere.
struct FileCalls : TestFolder {
    FileCalls() {
        Store("plain", "content");
        EXPECT_EQ(chdir(mFolder.c_str()) + symlink("nowhere", "dangling"), 0);
    }
    ~FileCalls() override {
        EXPECT_EQ(DescriptorOn("plain"), 64) << "left open";
        EXPECT_EQ(DescriptorOn("."), 64) << "left open";
        EXPECT_EQ(chdir("/"), 0);
    }
};

TEST_F(FileCalls, OpeningFailsWithTheCodeOfItsCause) {
    ASSERT_EQ(mkdir("folder", 0777) + mkfifo("pipe", 0666), 0);
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
    EXPECT_EQ(Close(Open("/missing", GENERIC_READ)), ENOENT);
    EXPECT_EQ(Bytes("plain"), "") << "creating has not emptied it";
    EXPECT_EQ(DescriptorOn("folder"), 64) << "left open";
}

TEST_F(FileCalls, PositionsAndSizesHave64Bits) {
    const HANDLE file = Open("plain");
    EXPECT_EQ(Write(file, 0, "co"), 0);
    EXPECT_EQ(Read(file, 9), "ntent") << "a write has not moved the position";
    for (const uint64_t at : {k4G - 2, k4G - 1, k4G, 2 * k4G - 2, 2 * k4G - 1, 300 * k4G + 5}) {
        Seek(nullptr, 0);  // the code that this leaves must not turn a success into a failure
        EXPECT_EQ(Write(file, at, "x"), 0) << at;
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
        DWORD access, share;
        string passes;  // beside each of these
    } kinds[] = {{"a reader", GENERIC_READ, kShareAll, "yyyy"},
                 {"a reader that denies writing", GENERIC_READ, FILE_SHARE_READ, "yynn"},
                 {"a writer", kReadWrite, kShareAll, "ynyn"},
                 {"a writer that denies writing", kReadWrite, FILE_SHARE_READ, "ynnn"}};
    for (unsigned i = 0; i < 4; ++i) {
        const HANDLE first = Open("plain", kinds[i].access, OPEN_EXISTING, kinds[i].share);
        for (const auto& [name, access, share, passes] : kinds) {
            SCOPED_TRACE(name + " beside " + kinds[i].name);
            const DWORD code = passes[i] == 'y' ? 0 : EBUSY;
            EXPECT_EQ(Close(Open("plain", access, OPEN_EXISTING, share)), code);
            if (access == kReadWrite && code != 0) {
                EXPECT_EQ(Close(Open("plain", GENERIC_READ, CREATE_ALWAYS, share)), code);
            }
        }
        EXPECT_EQ(Read(first, 9), "content") << kinds[i].name;
        EXPECT_EQ(Write(first, 0, "c"), kinds[i].access == GENERIC_READ ? EBADF : 0);
        EXPECT_EQ(Close(first), 0);
    }
}

TEST_F(FileCalls, AFailedWriteLeavesLengthBytesAndPosition) {
    for (const DWORD share : {kShareAll, FILE_SHARE_READ}) {
        InChild("sharing " + to_string(share), [&] {
            const HANDLE file = Open("plain", kReadWrite, CREATE_ALWAYS, share);
            EXPECT_EQ(Write(file, 0, "data"), 0);
            signal(SIGXFSZ, SIG_DFL);
            Limit(RLIMIT_FSIZE, 200);
            for (const uint64_t position : {200u, 250u, 40u, 2u, 4u}) {
                EXPECT_EQ(Write(file, position, string(300, 'x')), EFBIG) << position;
                EXPECT_EQ(Read(file, 9), position == 2 ? "ta" : "") << position;
                EXPECT_EQ(Bytes("plain"), "data") << position;
            }
            EXPECT_EQ(Write(file, 4, "base"), 0);
            EXPECT_EQ(Write(file, 90, ""), 0) << "no bytes";
            EXPECT_EQ(Write(file, 6, string(300, 'x')), EFBIG);
            EXPECT_EQ(Bytes("plain"), "database");
            // Another makes it longer: one that may, or one that knows no locks and goes farther.
            EXPECT_EQ(truncate("plain", 100), 0);
            const bool alone = share == FILE_SHARE_READ;
            Limit(RLIMIT_FSIZE, alone ? 80 : 105);
            EXPECT_EQ(Write(file, 20, string(alone ? 70 : 90, 'x')), EFBIG);
            Limit(RLIMIT_FSIZE, 60);
            EXPECT_EQ(Write(file, 54, "inside"), 0) << "up to the limit";
            EXPECT_EQ(Write(file, alone ? 60 : 54, string(60, 'x')), EFBIG);
            EXPECT_EQ(Size(file), 100);
        });
    }
}

TEST_F(FileCalls, DescriptorsArePrivateAndAboveTheStandardStreams) {
    for (const int closed : {0, 2, 3}) {
        InChild("streams are closed from " + to_string(closed), [&] {
            const int reports = fcntl(STDOUT_FILENO, F_DUPFD, 10);
            for (int stream = closed; stream < 3; ++stream) {
                close(stream);
            }
            const string made = "made" + to_string(closed);
            Open(made, kReadWrite, CREATE_ALWAYS);
            dup2(reports, STDOUT_FILENO);
            EXPECT_EQ(fcntl(DescriptorOn(made), F_GETFD), FD_CLOEXEC);
            EXPECT_EQ(fcntl(DescriptorOn("."), F_GETFD), FD_CLOEXEC);
        });
    }
    for (const int code : {EINVAL, EMFILE}) {  // no number above 2 is allowed, or none is free
        InChild("moving up fails with code " + to_string(code), [&] {
            const int last = dup(STDERR_FILENO);
            close(STDIN_FILENO);
            Limit(RLIMIT_NOFILE, code == EINVAL ? 3 : last + 1);
            EXPECT_EQ(Close(Open("plain")), code);
            EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "the low one is left open";
        });
    }
}

TEST_F(FileCalls, TheFirstFlushPutsTheNameOfANewFileOnTheDevice) {
    // The longest path that there is, of 4,095 bytes: a folder, a slash and a letter.
    string deep(PATH_MAX - 3 - mFolder.native().size(), 'd');
    for (std::size_t i = 0; i < deep.size(); i += 200) {
        deep[i] = '/';
    }
    std::filesystem::create_directories(deep = mFolder.native() + deep);
    const HANDLE file = Open(deep + "/n", kReadWrite, CREATE_ALWAYS);
    ASSERT_EQ(close(DescriptorOn(deep)), 0);
    EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF) << "the folder isn't synced";
    EXPECT_EQ(Close(file), 0);
    const HANDLE made = Open("made", kReadWrite, CREATE_ALWAYS);
    const int held = DescriptorOn("."), null = open("/dev/null", O_RDONLY);
    ASSERT_EQ(dup2(null, held), held);  // refuses with EINVAL, as do folders that can't be synced
    EXPECT_EQ(Code(FlushFileBuffers(made)), 0);
    EXPECT_EQ(fcntl(held, F_GETFD), -1) << "the folder is left open";
    ASSERT_EQ(dup2(null, held), held);  // the number is somebody else's now
    EXPECT_EQ(Close(made), 0);
    EXPECT_EQ(close(held) + close(null), 0) << "the folder is closed twice";
    const HANDLE plain = Open("plain", kReadWrite, CREATE_ALWAYS);
    const HANDLE linked = Open("dangling", kReadWrite, CREATE_ALWAYS);
    EXPECT_EQ(DescriptorOn("."), 64) << "is open for a name that it had, or hasn't got";
    for (const HANDLE each : {plain, linked, plain, linked}) {
        EXPECT_EQ(Code(FlushFileBuffers(each)), 0);
    }
    EXPECT_EQ(gSystemSyncs, 2) << "not once, since it is unknown where the link leads";
    EXPECT_EQ(Close(plain) + Close(linked), 0);
}

TEST_F(FileCalls, FailedFlushesAndClosesAreFinalAndClosedHandlesRefused) {
    const string refused = "code " + to_string(EBADF);
    const HANDLE file = Open("made", kReadWrite, CREATE_ALWAYS);
    const int descriptor = DescriptorOn("made"), spare = dup(descriptor);
    ASSERT_EQ(close(descriptor), 0);
    EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF);
    EXPECT_EQ(Size(file), kFailed);
    EXPECT_EQ(Read(file, 1), refused);
    ASSERT_EQ(dup2(spare, descriptor), descriptor);
    EXPECT_EQ(Code(FlushFileBuffers(file)), EBADF) << "the failure is forgotten";
    EXPECT_EQ(Size(file), 0);
    ASSERT_EQ(close(descriptor), 0);
    EXPECT_EQ(Close(file), EBADF);
    EXPECT_EQ(DescriptorOn("."), 64) << "the folder is left open";
    ASSERT_EQ(dup2(spare, descriptor), descriptor);  // the number is somebody else's now
    for (const HANDLE handle : {HANDLE{}, INVALID_HANDLE_VALUE, file}) {
        EXPECT_EQ(Read(handle, 1), refused) << handle;
        EXPECT_EQ(Write(handle, 0, ""), EBADF) << handle;
        EXPECT_EQ(Seek(handle, 1), EBADF) << handle;
        EXPECT_EQ(Code(FlushFileBuffers(handle)), EBADF) << handle;
        EXPECT_EQ(Size(handle), kFailed) << handle;
        EXPECT_EQ(Code(CloseHandle(handle)), handle == file ? 0 : EBADF) << handle;
    }
    EXPECT_EQ(close(spare), 0);
    EXPECT_EQ(close(descriptor), 0) << "the second call has closed somebody else's file";
}

}  // namespace
