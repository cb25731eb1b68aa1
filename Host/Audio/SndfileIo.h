#pragma once

/// InputBytes as libsndfile's input. Exceptions must not pass through the library's C code, so they are kept here until
/// its call has returned.

#include "Host/Audio/InputBytes.h"

#include <sndfile.h>
#include <exception>
#include <memory>
#include <string>

struct SoundFileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

/// Owns libsndfile's handle.
using SoundFile = std::unique_ptr<SNDFILE, SoundFileCloser>;

class SndfileIo {
 public:
  /// The bytes must outlive this object, and this object every handle that it opened.
  explicit SndfileIo(InputBytes& bytes) : m_bytes(bytes) {}

  SndfileIo(const SndfileIo&) = delete;
  SndfileIo& operator=(const SndfileIo&) = delete;

  /// Opens the bytes from their start for reading; null when libsndfile refuses them. `info` is as for
  /// sf_open. libsndfile sees a file of no more than `longest` bytes.
  SoundFile Open(SF_INFO& info, std::uint64_t longest = InputBytes::kEndless);

  /// Why the last Open failed: libsndfile's error number and its text.
  int OpenError() const { return m_openError; }
  const std::string& OpenErrorText() const { return m_openErrorText; }

  /// Throws the exception that InputBytes threw during the last calls into libsndfile, if there was one.
  void RethrowFailure();

 private:
  static sf_count_t Length(void* user);
  static sf_count_t Tell(void* user);
  static sf_count_t Seek(sf_count_t offset, int whence, void* user);
  static sf_count_t Read(void* to, sf_count_t count, void* user);

  InputBytes& m_bytes;
  sf_count_t m_position = 0;
  std::uint64_t m_longest = InputBytes::kEndless;
  std::exception_ptr m_failure;
  int m_openError = 0;
  std::string m_openErrorText;
};
