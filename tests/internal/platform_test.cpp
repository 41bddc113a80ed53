// The file calls on real files. Cases that change a whole process run in a forked child.
#include "platform/platform_FileCalls.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <vector>

#include "internal/TestFolder.h"

namespace {

using std::string, std::uint64_t;

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr uint64_t k4G = uint64_t{1} << 32, kFailed = ~uint64_t{0};

HANDLE Open(const string& path, DWORD access = kReadWrite, DWORD how = OPEN_EXISTING,
            DWORD share = FILE_SHARE_READ) {
    return CreateFileA(path.c_str(), access, share, nullptr, how, 0, nullptr);
}
// 0 when an open worked; it is closed again.
DWORD Code(HANDLE file) {
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) ? 0 : GetLastError();
}
bool Seek(HANDLE file, uint64_t position) {
    LONG high = static_cast<LONG>(position >> 32);
    const DWORD low = SetFilePointer(file, static_cast<LONG>(position), &high, FILE_BEGIN);
    return low == static_cast<DWORD>(position) && (low != UINT32_MAX || GetLastError() == 0);
}
bool Write(HANDLE file, const string& data) {
    DWORD done = 77;
    const BOOL well = WriteFile(file, data.data(), static_cast<DWORD>(data.size()), &done, nullptr);
    EXPECT_EQ(done, well ? data.size() : 0);
    return well != 0;
}
string Read(HANDLE file, DWORD length) {
    string data(length, '?');
    const BOOL done = ReadFile(file, data.data(), length, &length, nullptr);
    return done ? data.substr(0, length) : "failed";
}
uint64_t Size(HANDLE file) {
    DWORD high = 77;
    const DWORD low = GetFileSize(file, &high);
    return low == INVALID_FILE_SIZE && GetLastError() != 0 ? kFailed : high * k4G + low;
}
std::vector<int> DescriptorsOn(const string& path) {
    std::vector<int> found;
    std::error_code none;
    for (int i = 0; i < 64; ++i) {
        if (std::filesystem::equivalent("/proc/self/fd/" + std::to_string(i), path, none)) {
            found.push_back(i);
        }
    }
    return found;
}

// Works in its folder, which holds "plain" with the bytes "content" and a link to nowhere.
struct FileCalls : TestFolder {
    FileCalls() {
        Store("plain", "content");
        EXPECT_TRUE(chdir(mFolder.c_str()) == 0 && symlink("nowhere", "dangling") == 0);
    }
    ~FileCalls() override {
        EXPECT_TRUE(DescriptorsOn("plain").empty() && DescriptorsOn(".").empty());
        EXPECT_EQ(chdir("/"), 0);
    }
};

TEST_F(FileCalls, EveryFailureToOpenHasItsCode) {
    ASSERT_TRUE(mkdir("folder", 0777) == 0 && mkfifo("pipe", 0666) == 0);
    const std::map<DWORD, std::vector<string>> pathsOfCodes = {
        {0, {"plain"}},
        {ENOENT, {"missing", PathOf("folder/missing"), "dangling"}},
        {ENOTDIR, {"plain/x", PathOf("folder/no/x"), "no-folder/x", ""}},
        {EISDIR, {"folder"}},
        {ESPIPE, {"pipe", "/dev/null"}}};
    for (const auto& [code, paths] : pathsOfCodes) {
        for (const string& path : paths) {
            EXPECT_EQ(Code(Open(path, GENERIC_READ)), code) << path;
            EXPECT_EQ(Code(Open(path)), code) << path;
            EXPECT_EQ(Code(Open(path, kReadWrite, CREATE_ALWAYS)), code == ENOENT ? 0 : code);
        }
    }
    EXPECT_TRUE(Bytes("plain").empty() && DescriptorsOn("folder").empty());
}

