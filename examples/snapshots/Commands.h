#ifndef SNAPSHOTS_COMMANDS_H
#define SNAPSHOTS_COMMANDS_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

/** \file
    The commands, and what they share on the user's side; nothing here knows the library. A command
    returns the program's exit code. What ends it early is raised: Failure, std::system_error for the
    user's own files, and the library's exceptions. */

int Take(const std::string& store, const std::string& directory);
int Restore(const std::string& store, std::uint32_t snapshot, const std::string& directory);
int Verify(const std::string& store, std::uint32_t snapshot, const std::string& directory);
int Push(const std::string& store, const std::string& otherStore);

/** Carries a message for the user. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/** Raises std::system_error with errno unless `ok`. */
void Require(bool ok, const std::string& path);

using OpenedFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
/** Follows no link, and doesn't wait where a pipe has taken a file's place. */
OpenedFile OpenToRead(const std::string& path);

/** One line on stderr. Control characters, which a name may hold, become question marks. */
void Note(std::string text);

/** A bar on stderr, if that is a terminal. It is to be ended before something is printed. */
void StartProgress(const char* verb, std::uint64_t totalBytes);
void AddProgress(std::uint64_t bytes);
void EndProgress();

#endif
