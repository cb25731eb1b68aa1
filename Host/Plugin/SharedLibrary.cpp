#include "Host/Plugin/SharedLibrary.h"

#include "Host/Text/Errors.h"

#include <dlfcn.h>

namespace {

/// A path that has a slash: the loader searches its own folders for a name without one.
std::string WithSlash(const std::string& path) { return path.find('/') == std::string::npos ? "./" + path : path; }

}  // namespace

SharedLibrary::SharedLibrary(const std::string& path)
    // RTLD_NOW: an undefined symbol fails here instead of at its first call. RTLD_LOCAL: libraries that are loaded
    // later must not bind to a module's symbols.
    : m_handle(dlopen(WithSlash(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_handle == nullptr) {
    throw Failure(dlerror());
  }
}

void* SharedLibrary::Find(const char* name) const { return dlsym(m_handle.get(), name); }

void SharedLibrary::Closer::operator()(void* handle) const { dlclose(handle); }
