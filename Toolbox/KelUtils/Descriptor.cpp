#include "Toolbox/KelUtils/Descriptor.h"

#include "Toolbox/KelUtils/Interrupted.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace {

Descriptor Open(const std::string& path, int flags) {
  constexpr mode_t kUnlessMasked = 0666;
  return Descriptor(RetryInterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kUnlessMasked); }));
}

}  // namespace

int Descriptor::Release() { return std::exchange(m_descriptor, -1); }

bool Descriptor::Close() {
  // Not repeated when interrupted: the number may belong to another thread's file by then.
  return !IsOpen() || close(Release()) == 0 || errno == EINTR;
}

Descriptor OpenForReading(const std::string& path) { return Open(path, O_RDONLY | O_NONBLOCK); }

Descriptor OpenForWriting(const std::string& path) { return Open(path, O_WRONLY | O_CREAT); }

bool MakeEmpty(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && (!S_ISREG(status.st_mode) || status.st_size == 0)) {
    return true;
  }
  return RetryInterrupted([&] { return ftruncate(descriptor, 0); }) == 0;
}

bool IsSameItem(int left, int right) {
  struct stat leftStatus {};
  struct stat rightStatus {};
  return fstat(left, &leftStatus) != 0 || fstat(right, &rightStatus) != 0 ||
         (leftStatus.st_dev == rightStatus.st_dev && leftStatus.st_ino == rightStatus.st_ino);
}

bool IsFolder(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

std::size_t ReadFully(int descriptor, char* buffer, std::size_t size) {
  std::size_t held = 0;
  while (held < size) {
    const ssize_t count = RetryInterrupted([&] { return read(descriptor, buffer + held, size - held); });
    if (count <= 0) {
      break;
    }
    held += static_cast<std::size_t>(count);
  }
  return held;
}

bool WriteFully(int descriptor, const char* buffer, std::size_t size) {
  while (size != 0) {
    const ssize_t count = RetryInterrupted([&] { return write(descriptor, buffer, size); });
    if (count <= 0) {
      return false;
    }
    buffer += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}
