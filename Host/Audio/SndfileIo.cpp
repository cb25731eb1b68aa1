#include "Host/Audio/SndfileIo.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace {

/// The object that sf_open_virtual was given as user data.
SndfileIo& Self(void* user) { return *static_cast<SndfileIo*>(user); }

}  // namespace

SoundFile SndfileIo::Open(SF_INFO& info, std::uint64_t longest) {
  m_position = 0;
  m_longest = longest;
  SF_VIRTUAL_IO io{Length, Seek, Read, nullptr, Tell};
  // libsndfile keeps the error of a failed open in a global variable, which no other thread may overwrite before it is
  // read.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  SoundFile file(sf_open_virtual(&io, SFM_READ, &info, this));
  if (file == nullptr) {
    m_openError = sf_error(nullptr);
    m_openErrorText = sf_strerror(nullptr);
  }
  return file;
}

void SndfileIo::RethrowFailure() {
  if (m_failure) {
    std::rethrow_exception(std::exchange(m_failure, nullptr));
  }
}

sf_count_t SndfileIo::Length(void* user) {
  return static_cast<sf_count_t>(std::min(Self(user).m_longest, Self(user).m_bytes.Length()));
}

sf_count_t SndfileIo::Tell(void* user) { return Self(user).m_position; }

sf_count_t SndfileIo::Seek(sf_count_t offset, int whence, void* user) {
  SndfileIo& self = Self(user);
  const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? self.m_position : Length(user);
  // Damaged headers send libsndfile to positions that do not exist. A position beyond the end is allowed: nothing is
  // read there.
  if (offset < -base || offset > std::numeric_limits<sf_count_t>::max() - base) {
    return -1;
  }
  self.m_position = base + offset;
  return self.m_position;
}

sf_count_t SndfileIo::Read(void* to, sf_count_t count, void* user) {
  SndfileIo& self = Self(user);
  // After a failure, the input reads as ended, so that libsndfile returns soon.
  if (self.m_failure || count <= 0) {
    return 0;
  }
  try {
    const std::size_t done =
        self.m_bytes.ReadAt(static_cast<std::uint64_t>(self.m_position), to, static_cast<std::size_t>(count));
    self.m_position += static_cast<sf_count_t>(done);
    return static_cast<sf_count_t>(done);
  } catch (...) {
    self.m_failure = std::current_exception();
    return 0;
  }
}
