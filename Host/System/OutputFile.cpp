#include "Host/System/OutputFile.h"

#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Small enough to stay in the processor's cache between filling and writing.
constexpr std::size_t kBufferSize = 512 * std::size_t{1024};

struct Target {
  std::string path;  // with links followed
  bool isDirect = false;
  std::optional<mode_t> permissions;  // of the file to be replaced
};

OutputExists ExistsAlready(const std::string& target) {
  return OutputExists{target + ": exists already; --force would replace it"};
}

std::string FollowLinks(const std::string& target) {
  namespace fs = std::filesystem;
  constexpr int kMostLinks = 40;
  fs::path path(target);
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (!fs::status_known(status)) {
      throw SystemFailure(target, "look at it", error.value());
    }
    if (!fs::is_symlink(status)) {
      return path;
    }
    const fs::path next = fs::read_symlink(path, error);
    if (error) {
      throw SystemFailure(target, "follow the link", error.value());
    }
    path = path.parent_path() / next;
  }
  throw SystemFailure(target, "follow the link", ELOOP);
}

void CheckFolder(const std::string& target, const std::string& path) {
  const std::filesystem::path name(path);
  if (!name.has_filename()) {
    throw SystemFailure(target, "create", EISDIR);
  }
  const std::string folder = name.has_parent_path() ? name.parent_path().string() : ".";
  if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    throw SystemFailure(target, "create a file in " + folder, errno);
  }
}

Target Inspect(const std::string& target, bool replaceExisting) {
  if (target == "-") {
    if (isatty(STDOUT_FILENO) != 0) {
      throw Failure("standard output is a terminal: name a file or redirect it");
    }
    return {target, true, {}};
  }
  if (target.empty()) {
    throw Failure("the name of the output is empty");
  }
  Target result;
  struct stat status {};
  if (stat(target.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) {
      throw SystemFailure(target, "write", EISDIR);
    }
    if ((S_ISREG(status.st_mode) || S_ISBLK(status.st_mode)) && !replaceExisting) {
      throw ExistsAlready(target);
    }
    if (!S_ISREG(status.st_mode)) {
      return {target, true, {}};
    }
    result.permissions = status.st_mode & mode_t{0777};
  } else if (errno != ENOENT) {
    throw SystemFailure(target, "write", errno);
  }
  result.path = FollowLinks(target);
  CheckFolder(target, result.path);
  return result;
}

int OpenDirectly(const std::string& target) {
  return target == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                       : RetryInterrupted([&] { return open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY); });
}

void TakePermissions(int descriptor, mode_t permissions, const std::string& target) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && (status.st_mode & mode_t{0777}) == permissions) {
    return;
  }
  if (fchmod(descriptor, permissions) != 0) {
    throw SystemFailure(target, "keep its permissions", errno);
  }
}

// Repeats `write(bytes, size)`, which returns what write(2) does, until all is written; the errno, or 0.
template <class Write>
int WriteAll(int descriptor, const unsigned char* bytes, std::size_t size, Write write) {
  while (size != 0) {
    const ssize_t written = write(bytes, size);
    if (written > 0) {
      bytes += written;
      size -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      return EIO;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd ready{descriptor, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// False where nothing is there.
bool GetStatus(const std::string& path, int standardDescriptor, struct stat& status) {
  if ((path == "-" ? fstat(standardDescriptor, &status) : stat(path.c_str(), &status)) == 0) {
    return true;
  }
  if (errno != ENOENT) {
    const char* const standardName = standardDescriptor == STDIN_FILENO ? "standard input" : "standard output";
    throw SystemFailure(path == "-" ? standardName : path, "look at it", errno);
  }
  return false;
}

}  // namespace

class OutputFile::Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }

  int Number() const { return m_number; }

  // The errno, or 0. An interrupted close has closed.
  int Close() {
    const int number = std::exchange(m_number, -1);
    return number == -1 || close(number) == 0 || errno == EINTR ? 0 : errno;
  }

 private:
  int m_number;
};

bool IsWrittenDirectly(const std::string& target) {
  struct stat status {};
  return target == "-" || (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}

void CheckOutputTarget(const std::string& target, bool replaceExisting) { Inspect(target, replaceExisting); }

bool IsSameFile(const std::string& input, const std::string& target) {
  struct stat source {};
  struct stat destination {};
  return GetStatus(input, STDIN_FILENO, source) && GetStatus(target, STDOUT_FILENO, destination) &&
         (S_ISREG(source.st_mode) || S_ISFIFO(source.st_mode) || S_ISBLK(source.st_mode)) &&
         source.st_dev == destination.st_dev && source.st_ino == destination.st_ino;
}

OutputFile::OutputFile(const std::string& target, bool replaceExisting)
    : m_shownTarget(target == "-" ? "standard output" : target),
      m_replaceExisting(replaceExisting),
      m_buffer(std::make_unique_for_overwrite<unsigned char[]>(kBufferSize)) {
  Target inspected = Inspect(target, replaceExisting);
  m_target = std::move(inspected.path);
  int descriptor = -1;
  if (inspected.isDirect) {
    descriptor = OpenDirectly(m_target);
  } else {
    m_temporary = std::make_unique<TemporaryName>(m_target);
    descriptor = m_temporary->Create();
  }
  if (descriptor == -1) {
    throw SystemFailure(m_shownTarget, inspected.isDirect ? "open" : "create", errno);
  }
  m_descriptor = std::make_unique<Descriptor>(descriptor);
  if (inspected.permissions) {
    TakePermissions(descriptor, *inspected.permissions, m_shownTarget);
  }
}

OutputFile::~OutputFile() = default;

void OutputFile::Write(const void* bytes, std::size_t size) {
  const auto* source = static_cast<const unsigned char*>(bytes);
  while (size > kBufferSize - m_buffered) {
    // Filled to the brim, so that the file grows by whole pages.
    const std::size_t taken = kBufferSize - m_buffered;
    std::memcpy(m_buffer.get() + m_buffered, source, taken);
    m_buffered = kBufferSize;
    source += taken;
    size -= taken;
    Flush();
  }
  if (size != 0) {
    std::memcpy(m_buffer.get() + m_buffered, source, size);
    m_buffered += size;
  }
}

void OutputFile::WriteAt(std::uint64_t position, const void* bytes, std::size_t size) {
  if (!IsSeekable() || position > Size() || size > Size() - position) {
    throw std::out_of_range("OutputFile::WriteAt");
  }
  const auto* source = static_cast<const unsigned char*>(bytes);
  if (position < m_flushed) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_flushed - position));
    const int descriptor = m_descriptor->Number();
    const unsigned char* const begin = source;
    const auto write = [&](const unsigned char* from, std::size_t count) {
      return pwrite(descriptor, from, count, static_cast<off_t>(position) + (from - begin));
    };
    if (const int error = WriteAll(descriptor, source, taken, write); error != 0) {
      throw SystemFailure(m_shownTarget, "write", error);
    }
    position += taken;
    source += taken;
    size -= taken;
  }
  if (size != 0) {
    std::memcpy(m_buffer.get() + (position - m_flushed), source, size);
  }
}

