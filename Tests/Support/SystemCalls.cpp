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

#define REAL(function)                                    \
  (*[] {                                                  \
    static auto* const real = Real(&function, #function); \
    return real;                                          \
  }())
#define FAULTY(call, failure, result, function, parameters, arguments) \
  result function parameters { return Fails(call) ? failure : REAL(function) arguments; }
#define PARTIAL(call, function, parameters, ...)             \
  long function parameters {                                 \
    const long allowed = Allowed(call, size);                \
    return allowed == -1 ? -1 : REAL(function)(__VA_ARGS__); \
  }

#pragma GCC visibility push(default)  // so that the module's calls come here too
extern "C" {

int open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const unsigned mode = va_arg(rest, unsigned);
  va_end(rest);
  return Fails(Call::kOpen) ? -1 : REAL(open64)(path, flags, mode);
}
FAULTY(Call::kOpenAt, -1, int, openat64, (int at, const char* path, int flags, ...), (at, path, flags))
PARTIAL(Call::kRead, read, (int file, void* buffer, unsigned long size), file, buffer,
        static_cast<unsigned long>(allowed))
PARTIAL(Call::kWrite, write, (int file, const void* buffer, unsigned long size), file, buffer,
        static_cast<unsigned long>(allowed))
FAULTY(Call::kSeek, -1, long, lseek64, (int file, long offset, int whence), (file, offset, whence))
FAULTY(Call::kClose, (REAL(close)(file), -1), int, close, (int file), (file))
FAULTY(Call::kRemove, -1, int, unlinkat, (int at, const char* path, int flags), (at, path, flags))
FAULTY(Call::kFork, -1, int, fork, (), ())
FAULTY(Call::kPipe, -1, int, pipe2, (int* ends, int flags), (ends, flags))
FAULTY(Call::kOpenFolder, nullptr, void*, opendir, (const char* path), (path))
FAULTY(Call::kReadFolder, nullptr, void*, readdir64, (void* folder), (folder))
FAULTY(Call::kStreamSeek, -1, int, fseeko64, (void* stream, long offset, int whence), (stream, offset, whence))
unsigned long fread(void* buffer, unsigned long unit, unsigned long size, void* stream) {
  return REAL(fread)(buffer, unit, AtLeastNothing(Allowed(Call::kStreamRead, size)), stream);
}
unsigned long fwrite(const void* buffer, unsigned long unit, unsigned long size, void* stream) {
  return REAL(fwrite)(buffer, unit, AtLeastNothing(Allowed(Call::kStreamWrite, size)), stream);
}
}
#pragma GCC visibility pop