TEST_F(FileCalls, PositionsAndSizesHave64Bits) {
    const HANDLE file = Open("plain");
    for (const uint64_t at : {k4G - 2, k4G - 1, k4G, 2 * k4G - 2, 2 * k4G - 1, 300 * k4G + 5}) {
        Seek(nullptr, 0);  // the code that this leaves must not turn a success into a failure
        EXPECT_TRUE(Seek(file, at) && Write(file, "x")) << at;
        Seek(nullptr, 0);
        EXPECT_EQ(Size(file), at + 1);
        EXPECT_TRUE(Seek(file, at) && Read(file, 9) == "x") << at;
    }
    EXPECT_TRUE(Seek(file, INT64_MAX) && Read(file, 9).empty());
    EXPECT_TRUE(Seek(file, 1) && Read(file, 2) == "on" && !Seek(file, uint64_t{1} << 63));
    EXPECT_TRUE(GetLastError() == EINVAL && Read(file, 4) == "tent" && CloseHandle(file));
}

TEST_F(FileCalls, OpensConflictWhenOneWritesAndTheOtherDeniesWriting) {
    const DWORD access[] = {GENERIC_READ, kReadWrite}, share[] = {FILE_SHARE_READ, kShareBoth};
    for (unsigned pair = 0; pair < 16; ++pair) {
        const bool writes1 = pair & 1, shares1 = pair & 2, writes2 = pair & 4, shares2 = pair & 8;
        const DWORD code = (writes1 && !shares2) || (writes2 && !shares1) ? EBUSY : 0;
        const HANDLE first = Open("plain", access[writes1], OPEN_EXISTING, share[shares1]);
        const auto second = [&](DWORD disposition) {
            return Code(Open("plain", access[writes2], disposition, share[shares2]));
        };
        EXPECT_EQ(second(OPEN_EXISTING), code) << pair;
        EXPECT_TRUE(code == 0 || !writes2 || second(CREATE_ALWAYS) == EBUSY) << pair;
        EXPECT_TRUE(writes1 || (!Write(first, "x") && GetLastError() == EBADF)) << pair;
        EXPECT_TRUE(Read(first, 100) == "content" && CloseHandle(first)) << pair;
    }
}

TEST_F(FileCalls, AFailedWriteLeavesBytesAndPosition) {
    const auto writePastTheLimit = [&] {
        const rlimit limit = {100, 100};
        const HANDLE file = Open("plain", kReadWrite, OPEN_EXISTING, kShareBoth),
                     other = Open("plain", kReadWrite, OPEN_EXISTING, kShareBoth);
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (const uint64_t position : {40U, 3U, 7U}) {  // behind the end, over it, at it
            EXPECT_TRUE(Seek(file, position) && !Write(file, string(200, 'x')));
            EXPECT_TRUE(GetLastError() == EFBIG && Bytes("plain") == "content") << position;
        }
        EXPECT_TRUE(Write(file, "ment") && Size(file) == 11 && Seek(other, 49) &&
                    Write(other, "o"));
        EXPECT_TRUE(!Write(file, string(200, 'x')) && Size(file) == 50)
            << "what another has written";
        _exit(HasFailure());
    };
    EXPECT_EXIT(writePastTheLimit(), testing::ExitedWithCode(0), "");
}

TEST_F(FileCalls, AWriteThatStartsAtTheSizeLimitFailsWithoutASignal) {
    const auto writeAtTheLimit = [&](uint64_t position) {
        const rlimit limit = {100, 100};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const HANDLE file = Open("plain");
        EXPECT_TRUE(Seek(file, position));
        EXPECT_FALSE(Write(file, "x"));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(EFBIG));
        EXPECT_EQ(Bytes("plain"), "content");
        EXPECT_TRUE(Seek(file, 99));
        EXPECT_TRUE(Write(file, "x")) << "the last byte that the limit allows";
        _exit(HasFailure());
    };
    for (const uint64_t position : {uint64_t{100}, uint64_t{101}, k4G}) {
        Store("plain", "content");
        EXPECT_EXIT(writeAtTheLimit(position), testing::ExitedWithCode(0), "") << position;
    }
}

TEST_F(FileCalls, AnOpenThatCanNotMoveItsDescriptorUpReportsWhy) {
    const auto openWithoutRoom = [] {
        close(0);
        const rlimit limit = {3, 3};  // no descriptor but the standard ones
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_EQ(Code(Open("plain")), static_cast<DWORD>(EINVAL));
        EXPECT_EQ(fcntl(0, F_GETFD), -1) << "the first descriptor is left open";
        _exit(HasFailure());
    };
    EXPECT_EXIT(openWithoutRoom(), testing::ExitedWithCode(0), "");
}

