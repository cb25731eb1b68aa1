#include "Host/Matroska/MatroskaIo.h"

#include <algorithm>
#include <cstring>

void MatroskaPosition::setFilePointer(int64 offset, libebml::seek_mode mode) {
  const std::uint64_t base = mode == libebml::seek_current ? m_position : mode == libebml::seek_end ? m_file.Size() : 0;
  // A negative offset wraps modulo 2^64 to the right sum.
  m_position = base + static_cast<std::uint64_t>(offset);
}

size_t MatroskaOutput::write(const void* bytes, size_t size) {
  if (m_position == m_file.Size()) {
    m_file.Write(bytes, size);
  } else {
    m_file.WriteAt(m_position, bytes, size);
  }
  m_position += size;
  return size;
}

uint32 MatroskaInput::read(void* buffer, size_t size) {
  auto* target = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    // Also true for a position before the bytes, since the difference wraps.
    if (m_position - m_bytesPosition >= m_bytes.size()) {
      m_bytes = {};  // no longer valid, even if the next line throws
      m_bytes = m_readBack.From(m_position);
      m_bytesPosition = m_position;
    }
    const auto offset = static_cast<std::size_t>(m_position - m_bytesPosition);
    const std::size_t taken = std::min(size - done, m_bytes.size() - offset);
    if (taken == 0) {
      break;
    }
    std::memcpy(target + done, m_bytes.data() + offset, taken);
    done += taken;
    m_position += taken;
  }
  // The type is libebml's; MatroskaReader limits the size of elements long before it overflows.
  return static_cast<uint32>(done);
}
