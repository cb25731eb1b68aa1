#include "Host/System/KeptAttributes.h"

#include "Host/Text/Errors.h"

#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <optional>
#include <string_view>

namespace {

/// The attribute in which Linux stores the POSIX access control list of a file.
constexpr const char* kAccessList = "system.posix_acl_access";

/// Calls `get(buffer, size)` with room for any attribute or list of names, and returns what it has written; nothing,
/// with errno set, when it returns -1.
template <class Get>
std::optional<std::string> GetText(Get get) {
  // XATTR_SIZE_MAX and XATTR_LIST_MAX of Linux.
  constexpr std::size_t kMostBytes = 65536;
  std::string text(kMostBytes, '\0');
  const ssize_t size = get(text.data(), text.size());
  if (size < 0) {
    return std::nullopt;
  }
  text.resize(static_cast<std::size_t>(size));
  return text;
}

/// The value of an attribute; nothing, with errno set, if there is none or it cannot be read.
std::optional<std::string> Attribute(const std::string& path, const char* name) {
  return GetText([&](char* buffer, std::size_t size) { return lgetxattr(path.c_str(), name, buffer, size); });
}

/// Whether the new file has the old one's group. The owner is kept as well where this process may set it.
bool KeepOwnerAndGroup(const struct stat& old, int newFile) {
  struct stat created {};
  if (fstat(newFile, &created) == 0 && created.st_uid == old.st_uid && created.st_gid == old.st_gid) {
    return true;
  }
  // Another owner needs a privilege; a group that this process belongs to needs none.
  constexpr auto kUnchanged = static_cast<uid_t>(-1);
  return fchown(newFile, old.st_uid, old.st_gid) == 0 || fchown(newFile, kUnchanged, old.st_gid) == 0;
}

/// Whether the new file has the old one's list, or neither has any.
bool KeepAccessList(const std::string& oldPath, int newFile) {
  const std::optional<std::string> list = Attribute(oldPath, kAccessList);
  if (list) {
    return fsetxattr(newFile, kAccessList, list->data(), list->size(), 0) == 0;
  }
  // ENODATA: the old file has no list. EOPNOTSUPP: its file system has no lists.
  const bool isKnown = errno == ENODATA || errno == EOPNOTSUPP;
  // The new file may have inherited a list from the folder. Wider permissions would activate its entries.
  fremovexattr(newFile, kAccessList);
  return isKnown;
}

/// Copies the attributes of the class "user"; those that cannot be read or written are left out.
void KeepUserAttributes(const std::string& oldPath, int newFile) {
  const auto names =
      GetText([&](char* buffer, std::size_t size) { return llistxattr(oldPath.c_str(), buffer, size); }).value_or("");
  for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    // llistxattr ends each name with a zero byte.
    const char* const name = &names[at];
    if (!std::string_view(name).starts_with("user.")) {
      continue;
    }
    if (const std::optional<std::string> value = Attribute(oldPath, name)) {
      fsetxattr(newFile, name, value->data(), value->size(), 0);
    }
  }
}

}  // namespace

void KeepAttributes(const std::string& oldPath, const struct stat& old, int newFile, const std::string& shownTarget) {
  const bool isGroupKept = KeepOwnerAndGroup(old, newFile);
  mode_t permissions = old.st_mode & mode_t{0777};
  if (!isGroupKept || !KeepAccessList(oldPath, newFile)) {
    // Another group must not get the rights of the old group, or those in the mask of the lost list.
    fremovexattr(newFile, kAccessList);
    // The group keeps only those permissions that others have too.
    permissions &= ~mode_t{070} | ((permissions & mode_t{07}) << 3);
  }
  KeepUserAttributes(oldPath, newFile);
  struct stat created {};
  // Last: until here the file grants nothing to group and others. If the permissions are right already, fchmod is left
  // out: some file systems refuse it.
  const bool isSet = fstat(newFile, &created) == 0 && (created.st_mode & mode_t{07777}) == permissions;
  if (!isSet && fchmod(newFile, permissions) != 0) {
    throw SystemFailure(shownTarget, "keep its permissions", errno);
  }
}
