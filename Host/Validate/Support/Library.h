#pragma once

/// A library under test, loaded by path, and where it lies in memory.

#include "Host/Plugin/SharedLibrary.h"

#include <cstdint>
#include <string>
#include <vector>

class Library {
 public:
  /// Loads it with all its symbols bound. What the loader says fails the check (CheckFailed).
  explicit Library(const std::string& path);

  /// The address of a symbol; null when it has none of that name.
  void* Find(const char* name) const { return m_library.Find(name); }

  /// The address of its dynamic section, an array of ElfW(Dyn).
  const void* Address() const;

  /// Unloads it ahead of time.
  void Unload() { m_library.Unload(); }

 private:
  SharedLibrary m_library;
};

/// A stretch of this process's memory.
struct Mapping {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  bool isExecutable = false;
  std::string file;  ///< device, inode and path of what is mapped there; no path for anonymous memory

  bool Contains(const void* address) const {
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    return place >= begin && place < end;
  }
};

/// All of it, in the order of the addresses.
std::vector<Mapping> ReadMappings();

/// What is mapped at `address`; null when nothing is.
const Mapping* FindMapping(const std::vector<Mapping>& mappings, const void* address);