TEST_F(FileCalls, AFolderOfTheGreatestLengthIsHeldAsWell) {
    for (const std::size_t length : {PATH_MAX - 2, PATH_MAX - 1}) {  // of the path, with its end
        string path(length, '/');
        path.replace(0, 2, "./");
        path.back() = 'f';
        const HANDLE file = Open(path, kReadWrite, CREATE_ALWAYS);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << length;
        EXPECT_EQ(DescriptorsOn(".").size(), 1u) << length;
        EXPECT_TRUE(FlushFileBuffers(file)) << length;
        EXPECT_TRUE(CloseHandle(file)) << length;
        EXPECT_EQ(unlink("f"), 0);
        path += "oo";
        EXPECT_EQ(Code(Open(path + string(PATH_MAX, 'o'))), static_cast<DWORD>(ENAMETOOLONG));
    }
}

TEST_F(FileCalls, SizesAreFreshFromTheSecondQuestionOn) {
    const HANDLE file = Open("plain", GENERIC_READ, OPEN_EXISTING, kShareBoth);
    EXPECT_EQ(Size(file), 7u);
    Store("plain", "longer content");
    EXPECT_EQ(Size(file), 14u);
    EXPECT_TRUE(CloseHandle(file));
    const HANDLE writer = Open("plain");
    EXPECT_TRUE(Seek(writer, 20));
    EXPECT_TRUE(Write(writer, "x"));
    EXPECT_EQ(Size(writer), 21u) << "what opening measured is no answer any more";
    EXPECT_TRUE(CloseHandle(writer));
}

TEST_F(FileCalls, DescriptorsStayPrivateAndTheDirectoryOfANewFileIsHeldUntilAFlush) {
    const auto create = [](const string& name) {
        EXPECT_TRUE(name != "new without streams" || close(0) + close(1) + close(2) == 0);
        const HANDLE file = Open(name, kReadWrite, CREATE_ALWAYS);
        const auto folders = DescriptorsOn("."), files = DescriptorsOn(name);
        EXPECT_TRUE(folders.size() == (name[0] == 'n' ? 1 : 0) && files.size() == 1);
        for (const int used : {files.at(0), folders.empty() ? files[0] : folders[0]}) {
            EXPECT_TRUE(used > 2 && fcntl(used, F_GETFD) == FD_CLOEXEC);
        }
        EXPECT_TRUE(FlushFileBuffers(file) && DescriptorsOn(".").empty() && FlushFileBuffers(file));
        _exit(HasFailure());
    };
    for (const char* name : {"new", "new without streams", "plain", "dangling"}) {
        EXPECT_EXIT(create(name), testing::ExitedWithCode(0), "") << name;
    }
}

TEST_F(FileCalls, FailedFlushesAndClosesAreFinal) {
    const HANDLE file = Open("made", kReadWrite, CREATE_ALWAYS);
    const int descriptor = DescriptorsOn("made").at(0), spare = dup(descriptor);
    ASSERT_TRUE(close(descriptor) == 0 && !FlushFileBuffers(file) && dup2(spare, descriptor) > 2);
    EXPECT_TRUE(Write(file, "C") && Size(file) == 1) << "the file is well again";
    EXPECT_TRUE(!FlushFileBuffers(file) && GetLastError() == EBADF);
    ASSERT_TRUE(close(descriptor) == 0 && !CloseHandle(file) && GetLastError() == EBADF);
    ASSERT_TRUE(DescriptorsOn(".").empty() && dup2(spare, descriptor) > 2);  // reused by somebody
    for (HANDLE handle : {HANDLE{}, INVALID_HANDLE_VALUE, file}) {
        EXPECT_TRUE(Read(handle, 1) == "failed" && !Write(handle, "x") && !Seek(handle, 1));
        EXPECT_TRUE(Size(handle) == kFailed && GetLastError() == EBADF);
        EXPECT_TRUE(!FlushFileBuffers(handle) && (handle == file || !CloseHandle(handle)));
    }
    EXPECT_TRUE(CloseHandle(file) && close(spare) == 0);
    EXPECT_EQ(close(descriptor), 0) << "the second call closed another's file";
}

}  // namespace
