// FileOpsPlatform: the system calls behind FileOps, one set per platform
// (FileOps_posix.cpp, FileOps_win32.cpp). Internal to the library: plug-ins
// and programs use FileOps.h.
//
// Handles are file descriptors on POSIX and HANDLEs on Windows, carried as
// intptr_t; -1 is "none" on both. Reasons are the system's own texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "common/runtime/FileOps.h"

namespace pwr {
namespace fileops {

// Creates path for writing; fails when anything, a link included, is there.
intptr_t createExclusive(const std::string& path, std::string& reason);
bool writeAll(intptr_t handle, const char* data, size_t size, std::string& reason);
bool syncHandle(intptr_t handle, std::string& reason);
void closeHandle(intptr_t handle);
// Renames from to to, replacing a file there (never a folder).
bool replaceFile(const std::string& from, const std::string& to, std::string& reason);
bool removeFile(const std::string& path);
FileKind kindOf(const std::string& path, std::string* reason);
// The device and file number of an existing file (links followed).
bool identity(const std::string& path, uint64_t& device, uint64_t& number);
// A regular file opened for reading, or null with the reason.
std::FILE* openRegular(const std::string& path, std::string& reason, uint64_t& size);
std::FILE* openWriteNoFollow(const std::string& path, std::string& reason);
// Takes the lock file at path: a handle, or -1 with busy or the reason.
intptr_t lockFile(const std::string& path, bool& busy, std::string& reason);
void unlockFile(intptr_t handle, const std::string& path);
std::string systemError();
// A number that differs between processes (randomness, time, process id).
uint64_t uniqueSeed();

}  // namespace fileops
}  // namespace pwr
