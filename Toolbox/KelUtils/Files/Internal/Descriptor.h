#pragma once

/// Files by descriptor, for the places where a stream would read or write too early, too often or too much. Interrupted
/// and short calls are dealt with here, once. Every descriptor is closed when a program is executed. Internal to the
/// toolbox.

#include <sys/stat.h>

#include <cstddef>
#include <string>

/// An open descriptor and its end; -1 where there is none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : m_descriptor(other.Release()) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { Close(); }

  int Get() const { return m_descriptor; }
  bool IsOpen() const { return m_descriptor != -1; }
  /// Gives the descriptor up to the caller.
  int Release();
  /// Closes it now; false when the system says that something written may be lost.
  bool Close();

 private:
  int m_descriptor;
};

/// Opens for reading. Waits for the end of a lease on the file, but not on a FIFO: without a writer it opens at once.
Descriptor OpenForReading(const std::string& path);

/// Opens for writing, or creates; what a file holds is left in place for MakeEmpty.
Descriptor OpenForWriting(const std::string& path);

/// What the system knows of an open item; all zero when it does not tell, or nothing is open.
struct stat StatusOf(const Descriptor& descriptor);

bool IsKnown(const struct stat& status);

bool IsFolder(const struct stat& status);

/// Whether both are one item, whatever names lead to it; true also when the system did not tell.
bool IsSameItem(const struct stat& left, const struct stat& right);

/// Empties an open file; true also for what cannot be emptied, such as a device.
bool MakeEmpty(const Descriptor& descriptor, const struct stat& status);

/// Reads at most `size` bytes, and goes on until it has `enough` of them, the file ends or a call fails; the number of
/// bytes read.
std::size_t ReadUpTo(const Descriptor& descriptor, char* buffer, std::size_t size, std::size_t enough);

/// Writes all of `buffer`; false when a call fails or writes nothing.
bool WriteFully(const Descriptor& descriptor, const char* buffer, std::size_t size);
