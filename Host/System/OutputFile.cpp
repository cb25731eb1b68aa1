#include "Host/System/OutputFile.h"

#include "Host/System/DiskForcing.h"
#include "Host/System/KeptAttributes.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace {

/// Bytes of the write buffer: small enough to stay in the processor's cache between filling and writing.
constexpr std::size_t kBufferSize = 256 * std::size_t{1024};

/// Opens standard output ("-"), a FIFO or a device for writing; on failure the result is not open and errno is set.
/// Standard output is duplicated: closing the duplicate reports late errors and leaves descriptor 1 open. O_NOCTTY
/// keeps a terminal from becoming the controlling one.
Descriptor OpenDirectly(const std::string& target) {
  return Descriptor(target == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : RetryInterrupted([&] {
    return open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  }));
}

/// Repeats `write(bytes, size)`, which returns what write(2) does, until all is written. Returns 0 or the errno.
template <class Write>
int WriteAll(int descriptor, const unsigned char* bytes, std::size_t size, Write write) {
  while (size != 0) {
    const ssize_t written = write(bytes, size);
    if (written > 0) {
      bytes += written;
      size -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      // Repeating a write that takes nothing could go on forever.
      return EIO;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      // Another program may have made a pipe or terminal that it shares with this one non-blocking.
      pollfd ready{descriptor, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace

OutputFile::OutputFile(const std::string& target, bool replaceExisting, Durability durability)
    : m_shownTarget(target == "-" ? "standard output" : target),
      m_replaceExisting(replaceExisting),
      m_durability(durability),
      m_buffer(std::make_unique_for_overwrite<unsigned char[]>(kBufferSize)) {
  const OutputTarget inspected = InspectTarget(target, replaceExisting);
  if (inspected.isWrittenDirectly) {
    m_file = OpenDirectly(inspected.path);
    if (!m_file.IsOpen()) {
      throw SystemFailure(m_shownTarget, "open", errno);
    }
    m_isForced = target == "-";  // standard output is forced by its owner, if at all
    return;
  }
  const std::filesystem::path path(inspected.path);
  m_name = path.filename();
  const std::string& folder = inspected.folder;
  // O_PATH needs no read permission, and the descriptor stays valid when the folder is renamed.
  m_folder = Descriptor(RetryInterrupted([&folder] { return open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  if (!m_folder.IsOpen()) {
    throw SystemFailure(m_shownTarget, "create a file in " + folder, errno);
  }
  m_temporary = std::make_unique<TemporaryName>(m_folder.Get(), m_name);
  // A replacement is private until KeepAttributes gives it the rights of the old file.
  m_file = Descriptor(m_temporary->Create(inspected.replacedFile ? 0600 : 0666));
  if (!m_file.IsOpen()) {
    throw SystemFailure(m_shownTarget, "create a file in " + folder, errno);
  }
  if (inspected.replacedFile) {
    KeepAttributes(path, *inspected.replacedFile, m_file.Get(), m_shownTarget);
  }
}

OutputFile::~OutputFile() = default;

void OutputFile::Write(const void* bytes, std::size_t size) {
  const auto* source = static_cast<const unsigned char*>(bytes);
  while (size > kBufferSize - m_buffered) {
    // Filled completely, so that the file grows by whole pages.
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
  // The part that has been handed to the system is overwritten there, the rest in the buffer.
  if (position < m_flushed) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_flushed - position));
    const int descriptor = m_file.Get();
    const unsigned char* const begin = source;
    const auto write = [&](const unsigned char* from, std::size_t count) {
      // WriteAll advances `from` when a write is partial.
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

// Reserves disk space in growing steps ahead of the data: allocating block by block takes a seventh of the whole time
// on ext4. Small files need no reservation. On tmpfs the reservation itself takes a seventh, so there is none. After a
// refusal m_reserved is the largest number, which ends all further attempts.
void OutputFile::ReserveSpace() {
  constexpr std::uint64_t kFirstStep = 4 << 20;
  constexpr std::uint64_t kLargestStep = 64 << 20;
  if (!IsSeekable() || m_flushed < kFirstStep || Size() <= m_reserved) {
    return;
  }
  // Doubles what is there, up to 64 MiB.
  const std::uint64_t step = std::min(m_flushed, kLargestStep);
  struct statfs system {};
  const bool isInMemory = fstatfs(m_file.Get(), &system) == 0 && system.f_type == TMPFS_MAGIC;
  // KEEP_SIZE: the size stays that of the data, and writing appends as before.
  const bool isReserved = !isInMemory && fallocate(m_file.Get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(m_flushed),
                                                   static_cast<off_t>(step)) == 0;
  // Errors are ignored: if the disk is full, the write itself reports it.
  m_reserved = isReserved ? m_flushed + step : std::numeric_limits<std::uint64_t>::max();
}

// Starts writing to the disk during the encoding without waiting, so that Commit waits for little. Errors are ignored:
// the fsync of Commit reports them.
void OutputFile::StartWriteOut() {
  if (IsSeekable() && m_durability == Durability::kForced && m_flushed > m_writtenOut) {
    sync_file_range(m_file.Get(), static_cast<off_t>(m_writtenOut), static_cast<off_t>(m_flushed - m_writtenOut),
                    SYNC_FILE_RANGE_WRITE);
    m_writtenOut = m_flushed;
  }
}

void OutputFile::Flush() {
  ReserveSpace();
  const int descriptor = m_file.Get();
  const auto write = [descriptor](const unsigned char* from, std::size_t count) {
    return ::write(descriptor, from, count);
  };
  if (const int error = WriteAll(descriptor, m_buffer.get(), m_buffered, write); error != 0) {
    throw SystemFailure(m_shownTarget, "write", error);
  }
  m_flushed += m_buffered;
  m_buffered = 0;
  // Often enough to keep the disk busy, rarely enough to give it large requests.
  constexpr std::uint64_t kWriteOutStep = 8 << 20;
  if (m_flushed - m_writtenOut >= kWriteOutStep) {
    StartWriteOut();
  }
}

void OutputFile::Finish() {
  // Sync has finished the file before Commit.
  if (m_buffer == nullptr) {
    return;
  }
  Flush();
  // Truncating to the present size frees the reserved blocks behind the end. After a refusal it changes nothing.
  if (m_reserved > m_flushed &&
      RetryInterrupted([this] { return ftruncate(m_file.Get(), static_cast<off_t>(m_flushed)); }) != 0) {
    throw SystemFailure(m_shownTarget, "return unused disk space", errno);
  }
  m_reserved = m_flushed;
  if (m_modificationTime && IsSeekable()) {
    // After the last write, which sets the time as well. Errors are ignored, as documented.
    const timespec times[2] = {{0, UTIME_OMIT}, *m_modificationTime};
    futimens(m_file.Get(), times);
  }
  m_writtenOut = 0;  // from the beginning: WriteAt may have changed what was written out
  StartWriteOut();
  m_buffer.reset();
}

void OutputFile::Sync() {
  Finish();
  ForceData();
  // Detects a file that another program has truncated or extended meanwhile.
  struct stat status {};
  if (fstat(m_file.Get(), &status) != 0) {
    throw SystemFailure(m_shownTarget, "read its status", errno);
  }
  if (static_cast<std::uint64_t>(status.st_size) != m_flushed) {
    throw Failure(m_shownTarget + ": its length differs from what was written");
  }
  // Only clean pages can be dropped, so this follows ForceData. Both calls are hints whose failure changes nothing.
  posix_fadvise(m_file.Get(), 0, 0, POSIX_FADV_DONTNEED);
  posix_fadvise(m_file.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

std::size_t OutputFile::ReadAt(std::uint64_t position, void* bytes, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t taken = pread(m_file.Get(), static_cast<unsigned char*>(bytes) + done, size - done,
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
  Finish();
  if (m_durability == Durability::kForced) {
    ForceData();
  }
  TakeName();
  if (m_durability == Durability::kForced) {
    ForceName();
  }
}

void OutputFile::ForceData() {
  const int error = m_isForced ? 0 : ForceToDisk(m_file.Get());
  if (error != 0) {
    throw SystemFailure(m_shownTarget, "force it onto the disk", error);
  }
  m_isForced = true;
}

void OutputFile::TakeName() {
  if (!IsSeekable()) {
    // Closing is the last call that can report data that was not written.
    if (const int error = m_file.Close(); error != 0) {
      throw SystemFailure(m_shownTarget, "close", error);
    }
    return;
  }
  if (!m_isForced) {
    // Network file systems report errors of earlier writes when any descriptor of the file is closed.
    if (const int error = Descriptor(fcntl(m_file.Get(), F_DUPFD_CLOEXEC, 0)).Close(); error != 0) {
      throw SystemFailure(m_shownTarget, "close", error);
    }
  }
  const int error = m_temporary->MoveTo(m_file.Get(), m_name, m_replaceExisting);
  if (error == EEXIST) {
    throw OutputExists(m_shownTarget);
  }
  if (error == ESTALE) {
    throw Failure(m_shownTarget + ": another program has removed or replaced the temporary file");
  }
  if (error != 0) {
    throw SystemFailure(m_shownTarget, "rename the temporary file to it", error);
  }
  // Frees its slot.
  m_temporary.reset();
}

void OutputFile::ForceName() {
  // An output that is written directly takes no name.
  const int error = m_folder.IsOpen() ? ForceNames(m_folder.Get(), m_file.Get()) : 0;
  if (error != 0) {
    throw SystemFailure(m_shownTarget, "force its name onto the disk", error);
  }
}
