#include "Toolbox/KelUtils/Removal.h"

#include "Toolbox/KelUtils/Descriptor.h"
#include "Toolbox/KelUtils/Interrupted.h"
#include "Toolbox/KelUtils/Paths.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <string_view>
#include <vector>

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using OpenDir = std::unique_ptr<DIR, CloseFolder>;

struct Entry {
  std::string name;
  bool mayBeFolder;
};

// Opens the folder itself, never what a link of that name points to. Null, with errno set, when it is no folder.
OpenDir OpenFolderAt(int parent, const char* name) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor descriptor(RetryInterrupted([&] { return openat(parent, name, kFlags); }));
  OpenDir folder(descriptor.IsOpen() ? fdopendir(descriptor.Get()) : nullptr);
  if (folder != nullptr) {
    descriptor.Release();
  }
  return folder;
}

std::vector<Entry> ListEntries(DIR* folder) {
  std::vector<Entry> entries;
  rewinddir(folder);
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      entries.push_back({std::string(name), entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN});
    }
  }
  return entries;
}

int ErrorOf(int result) { return result == 0 ? 0 : errno; }

int RemoveEntry(int parent, const Entry& entry);

// Removes what is in `folder`, then the folder itself, which `parent` knows by `name`: 0 or the error's number. What
// others put in meanwhile is listed again and removed too, as long as a round removes anything; what others remove
// meanwhile is none of our failures.
int RemoveFolder(int parent, const char* name, DIR* folder) {
  for (;;) {
    bool isProgress = false;
    for (const Entry& entry : ListEntries(folder)) {
      const int error = RemoveEntry(dirfd(folder), entry);
      if (error != 0 && error != ENOENT) {
        return error;
      }
      isProgress = isProgress || error == 0;
    }
    const int error = ErrorOf(unlinkat(parent, name, AT_REMOVEDIR));
    if ((error != ENOTEMPTY && error != EEXIST) || !isProgress) {
      return error;
    }
  }
}

int RemoveEntry(int parent, const Entry& entry) {
  const char* const name = entry.name.c_str();
  if (entry.mayBeFolder) {
    if (const OpenDir folder = OpenFolderAt(parent, name)) {
      return RemoveFolder(parent, name, folder.get());
    }
    if (errno != ENOTDIR && errno != ELOOP) {
      return errno;
    }
  }
  return ErrorOf(unlinkat(parent, name, 0));
}

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
    // Behind a separator the system would follow a link.
    path.erase(std::max<std::size_t>(path.find_last_not_of(*kDirSeparator) + 1, 1));
    const OpenDir opened = OpenFolderAt(AT_FDCWD, path.c_str());
    if (opened == nullptr) {
      return IsLinkToFolder(path.c_str()) && unlink(path.c_str()) == 0;
    }
    const int error = RemoveFolder(AT_FDCWD, path.c_str(), opened.get());
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
