#pragma once

#include <unistd.h>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::string content(file ? static_cast<std::size_t>(file.tellg()) : 0, '\0');
  file.seekg(0).read(content.data(), static_cast<std::streamsize>(content.size()));
  content.resize(static_cast<std::size_t>(file.gcount()));
  return content;
}

/// The text of the std::runtime_error that `action` throws; "nothing" when it throws none.
template <class Action>
std::string MessageOf(Action action) {
  try {
    action();
    return "nothing";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

/// The targets of all open descriptors, including the one that lists them. An inherited one, such as the log of ctest,
/// may be deleted meanwhile.
inline std::multiset<std::string> OpenDescriptors() {
  std::multiset<std::string> items;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const std::string target = fs::read_symlink(entry).string();
    items.insert(target.substr(0, target.find(" (deleted)")));
  }
  return items;
}

/// A folder for one test. Its destructor removes it with its content.
class TemporaryFolder {
 public:
  TemporaryFolder() : m_path((fs::temp_directory_path() / "rho_test_XXXXXX").string()) {
    if (mkdtemp(m_path.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    m_path = fs::canonical(m_path).string();
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { fs::remove_all(m_path); }

  std::string operator/(const std::string& name) const { return m_path + "/" + name; }
  const std::string& Path() const { return m_path; }

  /// Creates a file and the folders above it, and returns its path.
  std::string Write(const std::string& name, const std::string& content) const {
    std::string path = *this / name;
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  /// All items in it, sorted, each followed by a blank: folders end in "/", links in "@", FIFOs in "|", files in "="
  /// and their content.
  std::string Tree() const {
    std::set<std::string> items;
    for (const auto& entry : fs::recursive_directory_iterator(m_path)) {
      const std::string path = entry.path().string();
      const char* const kind = entry.is_symlink() ? "@" : entry.is_directory() ? "/" : entry.is_fifo() ? "|" : "=";
      items.insert(path.substr(m_path.size() + 1) + kind + (*kind == '=' ? ReadFile(path) : "") + " ");
    }
    return std::accumulate(items.begin(), items.end(), std::string());
  }

 private:
  std::string m_path;
};
