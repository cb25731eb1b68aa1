#include "Toolbox/KelUtils/Files/Folders.h"

#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>

namespace {

using Folder = TKelOpenFolder::TPrivate;

/// Null when `path` is not a folder or cannot be listed, and when out of memory.
std::unique_ptr<Folder> TryToOpen(const std::string& path) {
  try {
    return std::make_unique<Folder>(path);
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// 1 for a file that can be opened for reading; throws for any other, as documented for KelCountFiles.
unsigned int CountFile(const std::string& path) {
  if (!OpenForReading(path).IsOpen()) {
    throw FailedToOpen(path);
  }
  return 1;
}

/// Compares `prefix` byte by byte and `extension` without regard to the case of ASCII letters.
bool IsMatch(const std::string& name, const std::string& prefix, const std::string& extension) {
  return name.starts_with(prefix) && KelStrMatchTail<char>(name.c_str(), extension.c_str(), true);
}

/// The age of the file's content; negative when its time lies in the future, as on a server with another clock.
double SecondsSinceModification(const struct stat& status) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const auto seconds = static_cast<double>(now.tv_sec) - static_cast<double>(status.st_mtim.tv_sec);
  return seconds + static_cast<double>(now.tv_nsec - status.st_mtim.tv_nsec) * 1e-9;
}

}  // namespace

bool KelIsPathToFolder(const std::string& path) { return TryToOpen(path) != nullptr; }

bool KelEnsureDirectoryPathExists(const std::string& path) {
  if (path.empty() || path.front() == '\0') {
    return false;
  }
  if (KelPathExists(path)) {
    return true;
  }
  // The system accepts no longer paths, and splitting one level by level would take time and stack.
  if (path.size() >= PATH_MAX) {
    return false;
  }
  std::string folder;
  std::string name;
  // The folder part is shorter than the path except at the root, where the recursion ends.
  const bool hasFolder = KelParseFilePath(path, folder, name) && folder.size() < path.size();
  if (hasFolder && !KelEnsureDirectoryPathExists(folder)) {
    return false;
  }
  // Another process may have created the folder meanwhile: what exists afterwards decides, not this result.
  kel_mkdir_UTF8(path.c_str());
  return KelPathExists(path);
}

bool KelForEachFile(const std::string& path, IKelSomeFileTask& task) {
  const std::unique_ptr<Folder> folder = TryToOpen(path);
  if (folder == nullptr) {
    return task.processFile(path);
  }
  // One string for all paths: a new one for each would take a sixth of the time of the walk.
  std::string itemPath = folder->m_folderPath + kDirSeparator;
  const std::size_t nameAt = itemPath.size();
  return VisitEntries(*folder, [&] {
    itemPath.resize(nameAt);
    itemPath += folder->m_name;
    return folder->itemIsFolder() ? KelForEachFile(itemPath, task) : task.processFile(itemPath);
  });
}

unsigned int KelCountFiles(const std::string& path) {
  const std::unique_ptr<Folder> folder = TryToOpen(path);
  if (folder == nullptr) {
    return CountFile(path);
  }
  unsigned int count = 0;
  VisitEntries(*folder, [&] {
    count += folder->itemIsFolder() ? KelCountFiles(folder->itemPath()) : CountFile(folder->itemPath());
    return true;
  });
  return count;
}

bool kel_find_matching_files_UTF8(std::list<std::string>& result, const std::string& folder, const std::string& prefix,
                                  const std::string& extension) {
  const std::size_t countBefore = result.size();
  try {
    Folder opened(folder);
    VisitEntries(opened, [&] {
      if (!opened.itemIsFolder() && IsMatch(opened.m_name, prefix, extension)) {
        result.emplace_back(opened.m_name);
      }
      return true;
    });
  } catch (const std::exception&) {
    return false;
  }
  return result.size() != countBefore;
}

bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder, const char* prefix,
                                  const char* extension) {
  return kel_find_matching_files_UTF8(result, std::string(OrEmpty(folder)), std::string(OrEmpty(prefix)),
                                      std::string(OrEmpty(extension)));
}

bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder, const char* extension) {
  return kel_find_matching_files_UTF8(result, folder, "", extension);
}

bool KelCheckExclusiveFileAccess(const char* path) {
  struct stat status {};
  if (stat(OrEmpty(path), &status) == 0) {
    const double age = SecondsSinceModification(status);
    // A time slightly in the future is also recent: the clock of a file server may be ahead.
    if (age > -60.0 && age < 60.0) {
      return false;
    }
  }
  std::printf(" Watchfolder exclusive access: %s  \n", OrEmpty(path));
  return true;
}
