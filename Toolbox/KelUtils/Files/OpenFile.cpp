#include "Toolbox/KelUtils/Files/OpenFile.h"

#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"

#include <string>
#include <string_view>

namespace {

// The same mode with "e", close on exec, before a comma and what may follow one.
std::string ClosedOnExec(std::string_view mode) {
  const std::string_view letters = mode.substr(0, mode.find(','));
  return std::string(letters).append("e").append(mode.substr(letters.size()));
}

}  // namespace

TKelOpenFile::TKelOpenFile(const char* path, const char* mode)
    : m_file(path == nullptr || mode == nullptr ? nullptr : std::fopen(path, ClosedOnExec(mode).c_str())) {
  if (m_file == nullptr) {
    throw FailedToOpen(path == nullptr ? "" : path);
  }
}

TKelOpenFile::~TKelOpenFile() {
  if (m_file != nullptr) {
    std::fclose(m_file);
    m_file = nullptr;
  }
}
