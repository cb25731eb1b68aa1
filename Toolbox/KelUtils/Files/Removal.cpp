#include "Toolbox/KelUtils/Files/Removal.h"

#include "Toolbox/KelUtils/Files/Internal/FolderListing.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// An entry of a folder. `mayBeFolder` is also true when the file system does not report the type.
struct Entry {
  std::string name;
  bool mayBeFolder;
};

/// Opens a folder relative to the open `parent`. Does not follow a link.
Descriptor OpenFolderItself(int parent, const char* name) { return OpenFolderForListing(parent, name, false); }

/// All entries but "." and "..", read completely first: whether a listing continues correctly while its entries are
/// removed depends on the file system. A read error ends it; removing the folder then fails.
std::vector<Entry> ListEntries(const Descriptor& folder) {
  std::vector<Entry> entries;
  // A folder that is listed again has its position at the end.
  lseek(folder.Get(), 0, SEEK_SET);
  FolderListing listing(folder);
  while (const dirent* entry = listing.Next()) {
    const std::string_view name = static_cast<const char*>(entry->d_name);
    if (name != "." && name != "..") {
      entries.push_back({std::string(name), entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN});
    }
  }
  return entries;
}

/// The errno of a system call that has just returned `result`; 0 for success.
int ErrorOf(int result) { return result == 0 ? 0 : errno; }

// Removes a folder and everything in it. Keeps the entered folders in a list instead of recursing, since a tree may be
// too deep for the thread's stack.
class TreeRemoval {
 public:
  /// `folder` is open at `path`.
  TreeRemoval(const std::string& path, Descriptor folder) { Enter(path, std::move(folder)); }

  /// Returns 0 or errno. An entry that another process has removed is not a failure.
  int Run() {
    for (;;) {
      const std::optional<int> error = TakeStep();
      const bool isRemoved = error == 0;
      // Without a value TakeStep has only entered or listed a folder. No levels are left once the root has been tried.
      if (error && (m_levels.empty() || (!isRemoved && *error != ENOENT))) {
        return *error;
      }
      // After the removal of a folder the last level is its parent, where this counts as progress.
      m_levels.back().isProgress = m_levels.back().isProgress || isRemoved;
    }
  }

 private:
  /// A folder that has been entered and is not removed yet.
  struct Level {
    std::string name;  // in the level above
    Descriptor folder;
    std::vector<Entry> entries;
    std::size_t next = 0;  // of the entries
    bool isProgress = false;
  };

  /// Makes the open `folder` the last level.
  void Enter(const std::string& name, Descriptor folder) {
    std::vector<Entry> entries = ListEntries(folder);
    m_levels.push_back({name, std::move(folder), std::move(entries)});
  }

  /// Tries to remove one item: 0 or errno. No value when it has only entered a folder or listed one again.
  std::optional<int> TakeStep() {
    Level& level = m_levels.back();
    return level.next < level.entries.size() ? RemoveOrEnter(level.entries[level.next++]) : RemoveLevel();
  }

  /// Works relative to the parent's descriptor and follows no link: if another process replaces a folder on the way by
  /// a link, the removal does not leave the tree.
  std::optional<int> RemoveOrEnter(const Entry& entry) {
    const int parent = m_levels.back().folder.Get();
    if (entry.mayBeFolder) {
      if (Descriptor folder = OpenFolderItself(parent, entry.name.c_str()); folder.IsOpen()) {
        Enter(entry.name, std::move(folder));
        return std::nullopt;
      }
      // Both errors mean that the entry is not a folder, or not any more: ELOOP stands for a link.
      if (errno != ENOTDIR && errno != ELOOP) {
        return errno;
      }
    }
    return ErrorOf(unlinkat(parent, entry.name.c_str(), 0));
  }

  /// Removes the folder of the last level. If another process has added entries, lists the folder again, as long as
  /// each round removes an entry.
  std::optional<int> RemoveLevel() {
    Level& level = m_levels.back();
    const int parent = m_levels.size() == 1 ? AT_FDCWD : m_levels[m_levels.size() - 2].folder.Get();
    const int error = ErrorOf(unlinkat(parent, level.name.c_str(), AT_REMOVEDIR));
    // POSIX allows either error for a folder with entries.
    if ((error == ENOTEMPTY || error == EEXIST) && level.isProgress) {
      level.entries = ListEntries(level.folder);
      level.next = 0;
      level.isProgress = false;
      return std::nullopt;
    }
    m_levels.pop_back();
    return error;
  }

  std::vector<Level> m_levels;
};

/// Whether `path` is a symbolic link whose target is a folder.
bool IsLinkToFolder(const char* path) {
  struct stat status {};
  return lstat(path, &status) == 0 && S_ISLNK(status.st_mode) && stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

bool kel_remove_dir_recursively_UTF8(const std::string& folder) {
  if (folder.empty()) {
    return true;
  }
  try {
    std::string path;
    if (!KelSimplifyPath(folder, path)) {
      return false;
    }
    // With a trailing separator the system would follow a link.
    path.erase(std::max<std::size_t>(path.find_last_not_of(*kDirSeparator) + 1, 1));
    Descriptor opened = OpenFolderItself(AT_FDCWD, path.c_str());
    if (!opened.IsOpen()) {
      return IsLinkToFolder(path.c_str()) && unlink(path.c_str()) == 0;
    }
    const int error = TreeRemoval(path, std::move(opened)).Run();
    // ENOENT: another process has removed the folder itself.
    return error == 0 || error == ENOENT;
  } catch (const std::exception&) {
    return false;
  }
}

bool kel_remove_dir_recursively_UTF8(const CKelStr<char>& folder) {
  return kel_remove_dir_recursively_UTF8(folder.m_data);
}

bool kel_remove_dir_recursively_UTF8(const char* folder) {
  return folder != nullptr && kel_remove_dir_recursively_UTF8(std::string(folder));
}

bool kel_remove_files_UTF8(const std::string& folder, const std::list<std::string>& names) {
  std::string path = folder;
  if (!path.empty() && path.back() != *kDirSeparator) {
    path += kDirSeparator;
  }
  const std::size_t folderLength = path.size();
  for (const std::string& name : names) {
    path.resize(folderLength);
    if (std::remove((path += name).c_str()) != 0) {
      return false;
    }
  }
  return true;
}
