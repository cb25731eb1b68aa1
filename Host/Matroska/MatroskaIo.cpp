#include "Host/Matroska/MatroskaIo.h"

#include <algorithm>
#include <cstring>

namespace {

/// Bytes read at a time: few enough to stay in the processor's cache until they are parsed.
constexpr std::size_t kBufferSize = 64 * std::size_t{1024};

}  // namespace

uint32 MatroskaIo::read(void* buffer, size_t size) {
  auto* target = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size && FillBuffer()) {
    const std::size_t offset = m_position - m_bufferPosition;
    const std::size_t taken = std::min(size - done, m_buffered - offset);
    std::memcpy(target + done, m_buffer.data() + offset, taken);
    done += taken;
    m_position += taken;
  }
  // The type is libebml's; MatroskaReader limits the size of elements long before it overflows.
  return static_cast<uint32>(done);
}

size_t MatroskaIo::write(const void* bytes, size_t size) {
  if (m_position == m_file.Size()) {
    m_file.Write(bytes, size);
  } else {
    m_file.WriteAt(m_position, bytes, size);
  }
  m_position += size;
  return size;
}

void MatroskaIo::setFilePointer(int64 offset, libebml::seek_mode mode) {
  const std::uint64_t base = mode == libebml::seek_current ? m_position : mode == libebml::seek_end ? m_file.Size() : 0;
  // A negative offset wraps modulo 2^64 to the right sum.
  m_position = base + static_cast<std::uint64_t>(offset);
}

/// Makes sure that the buffer holds the byte at the position. Returns false at the end of the file.
bool MatroskaIo::FillBuffer() {
  if (m_position < m_bufferPosition || m_position - m_bufferPosition >= m_buffered) {
    m_buffer.resize(kBufferSize);
    m_buffered = m_file.ReadAt(m_position, m_buffer.data(), m_buffer.size());
    m_bufferPosition = m_position;
  }
  return m_buffered != 0;
}
