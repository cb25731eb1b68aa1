#include "Host/Validate/Support/Mappings.h"

#include <dlfcn.h>
#include <link.h>
#include <algorithm>
#include <fstream>
#include <sstream>

std::vector<Mapping> ReadMappings() {
  std::vector<Mapping> mappings;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    // "begin-end rights offset device inode path", see proc(5). Begin and end are hexadecimal; the rest is read as
    // text.
    std::istringstream words(line);
    Mapping mapping;
    char dash = 0;
    std::string rights;
    std::string offset;
    std::string inode;
    words >> std::hex >> mapping.begin >> dash >> mapping.end >> rights >> offset >> mapping.id >> inode >> std::ws;
    std::getline(words, mapping.file);
    // Inodes are unique within a device only.
    mapping.id += ' ' + inode;
    mapping.isExecutable = rights.find('x') != std::string::npos;
    mapping.isWritable = rights.find('w') != std::string::npos;
    mappings.push_back(std::move(mapping));
  }
  return mappings;
}

const Mapping* FindMapping(const std::vector<Mapping>& mappings, const void* address) {
  const auto found = std::find_if(mappings.begin(), mappings.end(),
                                  [address](const Mapping& mapping) { return mapping.Contains(address); });
  return found == mappings.end() ? nullptr : &*found;
}

const void* DynamicSection(void* handle) {
  // The section lies in the library itself, so its address leads to the library's mapping.
  link_map* map = nullptr;
  const bool isKnown = dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0;
  return isKnown ? static_cast<const void*>(map->l_ld) : nullptr;
}
