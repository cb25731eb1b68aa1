#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"

#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace {

/// open() with close-on-exec. With O_NOCTTY a terminal at `path` does not become the controlling one.
Descriptor Open(const std::string& path, int flags) {
  // Applies to new files only; the process's umask removes permissions from it.
  constexpr mode_t kUnlessMasked = 0666;
  return Descriptor(RetryInterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kUnlessMasked); }));
}

}  // namespace

Descriptor OpenForReading(const std::string& path) {
  // With O_NONBLOCK a FIFO opens without a writer.
  Descriptor descriptor = Open(path, O_RDONLY | O_NONBLOCK);
  // The kernel has asked the holder of a lease on the file, such as a file server, to release it, which takes time.
  const bool isLeased = !descriptor.IsOpen() && errno == EWOULDBLOCK;
  return isLeased ? Open(path, O_RDONLY) : std::move(descriptor);
}

Descriptor OpenForWriting(const std::string& path) { return Open(path, O_WRONLY | O_CREAT); }

Descriptor OpenEmptied(const std::string& path) { return Open(path, O_WRONLY | O_CREAT | O_TRUNC); }

Descriptor CreateNew(const std::string& path) {
  constexpr mode_t kOwner = 0600;
  // O_EXCL also refuses a symbolic link, even a dangling one, which would lead the data elsewhere.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  return Descriptor(RetryInterrupted([&] { return open(path.c_str(), kFlags, kOwner); }));
}

bool TakePermissions(const Descriptor& file, const struct stat& original) {
  const int number = file.Get();
  // The group comes before the mode: its permissions must not apply to the creator's group meanwhile. Only a privileged
  // process may change the owner, but any may choose among its own groups.
  const bool isOfThatGroup = fchown(number, original.st_uid, original.st_gid) == 0 ||
                             fchown(number, static_cast<uid_t>(-1), original.st_gid) == 0;
  mode_t mode = original.st_mode & mode_t{0777};
  if (!isOfThatGroup) {
    // The file has a group that the original's permissions were not meant for.
    mode = (mode & ~mode_t{0070}) | (mode & mode_t{0007}) << 3U;
  }
  // A file system without permissions may refuse the mode that the file already has.
  return (StatusOf(file).st_mode & mode_t{0777}) == mode || fchmod(number, mode) == 0;
}

struct stat StatusOf(const Descriptor& descriptor) {
  struct stat status {};
  if (fstat(descriptor.Get(), &status) != 0) {
    status = {};
  }
  return status;
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    status = {};
  }
  return status;
}

// The mode of every existing item contains its type, which is not 0.
bool IsKnown(const struct stat& status) { return status.st_mode != 0; }

bool IsFolder(const struct stat& status) { return S_ISDIR(status.st_mode); }

bool IsSameItem(const struct stat& left, const struct stat& right) {
  // An unknown item counts as the same, so that a check before writing refuses it.
  return !IsKnown(left) || !IsKnown(right) || (left.st_dev == right.st_dev && left.st_ino == right.st_ino);
}

bool MakeEmpty(const Descriptor& descriptor, const struct stat& status) {
  // ftruncate fails for devices and pipes, which have nothing to empty.
  const bool isEmpty = !S_ISREG(status.st_mode) || status.st_size == 0;
  return isEmpty || RetryInterrupted([&] { return ftruncate(descriptor.Get(), 0); }) == 0;
}

long ReadSome(const Descriptor& descriptor, char* buffer, std::size_t size) {
  return RetryInterrupted([&] { return read(descriptor.Get(), buffer, size); });
}

std::size_t ReadUpTo(const Descriptor& descriptor, char* buffer, std::size_t size, std::size_t enough) {
  std::size_t held = 0;
  while (held < enough) {
    const long count = ReadSome(descriptor, buffer + held, size - held);
    if (count <= 0) {
      break;
    }
    held += static_cast<std::size_t>(count);
  }
  return held;
}

bool WriteFully(const Descriptor& descriptor, const char* buffer, std::size_t size) {
  while (size != 0) {
    const ssize_t count = RetryInterrupted([&] { return write(descriptor.Get(), buffer, size); });
    // A write of nothing would repeat forever, so it counts as a failure.
    if (count <= 0) {
      return false;
    }
    buffer += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}
