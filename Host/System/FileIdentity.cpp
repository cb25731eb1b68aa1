#include "Host/System/FileIdentity.h"

#include "Host/Text/Errors.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

/// Reads the status of a file, or of the standard stream for "-". False if nothing exists; throws Failure otherwise.
bool GetStatus(const std::string& path, int standardDescriptor, struct stat& status) {
  if ((path == "-" ? fstat(standardDescriptor, &status) : stat(path.c_str(), &status)) == 0) {
    return true;
  }
  if (errno != ENOENT) {
    const char* const standardName = standardDescriptor == STDIN_FILENO ? "standard input" : "standard output";
    throw SystemFailure(path == "-" ? standardName : path, "read its status", errno);
  }
  return false;
}

/// The path with all links followed, as far as it exists. Throws Failure.
fs::path RealPath(const std::string& path) {
  const fs::path followed = FollowLinks(path);
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(fs::absolute(followed, error).parent_path(), error);
  if (error) {
    throw SystemFailure(path, "follow the path", error.value());
  }
  return (folder / followed.filename()).lexically_normal();
}

}  // namespace

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

bool IsSameFile(const std::string& input, const std::string& target) {
  struct stat source {};
  struct stat destination {};
  // Character devices such as a terminal or /dev/null may be input and output at once.
  return GetStatus(input, STDIN_FILENO, source) && GetStatus(target, STDOUT_FILENO, destination) &&
         (S_ISREG(source.st_mode) || S_ISFIFO(source.st_mode) || S_ISBLK(source.st_mode)) &&
         source.st_dev == destination.st_dev && source.st_ino == destination.st_ino;
}

bool IsSamePlace(const std::string& left, const std::string& right) {
  return left == right || RealPath(left) == RealPath(right);
}
