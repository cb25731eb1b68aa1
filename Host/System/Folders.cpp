#include "Host/System/Folders.h"

#include "Host/System/DiskForcing.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <filesystem>

namespace {

/// Makes one folder; an existing one is a success. Returns 0 or an errno.
int MakeFolder(const std::filesystem::path& folder) {
  if (mkdir(folder.c_str(), 0777) != 0) {
    return errno == EEXIST ? 0 : errno;
  }
  // The new name is data of the folder above. A folder that cannot be read cannot be forced; that is not a failure.
  const std::filesystem::path above = folder.has_parent_path() ? folder.parent_path() : ".";
  const Descriptor parent(
      RetryInterrupted([&above] { return open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  return parent.IsOpen() && !CanForceFileSystem(parent.Get()) ? ForceToDisk(parent.Get()) : 0;
}

}  // namespace

void MakeFolders(const std::string& folder) {
  const std::filesystem::path path(folder);
  int error = MakeFolder(path);
  // From the bottom up: usually all folders but the last exist. The root is its own parent.
  if (error == ENOENT && path.has_parent_path() && path.parent_path() != path) {
    MakeFolders(path.parent_path());
    error = MakeFolder(path);
  }
  if (error != 0) {
    throw SystemFailure(folder, "make the folder", error);
  }
}
