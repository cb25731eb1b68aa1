#include "Toolbox/KelUtils/Files/OpenFolder.h"

#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <utility>

static_assert(sizeof(dirent::d_ino) == 8, "inode numbers need 64 bits");

namespace {

/// The absolute path. Throws for an empty path; empty for one that cannot be simplified, which then cannot be opened.
std::string Simplified(const std::string& folderPath) {
  if (folderPath.empty()) {
    throw std::runtime_error("invalid (empty) folder path specified");
  }
  std::string simplified;
  KelSimplifyPath(folderPath, simplified);
  return simplified;
}

/// Opens `simplified` and follows a link. The error quotes the path as the caller gave it.
Descriptor OpenOrThrow(const std::string& simplified, const std::string& folderPath) {
  Descriptor folder = OpenFolderForListing(AT_FDCWD, simplified.c_str(), true);
  if (!folder.IsOpen()) {
    throw PathError("opendir failed for", folderPath);
  }
  return folder;
}

}  // namespace

TKelOpenFolder::TPrivate::TPrivate(const std::string& folderPath)
    : m_folderPath(Simplified(folderPath)), m_folder(OpenOrThrow(m_folderPath, folderPath)), m_listing(m_folder) {
  // A listing without any entry, even the dots, is not an error.
  if (!parseNextItem() && m_listing.HasFailed()) {
    throw PathError("readdir_r failed for", folderPath);
  }
}

bool TKelOpenFolder::TPrivate::parseNextItem() {
  dirent* const entry = m_listing.Next();
  if (entry == nullptr) {
    return false;
  }
  // An entry whose type stays unknown counts as a file.
  fix_DT_UNKNOWN(m_folderPath, *entry);
  m_name = static_cast<const char*>(entry->d_name);
  m_type = entry->d_type;
  return true;
}

std::string TKelOpenFolder::TPrivate::itemPath() const {
  std::string path;
  path.reserve(m_folderPath.size() + 1 + m_name.size());
  return path.append(m_folderPath).append(kDirSeparator).append(m_name);
}

bool TKelOpenFolder::TPrivate::fix_DT_UNKNOWN(const std::string& folderPath, dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) {
    return true;
  }
  // stat, not lstat: on such a file system a link to a folder counts as that folder, as documented.
  struct stat status {};
  if (stat((folderPath + kDirSeparator + static_cast<const char*>(entry.d_name)).c_str(), &status) != 0) {
    return false;
  }
  constexpr std::array<std::pair<mode_t, unsigned char>, 7> kTypes{{{S_IFDIR, DT_DIR},
                                                                    {S_IFREG, DT_REG},
                                                                    {S_IFCHR, DT_CHR},
                                                                    {S_IFBLK, DT_BLK},
                                                                    {S_IFIFO, DT_FIFO},
                                                                    {S_IFLNK, DT_LNK},
                                                                    {S_IFSOCK, DT_SOCK}}};
  const auto isOfType = [&status](const auto& type) { return type.first == (status.st_mode & S_IFMT); };
  const auto* const type = std::find_if(kTypes.begin(), kTypes.end(), isOfType);
  if (type == kTypes.end()) {
    return false;
  }
  entry.d_type = type->second;
  return true;
}

TKelOpenFolder::TKelOpenFolder(const std::string& folderPath) : m_private(std::make_unique<TPrivate>(folderPath)) {}

TKelOpenFolder::~TKelOpenFolder() = default;

const std::string& TKelOpenFolder::folderPath() const { return m_private->m_folderPath; }

bool TKelOpenFolder::parseNextItem() { return m_private->parseNextItem(); }

std::string TKelOpenFolder::itemName() const { return m_private->m_name; }

std::string TKelOpenFolder::itemPath() const { return m_private->itemPath(); }

bool TKelOpenFolder::itemIsFolder() const { return m_private->itemIsFolder(); }