// Disk space is taken in growing steps ahead of the writing: block by block it costs a seventh of the whole time
// (ext4). Small files go without, and so does a system that once refuses.
void OutputFile::ReserveSpace() {
  constexpr std::uint64_t kFirstStep = 4 << 20;
  constexpr std::uint64_t kLargestStep = 64 << 20;
  if (!IsSeekable() || m_flushed < kFirstStep || Size() <= m_reserved) {
    return;
  }
  const std::uint64_t step = std::min(m_flushed, kLargestStep);
  const bool isReserved = fallocate(m_descriptor->Number(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(m_flushed),
                                    static_cast<off_t>(step)) == 0;
  m_reserved = isReserved ? m_flushed + step : std::numeric_limits<std::uint64_t>::max();
}

void OutputFile::Flush() {
  ReserveSpace();
  const int descriptor = m_descriptor->Number();
  const auto write = [descriptor](const unsigned char* from, std::size_t count) {
    return ::write(descriptor, from, count);
  };
  if (const int error = WriteAll(descriptor, m_buffer.get(), m_buffered, write); error != 0) {
    throw SystemFailure(m_shownTarget, "write", error);
  }
  m_flushed += m_buffered;
  m_buffered = 0;
}

void OutputFile::ReturnUnusedSpace() {
  if (m_reserved > m_flushed &&
      RetryInterrupted([this] { return ftruncate(m_descriptor->Number(), static_cast<off_t>(m_flushed)); }) != 0) {
    throw SystemFailure(m_shownTarget, "return unused disk space", errno);
  }
  m_reserved = m_flushed;
}

void OutputFile::Sync() {
  Flush();
  ReturnUnusedSpace();
  const int descriptor = m_descriptor->Number();
  if (RetryInterrupted([descriptor] { return fsync(descriptor); }) != 0) {
    throw SystemFailure(m_shownTarget, "force it onto the disk", errno);
  }
  struct stat status {};
  if (fstat(descriptor, &status) != 0) {
    throw SystemFailure(m_shownTarget, "look at it", errno);
  }
  if (static_cast<std::uint64_t>(status.st_size) != m_flushed) {
    throw Failure(m_shownTarget + ": has not the length of what was written");
  }
  posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
  posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
}

std::size_t OutputFile::ReadAt(std::uint64_t position, void* bytes, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t taken = pread(m_descriptor->Number(), static_cast<unsigned char*>(bytes) + done, size - done,
                                static_cast<off_t>(position + done));
    if (taken == 0) {
      break;
    }
    if (taken > 0) {
      done += static_cast<std::size_t>(taken);
    } else if (errno != EINTR) {
      throw SystemFailure(m_shownTarget, "read it back", errno);
    }
  }
  return done;
}

void OutputFile::Commit() {
  Flush();
  ReturnUnusedSpace();
  if (const int error = m_descriptor->Close(); error != 0) {
    throw SystemFailure(m_shownTarget, "close", error);
  }
  if (m_temporary == nullptr) {
    return;
  }
  const int error = m_temporary->MoveTo(m_target, m_replaceExisting);
  if (error == EEXIST) {
    throw ExistsAlready(m_shownTarget);
  }
  if (error != 0) {
    throw SystemFailure(m_shownTarget, "put the finished file there", error);
  }
  m_temporary.reset();
}
