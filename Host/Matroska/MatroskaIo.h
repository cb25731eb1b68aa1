#pragma once

/// An OutputFile as the input and output of libebml and libmatroska.

#include "Host/System/OutputFile.h"

#include <ebml/IOCallback.h>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Errors of the file pass through the libraries as Failure. The file must outlive the object.
class MatroskaIo final : public libebml::IOCallback {
 public:
  explicit MatroskaIo(OutputFile& file) : m_file(file) {}

  /// Reads from the file, which must be in sync, through a buffer. Returns fewer bytes only at the end of the file.
  uint32 read(void* buffer, size_t size) override;

  /// Appends at the end of the file, and overwrites bytes that exist before it.
  size_t write(const void* bytes, size_t size) override;

  void setFilePointer(int64 offset, libebml::seek_mode mode) override;
  uint64 getFilePointer() override { return m_position; }
  void close() override {}

 private:
  bool FillBuffer();

  OutputFile& m_file;
  std::uint64_t m_position = 0;
  std::vector<unsigned char> m_buffer;  ///< what was read last; empty while the file is only written
  std::size_t m_buffered = 0;
  std::uint64_t m_bufferPosition = 0;
};
