#pragma once

#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder of its own for one test, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr) << m_path; }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(m_path); }

  std::string Path(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path = testing::TempDir() + "kel-test-XXXXXX";
};

/// The bytes of the file `path`; none where there is no such file.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
