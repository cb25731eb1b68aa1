#include "Host/CommandLine/FileList.h"

#include "Host/Text/Errors.h"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace {

/// The whole file, or standard input for "-", which stays open. Throws Failure.
std::string ReadWhole(const std::string& path) {
  const bool isInput = path == "-";
  const std::string shownName = isInput ? "standard input" : path;
  const auto close = [isInput](std::FILE* file) { return isInput ? 0 : std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(isInput ? stdin : std::fopen(path.c_str(), "rbe"), close);
  if (file == nullptr) {
    throw SystemFailure(shownName, "open", errno);
  }
  std::string text;
  char block[16384];
  errno = 0;
  for (std::size_t size = 0; (size = std::fread(block, 1, sizeof block, file.get())) != 0;) {
    text.append(block, size);
  }
  if (std::ferror(file.get()) != 0) {
    throw SystemFailure(shownName, "read the list", errno);
  }
  return text;
}

}  // namespace

std::vector<std::string> ReadFileList(const std::string& path, bool isNullSeparated) {
  const std::string text = ReadWhole(path);
  std::vector<std::string> names;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find(isNullSeparated ? '\0' : '\n', start), text.size());
    // The last name may lack its separator.
    std::string name = text.substr(start, end - start);
    if (!isNullSeparated && name.ends_with('\r')) {
      name.pop_back();
    }
    if (!name.empty()) {
      names.push_back(std::move(name));
    }
    start = end + 1;
  }
  return names;
}
