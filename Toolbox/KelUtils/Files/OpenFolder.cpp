#include "Toolbox/KelUtils/Files/OpenFolder.h"

#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

static_assert(sizeof(dirent::d_ino) == 8, "inode numbers need 64 bits");

TKelOpenFolder::TPrivate::TPrivate(const std::string& folderPath) {
  if (folderPath.empty()) {
    throw std::runtime_error("invalid (empty) folder path specified");
  }
  KelSimplifyPath(folderPath, m_folderPath);
  m_dir.reset(opendir(m_folderPath.c_str()));
  if (m_dir == nullptr) {
    throw PathError("opendir failed for", folderPath);
  }
  if (readNext() == ReadResult::kError) {
    throw PathError("readdir_r failed for", folderPath);
  }
}

TKelOpenFolder::TPrivate::ReadResult TKelOpenFolder::TPrivate::readNext() {
  errno = 0;
  const dirent* const entry = readdir(m_dir.get());
  if (entry == nullptr) {
    return errno == 0 ? ReadResult::kEnd : ReadResult::kError;
  }
  if (std::strlen(entry->d_name) >= sizeof m_entry.d_name) {
    return ReadResult::kError;
  }
  // An entry is as long as its name asks for: there may be nothing to read behind it.
  std::memcpy(&m_entry, entry, std::min<std::size_t>(entry->d_reclen, sizeof m_entry));
  fix_DT_UNKNOWN(m_folderPath, m_entry);
  return ReadResult::kEntry;
}

bool TKelOpenFolder::TPrivate::parseNextItem() { return m_dir != nullptr && readNext() == ReadResult::kEntry; }

std::string TKelOpenFolder::TPrivate::itemPath() const { return m_folderPath + kDirSeparator + m_entry.d_name; }

bool TKelOpenFolder::TPrivate::itemIsDots() const {
  const std::string_view name = m_entry.d_name;
  return name.empty() || (itemIsFolder() && (name == "." || name == ".."));
}

bool TKelOpenFolder::TPrivate::fix_DT_UNKNOWN(const std::string& folderPath, dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) {
    return true;
  }
  struct stat status {};
  if (stat((folderPath + kDirSeparator + entry.d_name).c_str(), &status) != 0) {
    return false;
  }
  switch (status.st_mode & S_IFMT) {
    case S_IFDIR:
      entry.d_type = DT_DIR;
      return true;
    case S_IFREG:
      entry.d_type = DT_REG;
      return true;
    case S_IFCHR:
      entry.d_type = DT_CHR;
      return true;
    case S_IFBLK:
      entry.d_type = DT_BLK;
      return true;
    case S_IFIFO:
      entry.d_type = DT_FIFO;
      return true;
    case S_IFLNK:
      entry.d_type = DT_LNK;
      return true;
    case S_IFSOCK:
      entry.d_type = DT_SOCK;
      return true;
    default:
      return false;
  }
}

TKelOpenFolder::TKelOpenFolder(const std::string& folderPath) : m_private(std::make_unique<TPrivate>(folderPath)) {}

TKelOpenFolder::~TKelOpenFolder() = default;

const std::string& TKelOpenFolder::folderPath() const { return m_private->m_folderPath; }

bool TKelOpenFolder::parseNextItem() { return m_private->parseNextItem(); }

std::string TKelOpenFolder::itemName() const { return m_private->m_entry.d_name; }

std::string TKelOpenFolder::itemPath() const { return m_private->itemPath(); }

bool TKelOpenFolder::itemIsFolder() const { return m_private->itemIsFolder(); }
