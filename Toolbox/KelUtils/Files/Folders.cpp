#include "Toolbox/KelUtils/Files/Folders.h"

#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <exception>
#include <memory>
#include <string_view>

namespace {

using Folder = TKelOpenFolder::TPrivate;

// Null when there is no such folder: asking first and opening then would open it twice.
std::unique_ptr<Folder> TryToOpen(const std::string& path) {
  try {
    return std::make_unique<Folder>(path);
  } catch (const std::exception&) {
    return nullptr;
  }
}

unsigned int CountFile(const std::string& path) {
  if (!OpenForReading(path).IsOpen()) {
    throw FailedToOpen(path);
  }
  return 1;
}

bool IsMatch(const char* name, const std::string& prefix, const std::string& extension) {
  return std::string_view(name).starts_with(prefix) && KelStrMatchTail<char>(name, extension.c_str(), true);
}

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

bool KelIsPathToFile(const std::string& path) { return !path.empty() && OpenForReading(path).IsOpen(); }

bool KelIsPathToFolder(const std::string& path) { return TryToOpen(path) != nullptr; }

bool KelPathExists(const std::string& path) {
  return !path.empty() && path.front() != '\0' && (KelIsPathToFolder(path) || KelIsPathToFile(path));
}

bool KelForEachFile(const std::string& path, IKelSomeFileTask& task) {
  const std::unique_ptr<Folder> folder = TryToOpen(path);
  if (folder == nullptr) {
    return task.processFile(path);
  }
  return VisitEntries(*folder, [&] {
    return folder->itemIsFolder() ? KelForEachFile(folder->itemPath(), task) : task.processFile(folder->itemPath());
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
      if (!opened.itemIsFolder() && IsMatch(opened.m_entry.d_name, prefix, extension)) {
        result.emplace_back(opened.m_entry.d_name);
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
