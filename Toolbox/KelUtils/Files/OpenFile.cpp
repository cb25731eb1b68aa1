#include "Toolbox/KelUtils/Files/OpenFile.h"

#include "Toolbox/KelUtils/Files/Internal/OpenStream.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"

#include <string>
#include <string_view>

namespace {

/// `mode` with the C library's "e" (close on exec), in front of the comma of a character set: "r,ccs=UTF-8".
std::string ClosedOnExec(std::string_view mode) {
  const std::string_view letters = mode.substr(0, mode.find(','));
  return std::string(letters).append("e").append(mode.substr(letters.size()));
}

}  // namespace

OwnedStream OpenStream(const char* path, const char* mode) {
  const bool isNamed = path != nullptr && mode != nullptr;
  return OwnedStream(isNamed ? std::fopen(path, ClosedOnExec(mode).c_str()) : nullptr);
}

TKelOpenFile::TKelOpenFile(const char* path, const char* mode) : m_file(OpenStream(path, mode).release()) {
  if (m_file == nullptr) {
    throw FailedToOpen(OrEmpty(path));
  }
}

TKelOpenFile::~TKelOpenFile() {
  if (m_file != nullptr) {
    std::fclose(m_file);
    m_file = nullptr;
  }
}
