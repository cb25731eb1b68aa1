#include "Host/System/RealPaths.h"

#include "Host/Text/Errors.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace fs = std::filesystem;

std::string FollowLinks(const std::string& path) {
  constexpr int kMostLinks = 40;  // the kernel's own limit in following a path
  fs::path followed(path);
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(followed, error);
    if (!fs::status_known(status)) {
      throw SystemFailure(path, "read its status", error.value());
    }
    if (!fs::is_symlink(status)) {
      return followed;
    }
    const fs::path next = fs::read_symlink(followed, error);
    if (error) {
      throw SystemFailure(path, "follow the link", error.value());
    }
    // An absolute `next` replaces the folder.
    followed = followed.parent_path() / next;
  }
  throw SystemFailure(path, "follow the link", ELOOP);
}

fs::path RealPath(const std::string& path) {
  const std::string named = path.empty() ? "." : path;
  std::error_code error;
  fs::path real = fs::absolute(named, error);
  if (!error) {
    // Appending "" adds a separator where there is none, and parent_path removes all of them.
    real = fs::weakly_canonical((real / "").parent_path(), error);
  }
  if (error) {
    throw SystemFailure(named, "follow the path", error.value());
  }
  return real;
}

bool IsIn(const fs::path& path, const fs::path& folder) {
  // By components: "/ab" does not lie in "/a".
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}
