#include "Toolbox/KelUtils/OpenFile.h"

#include "Toolbox/KelUtils/PathErrors.h"

#include <algorithm>
#include <string>

namespace {

// The same mode with "e", close on exec, before a comma and what may follow one.
std::string ClosedOnExec(std::string mode) { return mode.insert(std::min(mode.find(','), mode.size()), "e"); }

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
