#include "Host/Audio/InputBytes.h"

#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

/// Bytes of a file's beginning that one read fetches: see CopyBeginning.
constexpr std::size_t kBeginning = 4096;

/// Opens `path` for reading, or duplicates standard input, which stays open for its owner. Throws Failure.
Descriptor OpenDescriptor(const std::string& path, const std::string& name) {
  const bool isStandardInput = path == "-";
  Descriptor descriptor(isStandardInput ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                        : RetryInterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!descriptor.IsOpen()) {
    throw SystemFailure(name, "open", errno);
  }
  return descriptor;
}

}  // namespace

InputBytes::InputBytes(const std::string& path)
    : m_name(path == "-" ? "standard input" : path), m_descriptor(OpenDescriptor(path, m_name)) {
  struct stat status {};
  const int descriptor = m_descriptor.Get();
  if (fstat(descriptor, &status) != 0) {
    throw SystemFailure(m_name, "read its status", errno);
  }
  if (S_ISDIR(status.st_mode)) {
    throw Failure(m_name + ": is a folder, not a sound file");
  }
  if (path == "-" && isatty(descriptor) == 1) {
    throw WrongUse(m_name + ": is a terminal; send a sound through a pipe or name a file");
  }
  const bool isFile = S_ISREG(status.st_mode);
  const off_t position = isFile ? lseek(descriptor, 0, SEEK_CUR) : 0;
  if (position == -1) {
    throw SystemFailure(m_name, "read its status", errno);
  }
  // Another program has read the bytes before the position of standard input: the rest is read like a pipe.
  m_isStream = !isFile || position != 0;
  m_length = m_isStream ? kEndless : static_cast<std::uint64_t>(status.st_size);
}

InputBytes::InputBytes(std::string name, ReadMore readMore)
    : m_name(std::move(name)), m_readMore(std::move(readMore)), m_isStream(true), m_length(kEndless) {}

std::size_t InputBytes::ReadAt(std::uint64_t position, void* to, std::size_t wanted) {
  // Decoders may ask for no bytes, with a null pointer.
  if (wanted == 0) {
    m_cameShort = false;
    return 0;
  }
  auto* bytes = static_cast<unsigned char*>(to);
  // Length() may be more than there is: see Lengthen.
  const std::uint64_t end = m_present.value_or(m_length);
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, end - std::min(end, position)));
  if (m_isStream && m_keeping && position < kMostKept) {
    KeepUpTo(position + std::min<std::uint64_t>(size, kMostKept - position));
  }
  std::size_t done = 0;
  if (position < m_head.size()) {
    done = std::min<std::size_t>(size, m_head.size() - static_cast<std::size_t>(position));
    std::memcpy(bytes, m_head.data() + position, done);
  }
  if (done < size) {
    done += m_isStream ? ReadStream(position + done, bytes + done, size - done)
                       : ReadFile(position + done, bytes + done, size - done);
  }
  m_cameShort = done < wanted;
  return done;
}

/// Reads behind m_head. `size` bytes must exist according to the file's length; throws Failure if they do not.
std::size_t InputBytes::ReadFile(std::uint64_t position, unsigned char* to, std::size_t size) {
  // m_head stands for the first m_headFileEnd bytes of the file.
  const std::uint64_t filePosition = position - m_head.size() + m_headFileEnd;
  const bool isInBeginning = size <= kBeginning && filePosition <= kBeginning - size;
  const std::size_t done = isInBeginning ? CopyBeginning(static_cast<std::size_t>(filePosition), to, size)
                                         : ReadFully(filePosition, to, size);
  if (done < size) {
    throw Failure(m_name + ": became shorter while it was read");
  }
  return done;
}

/// Copies bytes of the file's beginning, which is read at the first call. Decoders read a header in some twenty small
/// pieces: one system call for all of them saves 3 % of the time of a batch of short files.
std::size_t InputBytes::CopyBeginning(std::size_t filePosition, unsigned char* to, std::size_t size) {
  if (m_beginning.empty()) {
    m_beginning.resize(kBeginning);
    m_beginning.resize(ReadFully(0, m_beginning.data(), m_beginning.size()));
  }
  const std::size_t done = std::min(size, m_beginning.size() - std::min(m_beginning.size(), filePosition));
  if (done != 0) {
    std::memcpy(to, m_beginning.data() + filePosition, done);
  }
  return done;
}

/// Reads behind the bytes that are kept. Throws Failure for a position that has passed and is not kept.
std::size_t InputBytes::ReadStream(std::uint64_t position, unsigned char* to, std::size_t size) {
  if (position < m_streamPosition) {
    throw Failure(m_name + ": a sound of this kind cannot be read from a pipe; save it to a file first");
  }
  if (position > m_streamPosition) {
    return 0;
  }
  if (!m_keeping) {
    // The reader has passed the kept bytes and cannot return to them.
    m_head = {};
  }
  const std::size_t done = ReadFully(0, to, size);
  m_streamPosition += done;
  return done;
}

/// Keeps a stream's bytes up to `position`, as far as there are any.
void InputBytes::KeepUpTo(std::uint64_t position) {
  // Bytes that were read but not kept leave a gap, and nothing beyond it can be kept.
  if (position <= m_head.size() || m_streamPosition != m_head.size()) {
    return;
  }
  const std::size_t kept = m_head.size();
  m_head.resize(static_cast<std::size_t>(position));
  const std::size_t done = ReadFully(0, m_head.data() + kept, m_head.size() - kept);
  m_head.resize(kept + done);
  m_streamPosition = m_head.size();
}

/// Reads `size` bytes, fewer only at the end; `filePosition` is ignored for streams. Throws Failure for system errors.
std::size_t InputBytes::ReadFully(std::uint64_t filePosition, unsigned char* to, std::size_t size) {
  if (m_readMore) {
    const std::size_t count = m_readMore(to, size);
    m_sawEnd = count < size;
    return count;
  }
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        m_isStream ? read(m_descriptor.Get(), to + done, size - done)
                   : pread(m_descriptor.Get(), to + done, size - done, static_cast<off_t>(filePosition + done));
    if (count < 0 && errno == EAGAIN) {  // the other side may have made the pipe non-blocking
      pollfd ready{m_descriptor.Get(), POLLIN, 0};
      // The next read reports whatever goes wrong here.
      poll(&ready, 1, -1);
    } else if (count < 0 && errno != EINTR) {
      throw SystemFailure(m_name, "read", errno);
    }
    if (count == 0) {
      m_sawEnd = m_isStream;
      break;
    }
    // After EINTR and EAGAIN the count is negative and the loop tries again.
    done += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  return done;
}

void InputBytes::ReplaceHead(std::vector<unsigned char> head, std::uint64_t replaced) {
  if (replaced > (m_isStream ? m_head.size() : m_length)) {
    throw Failure(m_name + ": ends within its header");
  }
  if (m_isStream) {
    const std::size_t oldSize = m_head.size();
    head.insert(head.end(), m_head.begin() + static_cast<std::ptrdiff_t>(replaced), m_head.end());
    // The difference may be negative: modulo 2^64 the sums are right.
    m_streamPosition += head.size() - oldSize;
    m_length += head.size() - oldSize;
  } else {
    m_headFileEnd = replaced;
    m_length = m_length - replaced + head.size();
  }
  m_head = std::move(head);
}
