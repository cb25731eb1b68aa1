#pragma once

/// Files by descriptor, for the places where a stream would read or write too early, too often or too much. Interrupted
/// and short calls are dealt with here, once. Every descriptor is closed when a program is executed. Internal to the
/// toolbox.

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

/// Opens for reading. Never waits: a FIFO without a writer opens at once.
Descriptor OpenForReading(const std::string& path);

/// Opens for writing, or creates; what a file holds is left in place for MakeEmpty.
Descriptor OpenForWriting(const std::string& path);

/// Empties the file; true also for what cannot be emptied, such as a device.
bool MakeEmpty(int descriptor);

/// Whether both descriptors lead to one item, whatever names were used to open it; true also when that cannot be told.
bool IsSameItem(int left, int right);

bool IsFolder(int descriptor);

/// Reads until `buffer` is full, the file ends or a call fails; the number of bytes read.
std::size_t ReadFully(int descriptor, char* buffer, std::size_t size);

/// Writes all of `buffer`; false when a call fails or writes nothing.
bool WriteFully(int descriptor, const char* buffer, std::size_t size);
