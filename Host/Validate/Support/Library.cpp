#include "Host/Validate/Support/Library.h"

#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Check.h"

#include <dlfcn.h>
#include <link.h>
#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

SharedLibrary Load(const std::string& path) {
  try {
    return SharedLibrary(path);
  } catch (const Failure& failure) {
    throw CheckFailed{"a library that can be loaded", failure.what()};
  }
}

}  // namespace

Library::Library(const std::string& path) : m_library(Load(path)) {}

const void* Library::Address() const {
  link_map* map = nullptr;
  const bool isKnown = dlinfo(m_library.Handle(), RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0;
  return isKnown ? static_cast<const void*>(map->l_ld) : nullptr;
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
