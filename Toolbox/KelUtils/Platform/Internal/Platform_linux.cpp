#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <mntent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

struct EndMounts {
  void operator()(FILE* table) const { endmntent(table); }
};

}  // namespace

std::vector<Mount> ReadMountTable() {
  std::vector<Mount> mounts;
  const std::unique_ptr<FILE, EndMounts> table(setmntent("/proc/self/mounts", "re"));
  if (table != nullptr) {
    mntent entry{};
    std::array<char, 16384> text{};
    while (getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
      mounts.push_back({entry.mnt_type, entry.mnt_dir, entry.mnt_fsname});
    }
  }
  return mounts;
}

bool ReadExecutablePath(std::string& path) {
  std::array<char, 1024> text{};
  const ssize_t length = readlink("/proc/self/exe", text.data(), text.size());
  if (length <= 0 || static_cast<std::size_t>(length) >= text.size()) {
    return false;
  }
  path.assign(text.data(), static_cast<std::size_t>(length));
  return true;
}

int CountProcessors() { return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN))); }

void ExpectToFill(char* block, std::size_t size) {
  constexpr std::size_t kWorthwhile = 4UL * 1024 * 1024;
  if (size >= kWorthwhile) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t beforePage = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
    madvise(block + beforePage, (size - beforePage) / page * page, MADV_HUGEPAGE);
  }
}
