// This file defines the system's functions once more. Headers must neither inline nor rename them.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "Tests/Support/SystemCalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

// Without <fcntl.h> and <sys/stat.h>, whose declarations have other parameters than the functions here.

namespace {

constexpr int kReport = 9;

template <class Function>
Function* Real(Function* /*type*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The function that the program would use without this file.
#define REAL(function) Real(&(function), #function)

struct Plan {
  std::string function;
  int left = 0;  // calls until the fault
  int error = 0;
  bool isLasting = false;
  std::function<void()> before;
  const void* failedStream = nullptr;
};

Plan& g_fault = *new Plan;  // never destroyed: functions are called until the program ends
std::mutex g_counting;      // held while a thread looks whether its call is the one
bool g_isReporting = false;
std::string& g_listed = *new std::string;
bool g_isTracing = false;

std::string Name(const char* path) { return path == nullptr ? "" : path; }
std::string Name(int file) {
  char path[4096];
  const long size = REAL(readlink)(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return {path, static_cast<unsigned long>(size < 0 ? 0 : size)};
}
// A path below an open folder.
struct Below {
  int folder;
  const char* path;
};
std::string Name(const Below& item) {
  const bool isWithFolder = item.folder >= 0 && item.path != nullptr && *item.path != '/';
  return (isWithFolder ? Name(item.folder) + '/' : "") + Name(item.path);
}
std::string Name(std::FILE* stream) { return Name(fileno(stream)); }
std::string Name(DIR* folder) { return Name(dirfd(folder)); }

void Report(const std::string& text) {
  if (g_isReporting) {
    REAL(write)(kReport, text.data(), text.size());
  }
}

// Whether the fault names this function.
bool IsMeant(const char* function) {
  return ('|' + g_fault.function + '|').find(std::string("|") + function + '|') != std::string::npos;
}

template <class File>
bool Strikes(const char* function, File file) {
  if (g_isTracing) {
    Report(std::string(function) + ' ' + Name(file) + '\n');
  }
  const std::lock_guard lock(g_counting);
  if (g_fault.left == 0) {
    return g_fault.isLasting && IsMeant(function);
  }
  if ((g_fault.function != "*" && !IsMeant(function)) || --g_fault.left != 0) {
    return false;
  }
  g_fault.function = g_fault.function == "*" ? function : g_fault.function;
  Report(g_fault.function + ' ' + Name(file) + '\n');
  return true;
}

// The number of bytes, of `size`, that the call shall transfer; -1 when it shall fail.
template <class File>
long Allowed(const char* function, File file, size_t size) {
  if (!Strikes(function, file)) {
    return static_cast<long>(size);
  }
  if (g_fault.before) {
    std::exchange(g_fault.before, nullptr)();
    return static_cast<long>(size);
  }
  errno = g_fault.error;
  return g_fault.error != 0 ? -1 : static_cast<long>((size + 1) / 2);
}

template <class File>
bool Fails(const char* function, File file) {
  return Allowed(function, file, 1) == -1;
}

// The fault that the environment requests.
struct Environment {
  Environment() {
    char function[32];
    int nth = 0;
    int read = 0;
    const char* const text = std::getenv("FAULT");
    g_isReporting = text != nullptr;
    g_isTracing = g_isReporting && text == std::string_view("trace");
    if (text == nullptr || std::sscanf(text, "%31[^:]:%d:%n", function, &nth, &read) != 2) {
      return;
    }
    unsetenv("LD_PRELOAD");  // not for programs that this one starts
    const std::string what = text + read;
    const int error = std::atoi(what.c_str());
    g_fault = {function, nth, error, what.back() == '+', nullptr, nullptr};
    if (error < 0) {
      g_fault.before = [error] { std::raise(-error); };
    } else if (std::isalpha(what[0]) != 0) {
      g_fault.before = [what] { std::system(what.c_str()); };
    }
  }
  ~Environment() {
    int open = 0;
    for (int file = 3; g_isReporting && file < 256; ++file) {
      open += file != kReport && !Name(file).empty() ? 1 : 0;
    }
    Report("open: " + std::to_string(open) + '\n');
  }
} g_environment;

}  // namespace

Fault::Fault(const char* function, int nth, int error, bool isLasting) {
  g_fault = {function, nth, error, isLasting, nullptr, nullptr};
}
Fault::Fault(const char* function, int nth, std::function<void()> before) {
  g_fault = {function, nth, 0, false, std::move(before), nullptr};
}
Fault::~Fault() { g_fault = {}; }
bool Fault::Occurred() const { return g_fault.left == 0; }
const char* Fault::Function() const { return g_fault.function.c_str(); }

ListedFile::ListedFile(std::string name) { g_listed = std::move(name); }
ListedFile::~ListedFile() { g_listed.clear(); }

// Defines `function`, which returns `failure` for a fault: the name in faults, the file, the arguments.
#define CALL_AS(name, Result, failure, function, parameters, file, ...) \
  Result function parameters { return Fails(name, file) ? (failure) : REAL(function)(__VA_ARGS__); }
#define CALL(Result, failure, function, ...) CALL_AS(#function, Result, failure, function, __VA_ARGS__)
// The same for the variant for files beyond 2 GiB, which the program uses, and for both: the C++ library uses the
// other.
#define CALL64(Result, failure, function, ...) CALL_AS(#function, Result, failure, function##64, __VA_ARGS__)
#define CALLS(...) CALL(__VA_ARGS__) CALL64(__VA_ARGS__)
// Defines a function that may transfer a part of the requested bytes.
#define TRANSFER(name, function, parameters, ...)                          \
  ssize_t function parameters {                                            \
    const long allowed = Allowed(name, file, size);                        \
    const auto part = static_cast<size_t>(allowed);                        \
    return allowed == -1 ? -1 : REAL(function)(file, buffer, __VA_ARGS__); \
  }

#pragma GCC visibility push(default)  // so that the module's calls come here too
extern "C" {
CALLS(int, -1, open, (const char* path, int flags, unsigned mode), path, path, flags, mode)
CALLS(int, -1, openat, (int at, const char* path, int flags, unsigned mode), (Below{at, path}), at, path, flags, mode)
CALL_AS("open", int, -1, __open64_2, (const char* path, int flags), path, path, flags)
CALL_AS("openat", int, -1, __openat64_2, (int at, const char* path, int flags), path, at, path, flags)
TRANSFER("read", read, (int file, void* buffer, size_t size), part)
TRANSFER("write", write, (int file, const void* buffer, size_t size), part)
TRANSFER("pread", pread64, (int file, void* buffer, size_t size, off64_t at), part, at)
TRANSFER("pwrite", pwrite64, (int file, const void* buffer, size_t size, off64_t at), part, at)
CALL64(off64_t, -1, lseek, (int file, off64_t offset, int whence), file, file, offset, whence)
CALL64(int, -1, ftruncate, (int file, off64_t size), file, file, size)
CALL(int, -1, fsync, (int file), file, file)
CALL(int, -1, syncfs, (int file), file, file)
CALL64(int, -1, fallocate, (int file, int mode, off64_t at, off64_t size), file, file, mode, at, size)
CALL64(int, -1, fstat, (int file, void* status), file, file, status)
CALL64(int, -1, fstatat, (int at, const char* path, void* status, int flags), (Below{at, path}), at, path, status,
       flags)
CALLS(int, -1, stat, (const char* path, void* status), path, path, status)
CALLS(int, -1, lstat, (const char* path, void* status), path, path, status)
// The names on machines with 32-bit words and 64-bit times.
CALL_AS("fstat", int, -1, __fstat64_time64, (int file, void* status), file, file, status)
CALL_AS("stat", int, -1, __stat64_time64, (const char* path, void* status), path, path, status)
CALL_AS("lstat", int, -1, __lstat64_time64, (const char* path, void* status), path, path, status)
CALL(int, -1, fchown, (int file, unsigned user, unsigned group), file, file, user, group)
CALL(int, -1, fchmod, (int file, unsigned mode), file, file, mode)
CALL(int, -1, faccessat, (int at, const char* path, int mode, int flags), path, at, path, mode, flags)
CALL(int, -1, mkdir, (const char* path, unsigned mode), path, path, mode)
CALL(ssize_t, -1, readlink, (const char* path, char* buffer, size_t size), path, path, buffer, size)
CALL(int, -1, link, (const char* from, const char* to), to, from, to)
CALL(int, -1, linkat, (int at, const char* from, int toAt, const char* to, int flags), (Below{toAt, to}), at, from,
     toAt, to, flags)
CALL(int, -1, rename, (const char* from, const char* to), to, from, to)
CALL(int, -1, renameat, (int at, const char* from, int toAt, const char* to), (Below{toAt, to}), at, from, toAt, to)
CALL(int, -1, renameat2, (int at, const char* from, int toAt, const char* to, unsigned flags), (Below{toAt, to}), at,
     from, toAt, to, flags)
CALL(int, -1, remove, (const char* path), path, path)
CALL(int, -1, unlink, (const char* path), path, path)
CALL(int, -1, unlinkat, (int at, const char* path, int flags), (Below{at, path}), at, path, flags)
CALL(int, -1, fork, (), "")
CALL_AS("pipe", int, -1, pipe2, (int* ends, int flags), "", ends, flags)
CALL(DIR*, nullptr, opendir, (const char* path), path, path)
CALL(DIR*, nullptr, fdopendir, (int file), file, file)
CALL(dirent*, nullptr, readdir, (DIR * folder), folder, folder)
CALL64(dirent64*, nullptr, readdir, (DIR * folder), folder, folder)
CALL64(std::FILE*, nullptr, fopen, (const char* path, const char* mode), path, path, mode)
CALL64(int, -1, fseeko, (std::FILE * file, off64_t offset, int whence), file, file, offset, whence)
CALL64(off64_t, -1, ftello, (std::FILE * file), file, file)
ssize_t getdents64(int folder, void* buffer, size_t size) {
  const ssize_t held = Fails("getdents64", folder) ? -1 : REAL(getdents64)(folder, buffer, size);
  if (held <= 0 || g_listed.empty()) {
    return held;
  }
  const size_t nameAt = offsetof(dirent64, d_name);
  const size_t added = (nameAt + g_listed.size() + 8) / 8 * 8;
  char* const entry = static_cast<char*>(buffer) + held;
  std::memset(entry, 0, added);
  entry[offsetof(dirent64, d_reclen)] = static_cast<char>(added % 256);
  entry[offsetof(dirent64, d_reclen) + 1] = static_cast<char>(added / 256);
  std::copy(g_listed.begin(), g_listed.end(), entry + nameAt);  // the rest is zero already
  for (char* at = static_cast<char*>(buffer); at != entry; at += reinterpret_cast<dirent64*>(at)->d_reclen) {
    reinterpret_cast<dirent64*>(at)->d_type = DT_UNKNOWN;
  }
  return held + static_cast<ssize_t>(added);
}
int close(int file) { return Fails("close", file) ? REAL(close)(file) - 1 : REAL(close)(file); }
int fclose(std::FILE* file) { return Fails("fclose", file) ? REAL(fclose)(file) - 1 : REAL(fclose)(file); }
size_t fread(void* to, size_t size, size_t count, std::FILE* file) {
  const bool fails = Fails("fread", file);
  g_fault.failedStream = fails ? file : g_fault.failedStream;
  return fails ? 0 : REAL(fread)(to, size, count, file);
}
size_t fwrite(const void* from, size_t size, size_t count, std::FILE* file) {
  const bool isMessage = file == stdout || file == stderr;
  return !isMessage && Fails("fwrite", file) ? 0 : REAL(fwrite)(from, size, count, file);
}
int ferror(std::FILE* file) { return REAL(ferror)(file) + (file == g_fault.failedStream ? 1 : 0); }
}
#pragma GCC visibility pop
