#include "Host/Plugin/SharedLibrary.h"

#include "Host/Text/Errors.h"

#include <dlfcn.h>

namespace {

/// The loader searches its path for a name without a slash.
std::string WithSlash(const std::string& path) { return path.find('/') == std::string::npos ? "./" + path : path; }

}  // namespace

SharedLibrary::SharedLibrary(const std::string& path)
    : m_handle(dlopen(WithSlash(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_handle == nullptr) {
    throw Failure(dlerror());
  }
}

void* SharedLibrary::Find(const char* name) const { return dlsym(m_handle.get(), name); }

void SharedLibrary::Closer::operator()(void* handle) const { dlclose(handle); }
