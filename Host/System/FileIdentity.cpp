#include "Host/System/FileIdentity.h"

#include "Host/System/RealPaths.h"
#include "Host/Text/Errors.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>

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

/// The real path of the file that writing to `path` creates or replaces. Throws Failure.
fs::path RealPlace(const std::string& path) {
  const fs::path followed = FollowLinks(path);
  return (RealPath(followed.parent_path()) / followed.filename()).lexically_normal();
}

}  // namespace

bool IsSameFile(const std::string& input, const std::string& target) {
  struct stat source {};
  struct stat destination {};
  // Character devices such as a terminal or /dev/null may be input and output at once.
  return GetStatus(input, STDIN_FILENO, source) && GetStatus(target, STDOUT_FILENO, destination) &&
         (S_ISREG(source.st_mode) || S_ISFIFO(source.st_mode) || S_ISBLK(source.st_mode)) &&
         source.st_dev == destination.st_dev && source.st_ino == destination.st_ino;
}

bool IsSamePlace(const std::string& left, const std::string& right) {
  return left == right || RealPlace(left) == RealPlace(right);
}
