#include "Host/System/OutputTarget.h"

#include "Host/System/FileIdentity.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>

namespace {

/// Throws SystemFailure for `target` unless a file can be created at `path`, to which its links lead.
void CheckFolder(const std::string& target, const std::string& path) {
  const std::filesystem::path name(path);
  if (!name.has_filename()) {
    throw SystemFailure(target, "create", EISDIR);
  }
  const std::string folder = name.has_parent_path() ? name.parent_path().string() : ".";
  // AT_EACCESS: with the effective ids, as open(2) checks; access(2) uses the real ones.
  if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    throw SystemFailure(target, "create a file in " + folder, errno);
  }
}

}  // namespace

OutputExists::OutputExists(const std::string& target)
    : Failure(target + ": exists already; --force would replace it") {}

OutputTarget InspectTarget(const std::string& target, bool replaceExisting) {
  if (target == "-") {
    if (isatty(STDOUT_FILENO) != 0) {
      throw Failure("standard output is a terminal: name a file or redirect it");
    }
    return {target, true, {}};
  }
  if (target.empty()) {
    throw Failure("the name of the output is empty");
  }
  OutputTarget result;
  struct stat status {};
  if (stat(target.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) {
      throw SystemFailure(target, "write", EISDIR);
    }
    if ((S_ISREG(status.st_mode) || S_ISBLK(status.st_mode)) && !replaceExisting) {
      throw OutputExists(target);
    }
    // A FIFO or device is written to, not replaced by a file.
    if (!S_ISREG(status.st_mode)) {
      return {target, true, {}};
    }
    result.replacedFile = status;
  } else if (errno != ENOENT) {
    throw SystemFailure(target, "write", errno);
  }
  // ENOENT is also the answer for a link to nothing: what it points to is created.
  result.path = FollowLinks(target);
  CheckFolder(target, result.path);
  return result;
}

void CheckOutputTarget(const std::string& target, bool replaceExisting) { InspectTarget(target, replaceExisting); }

bool IsWrittenDirectly(const std::string& target) {
  struct stat status {};
  return target == "-" || (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}
