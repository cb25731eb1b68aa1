#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <dirent.h>
#include <fcntl.h>
#include <mntent.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

/// The C library requires endmntent for a stream of setmntent.
struct EndMounts {
  void operator()(FILE* table) const { endmntent(table); }
};

/// Whether both paths exist and lead to the same item; links are followed.
bool IsSameItem(const char* left, const char* right) {
  struct stat leftStatus {};
  struct stat rightStatus {};
  return stat(left, &leftStatus) == 0 && stat(right, &rightStatus) == 0 && leftStatus.st_dev == rightStatus.st_dev &&
         leftStatus.st_ino == rightStatus.st_ino;
}

}  // namespace

std::vector<Mount> ReadMountTable() {
  std::vector<Mount> mounts;
  const std::unique_ptr<FILE, EndMounts> table(setmntent("/proc/self/mounts", "re"));
  if (table != nullptr) {
    mntent entry{};
    // getmntent_r truncates longer lines. It decodes the kernel's octal escapes, such as \040 for a space.
    std::array<char, 16384> text{};
    while (getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
      mounts.push_back({entry.mnt_type, entry.mnt_dir, entry.mnt_fsname});
    }
  }
  return mounts;
}

bool ReadExecutablePath(std::string& path) {
  constexpr const char* kProgram = "/proc/self/exe";
  constexpr std::size_t kMostBytes = 1023;
  constexpr std::string_view kDeleted = " (deleted)";
  // readlink truncates without an error. One byte more than the longest acceptable text shows that.
  std::array<char, kMostBytes + kDeleted.size() + 1> text{};
  const ssize_t length = readlink(kProgram, text.data(), text.size());
  if (length <= 0) {
    return false;
  }
  std::string_view found(text.data(), static_cast<std::size_t>(length));
  // The kernel adds this suffix to the path of a removed file, but it may also be part of the name.
  if (found.ends_with(kDeleted) && !IsSameItem(std::string(found).c_str(), kProgram)) {
    found.remove_suffix(kDeleted.size());
  }
  if (found.size() > kMostBytes) {
    return false;
  }
  path = found;
  return true;
}

int CountProcessors() { return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN))); }

void ExpectToFill(char* block, std::size_t size) {
  // An unaligned block of this size contains at least one aligned large page of 2 MiB.
  constexpr std::size_t kWorthwhile = 4UL * 1024 * 1024;
  if (size >= kWorthwhile) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t beforePage = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
    // Whole pages only, as madvise requires. A refusal is ignored: the pages are then of the usual size.
    madvise(block + beforePage, (size - beforePage) / page * page, MADV_HUGEPAGE);
  }
}

int OpenFolderUnlisted(int folder, const char* path) { return openat(folder, path, O_PATH | O_DIRECTORY | O_CLOEXEC); }

long ReadFolderEntries(int folder, void* buffer, std::size_t size) {
  const long count = getdents64(folder, buffer, size);
  // The kernel reports ENOENT for a folder that has been removed; POSIX requires it to be listed as empty.
  return count == -1 && errno == ENOENT ? 0 : count;
}

std::size_t FindBytes(std::string_view text, std::string_view what) {
  // glibc's memmem takes linear time for every text, unlike the find functions of std::string_view.
  const void* const found = memmem(text.data(), text.size(), what.data(), what.size());
  return found == nullptr ? std::string_view::npos
                          : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}
