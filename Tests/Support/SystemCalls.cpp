#include "Tests/Support/SystemCalls.h"

#include <dlfcn.h>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <utility>

// The headers that declare the functions defined below are left out on purpose: they rename or inline some of them.

namespace {

struct {
  const char* function = nullptr;
  int left = 0;
  int error = 0;
  std::function<void()> before;
} g_fault;

// How much of `size` the next call of the function is to handle; -1 when it is to fail.
long Allowed(const char* function, unsigned long size) {
  if (g_fault.left > 0 && std::strcmp(g_fault.function, function) == 0 && --g_fault.left == 0) {
    if (!g_fault.before) {
      errno = g_fault.error;
      return g_fault.error != 0 ? -1 : size != 0;
    }
    g_fault.before();
  }
  return static_cast<long>(size);
}

bool Fails(const char* function) { return Allowed(function, 1) == -1; }

template <class Function>
Function* Real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Fault::Fault(const char* function, int nth, int error) { g_fault = {function, nth, error, nullptr}; }
Fault::Fault(const char* function, int nth, std::function<void()> before) {
  g_fault = {function, nth, 0, std::move(before)};
}
Fault::~Fault() { g_fault = {}; }
bool Fault::Occurred() const { return g_fault.left == 0; }

// The function that the program would use without this file.
#define REAL(function) Real(&(function), #function)

#pragma GCC visibility push(default)  // so that the module's calls come here too
extern "C" {
int open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const unsigned mode = va_arg(rest, unsigned);
  va_end(rest);
  return Fails("open") ? -1 : REAL(open64)(path, flags, mode);
}
int openat64(int at, const char* path, int flags, ...) {
  return Fails("openat") ? -1 : REAL(openat64)(at, path, flags);
}
long read(int file, void* buffer, unsigned long size) {
  const long allowed = Allowed("read", size);
  return allowed == -1 ? -1 : REAL(read)(file, buffer, static_cast<unsigned long>(allowed));
}
long write(int file, const void* buffer, unsigned long size) {
  const long allowed = Allowed("write", size);
  return allowed == -1 ? -1 : REAL(write)(file, buffer, static_cast<unsigned long>(allowed));
}
std::int64_t lseek64(int file, std::int64_t offset, int whence) {
  return Fails("lseek") ? -1 : REAL(lseek64)(file, offset, whence);
}
int close(int file) { return REAL(close)(file) + (Fails("close") ? -1 : 0); }
int unlinkat(int at, const char* path, int flags) { return Fails("unlinkat") ? -1 : REAL(unlinkat)(at, path, flags); }
int fork() { return Fails("fork") ? -1 : REAL(fork)(); }
int pipe2(int* ends, int flags) { return Fails("pipe") ? -1 : REAL(pipe2)(ends, flags); }
void* opendir(const char* path) { return Fails("opendir") ? nullptr : REAL(opendir)(path); }
void* readdir64(void* folder) { return Fails("readdir") ? nullptr : REAL(readdir64)(folder); }
}
#pragma GCC visibility pop
