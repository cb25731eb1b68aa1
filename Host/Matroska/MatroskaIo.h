#pragma once

/// An OutputFile as the output and the input of libebml and libmatroska. Errors of the file pass through the libraries
/// as Failure. The file must outlive the objects.

#include "Host/System/OutputFile.h"
#include "Host/System/ReadBack.h"

#include <ebml/IOCallback.h>
#include <cstddef>
#include <cstdint>
#include <span>

/// What both directions have in common: the position.
class MatroskaPosition : public libebml::IOCallback {
 public:
  void setFilePointer(int64 offset, libebml::seek_mode mode) override;
  uint64 getFilePointer() override { return m_position; }
  void close() override {}

 protected:
  explicit MatroskaPosition(OutputFile& file) : m_file(file) {}

  OutputFile& m_file;
  std::uint64_t m_position = 0;
};

/// Appends at the end of the file, and overwrites bytes that exist before it.
class MatroskaOutput final : public MatroskaPosition {
 public:
  explicit MatroskaOutput(OutputFile& file) : MatroskaPosition(file) {}

  size_t write(const void* bytes, size_t size) override;
  uint32 read(void* /*buffer*/, size_t /*size*/) override { return 0; }
};

/// Reads from a file that is in sync, with the help of a second thread if that is wanted.
class MatroskaInput final : public MatroskaPosition {
 public:
  MatroskaInput(OutputFile& file, bool hasHelper) : MatroskaPosition(file), m_readBack(file, hasHelper) {}

  /// Returns fewer bytes only at the end of the file.
  uint32 read(void* buffer, size_t size) override;
  size_t write(const void* /*bytes*/, size_t /*size*/) override { return 0; }

 private:
  ReadBack m_readBack;
  std::span<const unsigned char> m_bytes;  ///< what it returned last
  std::uint64_t m_bytesPosition = 0;
};
