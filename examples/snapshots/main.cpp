// A versioned store of a directory tree: an example of a program that keeps its data with the
// library. Read Store.h first, what the store is; then Store.cpp, how it lies in two files of
// pools; then Take.cpp and Restore.cpp, the commands. Here are the command line and the messages.

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <functional>
#include <system_error>

#include "Commands.h"
#include "Store.h"

namespace {

const char* progressVerb = "";
std::uint64_t progressTotal = 0;  // 0 where no bar is to be drawn.
std::uint64_t progressDone = 0;

int List(const std::string& folder) {
    const Store store(folder, Store::Access::Read);
    std::uint32_t number = 0;
    for (const Head& head : store.Heads()) {
        const auto takenAt = static_cast<std::time_t>(head.takenAt);
        const tm* local = std::localtime(&takenAt);
        char when[32] = "unfinished";
        if (head.records > 0 && local != nullptr) {
            std::strftime(when, sizeof when, "%F %T", local);
        }
        std::printf("%u  %s  %" PRIu64 " entries, %" PRIu64 " bytes\n", ++number, when,
                    head.records, head.bytes);
    }
    return 0;
}

int CannotWrite(std::uint64_t code) {
    Note(std::string("can't write to the store: ") + std::strerror(static_cast<int>(code)));
    return 1;
}

}  // namespace

void Require(bool ok, const std::string& path) {
    if (!ok) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

OpenedFile OpenToRead(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    Require(file >= 0, path);
    return OpenedFile(fdopen(file, "rb"), std::fclose);
}

void Note(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    EndProgress();
    std::fprintf(stderr, "snapshots: %s\n", text.c_str());
}

void StartProgress(const char* verb, std::uint64_t totalBytes) {
    progressVerb = verb;
    progressTotal = isatty(STDERR_FILENO) == 1 ? totalBytes : 0;
}

void AddProgress(std::uint64_t bytes) {
    const auto percent = [] { return progressDone * 100 / progressTotal; };
    const std::uint64_t before = progressTotal == 0 ? 100 : percent();
    progressDone = std::min(progressDone + bytes, progressTotal);
    if (before < 100 && percent() > before) {
        const std::string bar(percent() * 40 / 100, '#');
        std::fprintf(stderr, "\r%s [%-40s] %3" PRIu64 "%%", progressVerb, bar.c_str(), percent());
    }
}

void EndProgress() {
    std::fputs(progressTotal > 0 ? "\r\033[K" : "", stderr);
}

int main(int argc, char** argv) try {
    int modules = 0;
    int result = 0;
    std::string store;
    std::string other;
    std::uint32_t number = 0;
    CLI::App app("Keeps snapshots of a directory tree in a store of two files.");
    const auto add = [&](const char* name, const char* help, bool numbered, const char* last,
                         const std::function<void()>& run) {
        CLI::App* command = app.add_subcommand(name, help)->final_callback(run);
        command->add_option("STORE", store)->required();
        if (numbered) {
            command->add_option("N", number)->required();
        }
        if (last != nullptr) {
            command->add_option(last, other)->required();
        }
    };
    add("take", "stores a snapshot of DIR", false, "DIR", [&] { result = Take(store, other); });
    add("list", "shows the snapshots", false, nullptr, [&] { result = List(store); });
    add("restore", "makes snapshot N again in DIR, new or empty; modes are kept, owners are not",
        true, "DIR", [&] { result = Restore(store, number, other); });
    add("verify", "compares snapshot N with DIR", true, "DIR",
        [&] { result = Verify(store, number, other); });
    add("push", "copies the snapshots that OTHERSTORE lacks", false, "OTHERSTORE",
        [&] { result = Push(store, other); });
    app.require_subcommand(1);
    OxbowPoolManager_initialize(modules);
    CLI11_PARSE(app, argc, argv);
    OxbowPoolManager_finalize(modules);
    return std::fflush(stdout) == 0 ? result : 1;
} catch (const OxbowExcWriteError& e) {  // The library's are not of std::exception's family.
    return CannotWrite(e.SystemError().Code());
} catch (const OxbowExcShortWrite&) {
    return CannotWrite(ENOSPC);
} catch (const OxbowExcSystemError& e) {  // Some file systems report a full disk at a flush.
    return CannotWrite(e.SystemError().Code());
} catch (const FennelException& e) {
    Note("the store can't be used: " + std::string(e.UserReport().View()));
    return 1;
} catch (const std::exception& e) {  // A Failure, or one of the system's own.
    Note(e.what());
    return 1;
}
