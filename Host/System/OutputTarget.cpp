#include "Host/System/OutputTarget.h"

#include "Host/System/RealPaths.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>

OutputExists::OutputExists(const std::string& target)
    : Failure(target + ": exists already; --force would replace it") {}

OutputTarget InspectTarget(const std::string& target, bool replaceExisting) {
  if (target == "-") {
    if (isatty(STDOUT_FILENO) != 0) {
      throw Failure("standard output is a terminal: name a file or redirect it");
    }
    return {.path = target, .isWrittenDirectly = true};
  }
  if (target.empty()) {
    throw Failure("the name of the output is empty");
  }
  OutputTarget result;
  struct stat status {};
  // Unless the target is a link, lstat says all, so that a batch needs one call for each output.
  bool exists = lstat(target.c_str(), &status) == 0;
  const bool isLink = exists && S_ISLNK(status.st_mode);
  if (isLink) {
    exists = stat(target.c_str(), &status) == 0;
  }
  if (exists) {
    if (S_ISDIR(status.st_mode)) {
      throw SystemFailure(target, "write", EISDIR);
    }
    if ((S_ISREG(status.st_mode) || S_ISBLK(status.st_mode)) && !replaceExisting) {
      throw OutputExists(target);
    }
    // A FIFO or device is written to, not replaced by a file.
    if (!S_ISREG(status.st_mode)) {
      return {.path = target, .isWrittenDirectly = true};
    }
    result.replacedFile = status;
  } else if (errno != ENOENT) {
    throw SystemFailure(target, "write", errno);
  }
  // ENOENT is also the answer for a link to nothing: what it points to is created.
  result.path = isLink ? FollowLinks(target) : target;
  const std::filesystem::path path(result.path);
  if (!path.has_filename()) {
    throw SystemFailure(target, "create", EISDIR);
  }
  result.folder = path.has_parent_path() ? path.parent_path().string() : ".";
  return result;
}

void CheckOutputTarget(const std::string& target, bool replaceExisting) {
  const OutputTarget inspected = InspectTarget(target, replaceExisting);
  // AT_EACCESS: with the effective ids, as open(2) checks; access(2) uses the real ones.
  if (!inspected.isWrittenDirectly && faccessat(AT_FDCWD, inspected.folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    throw SystemFailure(target, "create a file in " + inspected.folder, errno);
  }
}

bool IsWrittenDirectly(const std::string& target) {
  struct stat status {};
  return target == "-" || (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}
