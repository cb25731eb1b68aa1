#include "Host/System/DiskForcing.h"

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>
#include <algorithm>
#include <iterator>

int ForceToDisk(int descriptor) {
  const bool isForced = RetryInterrupted([descriptor] { return fsync(descriptor); }) == 0;
  // EINVAL and the others: a pipe or device, or a file system without fsync, where nothing can be forced.
  return isForced || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ? 0 : errno;
}

int ForceNames(int folder, int file) {
  // fsync refuses descriptors with O_PATH.
  const Descriptor readable(
      RetryInterrupted([folder] { return openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (readable.IsOpen()) {
    return ForceToDisk(readable.Get());
  }
  // The folder can be written to, but not read.
  return errno == EACCES ? ForceFileSystem(file) : errno;
}

bool CanForceFileSystem(int descriptor) {
  // On other file systems syncfs does less than fsync: FUSE does not tell the server, FAT does not empty the disk's own
  // cache.
  constexpr long kKnown[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                             F2FS_SUPER_MAGIC, TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
  struct statfs status {};
  return fstatfs(descriptor, &status) == 0 &&
         std::find(std::begin(kKnown), std::end(kKnown), static_cast<long>(status.f_type)) != std::end(kKnown);
}

int ForceFileSystem(int descriptor) {
  return RetryInterrupted([descriptor] { return syncfs(descriptor); }) == 0 ? 0 : errno;
}
