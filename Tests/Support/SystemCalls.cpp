#include "Tests/Support/SystemCalls.h"

#include <dlfcn.h>
#include <cerrno>
#include <cstdarg>
#include <utility>

// The headers that declare the functions defined below are left out on purpose: they rename or inline some of them.

namespace {

struct {
  Call call{};
  int left = 0;
  int error = 0;
  std::function<void()> before;
} g_fault;

// How much of `size` the next call of this kind is to handle; -1 when it is to fail.
long Allowed(Call call, unsigned long size) {
  if (g_fault.call != call || g_fault.left <= 0 || --g_fault.left > 0) {
    return static_cast<long>(size);
  }
  if (g_fault.before) {
    g_fault.before();
    return static_cast<long>(size);
  }
  errno = g_fault.error;
  return g_fault.error != 0 ? -1 : size != 0;
}

unsigned long AtLeastNothing(long allowed) { return allowed == -1 ? 0 : static_cast<unsigned long>(allowed); }
bool Fails(Call call) { return Allowed(call, 1) == -1; }

template <class Function>
Function* Real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Fault::Fault(Call call, int nth, int error) { g_fault = {call, nth, error, nullptr}; }
Fault::Fault(Call call, int nth, std::function<void()> before) { g_fault = {call, nth, 0, std::move(before)}; }
Fault::~Fault() { g_fault = {}; }
bool Fault::Occurred() const { return g_fault.left == 0; }

// The function of that name that the program would use without this file.
#define REAL(function)                                      \
  (*[] {                                                    \
    static auto* const real = Real(&(function), #function); \
    return real;                                            \
  }())

#pragma GCC visibility push(default)  // so that the module's calls come here too
extern "C" {

int open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const unsigned mode = va_arg(rest, unsigned);
  va_end(rest);
  return Fails(Call::kOpen) ? -1 : REAL(open64)(path, flags, mode);
}

int openat64(int at, const char* path, int flags, ...) {
  return Fails(Call::kOpenAt) ? -1 : REAL(openat64)(at, path, flags);
}

long read(int file, void* buffer, unsigned long size) {
  const long allowed = Allowed(Call::kRead, size);
  return allowed == -1 ? -1 : REAL(read)(file, buffer, static_cast<unsigned long>(allowed));
}

long write(int file, const void* buffer, unsigned long size) {
  const long allowed = Allowed(Call::kWrite, size);
  return allowed == -1 ? -1 : REAL(write)(file, buffer, static_cast<unsigned long>(allowed));
}

long lseek64(int file, long offset, int whence) {
  return Fails(Call::kSeek) ? -1 : REAL(lseek64)(file, offset, whence);
}

int close(int file) {
  const int result = REAL(close)(file);
  return Fails(Call::kClose) ? -1 : result;
}

int unlinkat(int at, const char* path, int flags) {
  return Fails(Call::kRemove) ? -1 : REAL(unlinkat)(at, path, flags);
}

int fork() { return Fails(Call::kFork) ? -1 : REAL(fork)(); }

int pipe2(int* ends, int flags) { return Fails(Call::kPipe) ? -1 : REAL(pipe2)(ends, flags); }

void* opendir(const char* path) { return Fails(Call::kOpenFolder) ? nullptr : REAL(opendir)(path); }

void* readdir64(void* folder) { return Fails(Call::kReadFolder) ? nullptr : REAL(readdir64)(folder); }

int fseeko64(void* stream, long offset, int whence) {
  return Fails(Call::kStreamSeek) ? -1 : REAL(fseeko64)(stream, offset, whence);
}

unsigned long fread(void* buffer, unsigned long unit, unsigned long count, void* stream) {
  return REAL(fread)(buffer, unit, AtLeastNothing(Allowed(Call::kStreamRead, count)), stream);
}

unsigned long fwrite(const void* buffer, unsigned long unit, unsigned long count, void* stream) {
  return REAL(fwrite)(buffer, unit, AtLeastNothing(Allowed(Call::kStreamWrite, count)), stream);
}
}
#pragma GCC visibility pop
