#pragma once

/// The file being written: complete under its name, or not there at all.
///
///   OutputFile file("song.mkv", false);   // refuses an existing song.mkv
///   file.Write(bytes, size);              // ... into a temporary file beside it
///   file.Commit();                        // ... which now becomes song.mkv; without this it is removed
///
/// Every failure is thrown as a Failure that names the target and the first errno. After one the object is only good
/// for destruction. Nothing but Sync forces data onto the disk: what the system has accepted counts as written.

#include "Host/System/TemporaryName.h"
#include "Host/Text/Errors.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// The Failure of a target that exists and may not be replaced.
class OutputExists : public Failure {
 public:
  using Failure::Failure;
};

/// Throws what making an OutputFile with the same arguments would throw about the target, as far as that can be told
/// without creating or opening anything: it exists and may not be replaced, is a folder, standard output is a terminal.
void CheckOutputTarget(const std::string& target, bool replaceExisting);

/// Whether writing to `target` would write to the file that `input` is read from: the same file by name, by symbolic or
/// hard link, or by redirection ("-" stands for standard input and standard output). False when either does not exist,
/// and for character devices such as /dev/null. Throws Failure where that cannot be found out.
bool IsSameFile(const std::string& input, const std::string& target);

/// Whether an OutputFile would write to `target` directly and so could not be read back: standard output, a FIFO, a
/// device.
bool IsWrittenDirectly(const std::string& target);

class OutputFile {
 public:
  /// `target` is a path, or "-" for standard output.
  /// - A regular file, or nothing yet: what is written goes to a temporary file in the target's folder. An existing
  ///   target is refused unless `replaceExisting`; it then hands its permissions on. A symbolic link is followed: what
  ///   it points to is created or replaced, the link stays.
  /// - Standard output and all else that can be written to (a FIFO, /dev/null): written directly and front to back.
  ///   Block devices count as existing; a terminal is refused as standard output.
  OutputFile(const std::string& target, bool replaceExisting);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Without Commit: the temporary file is removed, the old target is as it was.
  ~OutputFile();

  /// The target as messages name it.
  const std::string& Name() const { return m_shownTarget; }

  /// Whether WriteAt and Sync may be used: true for the temporary file, false for what is written directly.
  bool IsSeekable() const { return m_temporary != nullptr; }

  /// Bytes given to Write so far.
  std::uint64_t Size() const { return m_flushed + m_buffered; }

  /// Appends. The bytes are copied into a large buffer or handed to the system; they are not needed afterwards.
  void Write(const void* bytes, std::size_t size);

  /// Overwrites `size` bytes at `position`; all of them must have been written before, and the file be seekable, else
  /// std::out_of_range is thrown.
  void WriteAt(std::uint64_t position, const void* bytes, std::size_t size);

  /// Hands what is buffered to the system: for the reader at the other end of a pipe.
  void Flush();

  /// Forces all that was written onto the disk, and out of the system's memory as far as the system lets go of it: what
  /// ReadAt then gives comes from the disk. Nothing may be written afterwards.
  void Sync();

  /// Reads from `position`, after Sync: the number of bytes, which is less than `size` only at the end of the file.
  std::size_t ReadAt(std::uint64_t position, void* bytes, std::size_t size) const;

  /// Flushes, closes, and gives the file its name. Not even now a target that may not be replaced is: one that has
  /// appeared meanwhile is a failure. To be called once, as the last thing.
  void Commit();

 private:
  class Descriptor;

  void ReserveSpace();
  void ReturnUnusedSpace();

  std::string m_shownTarget;
  std::string m_target;  ///< with symbolic links followed
  bool m_replaceExisting;
  std::unique_ptr<TemporaryName> m_temporary;  ///< null for what is written directly
  std::unique_ptr<Descriptor> m_descriptor;
  std::unique_ptr<unsigned char[]> m_buffer;
  std::size_t m_buffered = 0;
  std::uint64_t m_flushed = 0;
  std::uint64_t m_reserved = 0;  ///< up to where disk space has been asked for, where that makes sense
};
