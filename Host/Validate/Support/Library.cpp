#include "Host/Validate/Support/Library.h"

#include "Host/Validate/Engine/Check.h"

#include <dlfcn.h>
#include <link.h>
#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

/// `path` such that the loader takes it as a path, never as a name to search for.
std::string PathNotName(const std::string& path) { return path.find('/') == std::string::npos ? "./" + path : path; }

}  // namespace

Library::Library(const std::string& path) : m_handle(dlopen(PathNotName(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  Expect(m_handle != nullptr, "a library that can be loaded", m_handle == nullptr ? dlerror() : "");
}

void* Library::Find(const char* name) const { return dlsym(m_handle, name); }

const void* Library::Address() const {
  link_map* map = nullptr;
  const bool isKnown = dlinfo(m_handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0;
  return isKnown ? static_cast<const void*>(map->l_ld) : nullptr;
}

void Library::Unload() {
  if (m_handle != nullptr) {
    dlclose(m_handle);
    m_handle = nullptr;
  }
}

std::vector<Mapping> ReadMappings() {
  std::vector<Mapping> mappings;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    Mapping mapping;
    char dash = 0;
    std::string rights;
    std::string offset;
    words >> std::hex >> mapping.begin >> dash >> mapping.end >> rights >> offset >> std::ws;
    std::getline(words, mapping.file);
    mapping.isExecutable = rights.find('x') != std::string::npos;
    mappings.push_back(std::move(mapping));
  }
  return mappings;
}

const Mapping* FindMapping(const std::vector<Mapping>& mappings, const void* address) {
  const auto found = std::find_if(mappings.begin(), mappings.end(),
                                  [address](const Mapping& mapping) { return mapping.Contains(address); });
  return found == mappings.end() ? nullptr : &*found;
}
