#include "Toolbox/KelUtils/Files/Paths.h"

#include "Toolbox/KelUtils/Files/Internal/UncPaths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"
#include "Toolbox/KelUtils/Text/Text.h"
#include "Toolbox/KelUtils/Text/Trimming.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

const char* const kDirSeparator = "/";

namespace {

/// Views into the path and the working directory, which must outlive them.
using Components = std::vector<std::string_view>;

/// Appends views of the components of `text`, which is not empty. The character after a separator begins a component
/// even when it is a separator itself.
void Split(std::string_view text, Components& components) {
  const char separator = *kDirSeparator;
  std::size_t begin = text.front() == separator ? 1 : 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find(separator, begin + 1), text.size());
    components.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
}

// Removes each "." and each ".." with the component before it; false when there is none before.
bool ResolveDots(Components& components) {
  // Compacts in place: `kept` never passes the component that is read.
  auto kept = components.begin();
  for (const std::string_view component : components) {
    if (component == "..") {
      if (kept == components.begin()) {
        return false;
      }
      --kept;
    } else if (component != ".") {
      *kept++ = component;
    }
  }
  components.erase(kept, components.end());
  return true;
}

/// An absolute path of these components; the root when there are none.
std::string JoinComponents(const Components& components, std::size_t sizeHint) {
  if (components.empty()) {
    return kDirSeparator;
  }
  std::string path;
  path.reserve(sizeHint);
  for (const std::string_view component : components) {
    path.append(kDirSeparator).append(component);
  }
  return path;
}

/// False when the system does not know the working directory or it exceeds 1023 bytes, the documented limit.
bool ReadWorkingDirectory(std::string& directory) {
  std::array<char, 1024> text{};
  if (getcwd(text.data(), text.size()) == nullptr) {
    return false;
  }
  directory = text.data();
  return true;
}

}  // namespace

bool KelIsAbsolutePath(const std::string& path) { return !path.empty() && path.front() == *kDirSeparator; }

bool KelSimplifyPath(const std::string& path, std::string& output) {
  if (path.empty()) {
    return false;
  }
  std::string directory;
  Components components;
  components.reserve(16);
  if (!KelIsAbsolutePath(path)) {
    if (!ReadWorkingDirectory(directory)) {
      return false;
    }
    Split(directory, components);
  }
  Split(path, components);
  if (!ResolveDots(components)) {
    return false;
  }
  output = JoinComponents(components, path.size());
  return true;
}

bool KelGetFullPathName(const std::string& path, std::string& output) {
  if (path.empty()) {
    output.clear();
    return false;
  }
  return KelSimplifyPath(path, output);
}

bool KelGetFullPathName(const CKelStr<char>& path, CKelStr<char>& output) {
  std::string fullPath;
  const bool succeeded = KelGetFullPathName(std::string(path.m_data), fullPath);
  if (succeeded) {
    output.assign(fullPath.c_str());
  }
  return succeeded;
}

std::string KelJoinPaths(const std::string& first, const std::string& second, char separator) {
  if (separator == '\0') {
    separator = *kDirSeparator;
  }
  std::string joined = KelTrimFromTail(separator, first.c_str(), first.size());
  joined += separator;
  return joined += KelTrimFromHead(separator, second.c_str(), second.size());
}

std::string KelJoinPaths(const std::string& first, const char* second, char separator) {
  return KelJoinPaths(first, std::string(OrEmpty(second)), separator);
}

bool KelParseFilePath(const std::string& path, std::string& folder, std::string& name) {
  if (path.empty()) {
    return false;
  }
  const char separator = *kDirSeparator;
  const std::size_t last = path.find_last_not_of(separator);
  // The position of the name's last character; 0 for separators alone, which are a folder with an empty name.
  const std::size_t end = last == std::string::npos ? 0 : last;
  const std::size_t split = path.rfind(separator, end);
  if (split == std::string::npos) {
    // Here and below, `folder` or `name` may be the same object as `path`: the parts are copied before either is
    // written.
    std::string whole = path;
    folder.clear();
    name = std::move(whole);
    return false;
  }
  std::string folderPart = path.substr(0, split + 1);
  std::string namePart = path.substr(split + 1, end - split);
  folder = std::move(folderPart);
  name = std::move(namePart);
  return true;
}

bool KelParseFilePath(const CKelStr<char>& path, CKelStr<char>& folder, CKelStr<char>& name) {
  std::string folderPart;
  std::string namePart;
  const bool succeeded = KelParseFilePath(std::string(path.m_data), folderPart, namePart);
  folder.assign(folderPart.c_str());
  name.assign(namePart.c_str());
  return succeeded;
}

std::string KelGetFileNameWithExtension(const std::string& path) {
  // Without a separator the position is npos, and npos + 1 is 0.
  return path.substr(path.find_last_of("/\\") + 1);
}

std::string KelGetPathFileNameNoExtension(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  const auto liesBefore = [dot](std::size_t position) { return position != std::string::npos && position < dot; };
  const std::size_t slash = path.rfind('/');
  const std::size_t backslash = path.rfind('\\');
  // The dot belongs to the name if it lies behind the last separator of either kind.
  const bool hasFolder = slash != std::string::npos || backslash != std::string::npos;
  if (dot == std::string::npos || (hasFolder && !liesBefore(slash) && !liesBefore(backslash))) {
    return path;
  }
  return path.substr(0, dot);
}

bool KelReplaceFilenameExtension(std::string& path, const char* newExtension, std::string* oldExtension) {
  if (path.empty()) {
    return false;
  }
  // A copy, since `newExtension` may point into `path`.
  const std::string added(OrEmpty(newExtension));
  const std::size_t dot = path.find_last_of("./\\");
  // If a separator comes later than every dot, the dots belong to folders.
  if (dot == std::string::npos || path[dot] != '.') {
    path += added;
    return false;
  }
  std::string replaced = path.substr(dot);
  path.erase(dot).append(added);
  if (oldExtension != nullptr) {
    *oldExtension = std::move(replaced);
  }
  return true;
}

bool KelRemoveFilenameExtension(std::string& path) { return KelReplaceFilenameExtension(path, nullptr, nullptr); }

bool KelFilenameExtensionMatches(const char* name, const char* extension) {
  return KelStrMatchTail<char>(name, extension, true);
}

std::string ConvertMacPathToUnc(const std::string& path) { return ConvertToUnc(path, ReadMountTable()); }
