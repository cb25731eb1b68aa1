#pragma once

/// Where libraries lie in the memory of this process.

#include <cstdint>
#include <string>
#include <vector>

/// A range of this process's memory.
struct Mapping {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  bool isExecutable = false;
  bool isWritable = false;
  std::string id;    ///< device and inode of the file that is mapped there
  std::string file;  ///< its path; empty for anonymous memory

  bool Contains(const void* address) const {
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    return place >= begin && place < end;
  }
};

/// All of them, in the order of the addresses.
std::vector<Mapping> ReadMappings();

/// What is mapped at `address`; null when nothing is.
const Mapping* FindMapping(const std::vector<Mapping>& mappings, const void* address);

/// The address of a loaded library's dynamic section, an array of ElfW(Dyn), from its handle.
const void* DynamicSection(void* handle);
