#include "Host/CommandLine/FileList.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30;
constexpr std::size_t kMostNames = 10'000'000;

/// Takes the names out of a list, piece by piece. An endless list is refused before it fills the memory.
class NameCollector {
 public:
  NameCollector(std::string list, bool isNullSeparated)
      : m_list(std::move(list)), m_isNullSeparated(isNullSeparated), m_end(isNullSeparated ? '\0' : '\n') {}

  void Add(std::string_view text) {
    m_bytes += text.size();
    if (m_bytes > kMostBytes || m_names.size() > kMostNames) {
      throw Failure(
          fmt::format("{}: not a list of files: more than {} MiB or {} names", m_list, kMostBytes >> 20, kMostNames));
    }
    if (!m_isNullSeparated && text.find('\0') != std::string_view::npos) {
      throw Failure(m_list +
                    ": not a list with one name on a line: it contains a zero byte; names that end with zero "
                    "bytes need --null");
    }
    for (std::size_t end = 0; (end = text.find(m_end)) != std::string_view::npos; text.remove_prefix(end + 1)) {
      Extend(text.substr(0, end));
      EndName();
    }
    Extend(text);
  }

  /// The names, once all text has been added. The last name may lack its separator.
  std::vector<std::string> Finish() {
    EndName();
    return std::move(m_names);
  }

 private:
  void Extend(std::string_view part) {
    if (m_name.size() + part.size() > PATH_MAX) {
      throw Failure(
          fmt::format("{}: not a list of files: name {} has more than {} bytes", m_list, m_names.size() + 1, PATH_MAX));
    }
    m_name += part;
  }

  void EndName() {
    if (!m_isNullSeparated && m_name.ends_with('\r')) {
      m_name.pop_back();
    }
    if (!m_name.empty()) {
      m_names.push_back(m_name);
      m_name.clear();
    }
  }

  std::string m_list;
  bool m_isNullSeparated;
  char m_end;
  std::size_t m_bytes = 0;
  std::string m_name;  ///< the beginning of a name whose end has not been read
  std::vector<std::string> m_names;
};

}  // namespace

std::vector<std::string> ReadFileList(const std::string& path, bool isNullSeparated) {
  const bool isInput = path == "-";
  const std::string shownName = isInput ? "standard input" : path;
  // Standard input stays open for its owner.
  const auto close = [isInput](std::FILE* file) { return isInput ? 0 : std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(isInput ? stdin : std::fopen(path.c_str(), "rbe"), close);
  if (file == nullptr) {
    throw SystemFailure(shownName, "open", errno);
  }
  NameCollector names(shownName, isNullSeparated);
  char block[16384];
  errno = 0;
  for (std::size_t size = 0; (size = std::fread(block, 1, sizeof block, file.get())) != 0;) {
    names.Add({block, size});
  }
  if (std::ferror(file.get()) != 0) {
    throw SystemFailure(shownName, "read the list", errno);
  }
  return names.Finish();
}
