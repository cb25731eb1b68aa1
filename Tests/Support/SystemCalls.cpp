#include "Tests/Support/SystemCalls.h"

#include <dlfcn.h>
#include <cerrno>
#include <cstdarg>
#include <utility>

// The headers that declare the functions defined below are left out on purpose: they rename or inline some of them.

namespace {

struct Planned {
  bool isActive = false;
  Call call{};
  int left = 0;
  int error = 0;
  std::function<void()> before;
};
Planned g_planned;

void Plan(Call call, int nth, int error, std::function<void()> before) {
  g_planned = {true, call, nth, error, std::move(before)};
}

enum class Outcome { kNormal, kShort, kFailure };

Outcome Next(Call call) {
  if (!g_planned.isActive || g_planned.call != call || g_planned.left <= 0 || --g_planned.left > 0) {
    return Outcome::kNormal;
  }
  if (g_planned.before) {
    g_planned.before();
    return Outcome::kNormal;
  }
  errno = g_planned.error;
  return g_planned.error == 0 ? Outcome::kShort : Outcome::kFailure;
}

template <class Function>
Function* Real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Fault::Fault(Call call, int nth, int error) { Plan(call, nth, error, nullptr); }
Fault::Fault(Call call, int nth, std::function<void()> before) { Plan(call, nth, 0, std::move(before)); }
Fault::~Fault() { g_planned = {}; }
bool Fault::Occurred() const { return g_planned.left == 0; }

#define FAILS(call) (Next(call) == Outcome::kFailure)
#define REAL(function)                                    \
  (*[] {                                                  \
    static auto* const real = Real(&function, #function); \
    return real;                                          \
  }())

#pragma GCC visibility push(default)  // so that the module's calls come here too
extern "C" {

long read(int file, void* buffer, unsigned long size) {
  const Outcome outcome = Next(Call::kRead);
  return outcome == Outcome::kFailure ? -1 : REAL(read)(file, buffer, outcome == Outcome::kShort ? size != 0 : size);
}

long write(int file, const void* buffer, unsigned long size) {
  const Outcome outcome = Next(Call::kWrite);
  return outcome == Outcome::kFailure ? -1 : REAL(write)(file, buffer, outcome == Outcome::kShort ? size != 0 : size);
}

int open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const unsigned mode = va_arg(rest, unsigned);
  va_end(rest);
  return FAILS(Call::kOpen) ? -1 : REAL(open64)(path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...) {
  return FAILS(Call::kOpenAt) ? -1 : REAL(openat64)(folder, path, flags);
}

long lseek64(int file, long offset, int whence) {
  return FAILS(Call::kSeek) ? -1 : REAL(lseek64)(file, offset, whence);
}

int fork() { return FAILS(Call::kFork) ? -1 : REAL(fork)(); }

int pipe2(int* ends, int flags) { return FAILS(Call::kPipe) ? -1 : REAL(pipe2)(ends, flags); }

void* opendir(const char* path) { return FAILS(Call::kOpenFolder) ? nullptr : REAL(opendir)(path); }

void* readdir64(void* folder) { return FAILS(Call::kReadFolder) ? nullptr : REAL(readdir64)(folder); }

int unlinkat(int folder, const char* path, int flags) {
  return FAILS(Call::kRemove) ? -1 : REAL(unlinkat)(folder, path, flags);
}

int close(int file) {
  const int result = REAL(close)(file);
  return FAILS(Call::kClose) ? -1 : result;
}
}
#pragma GCC visibility pop
