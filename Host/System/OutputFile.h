#pragma once

/// A file that appears under its name when it is complete, or not at all.
///
///   OutputFile file("song.mkv", false);   // refuses an existing song.mkv
///   file.Write(bytes, size);              // ... into a temporary file beside it
///   file.Commit();                        // ... which now becomes song.mkv; without this it is removed
///
/// The data is on the disk before the file takes its name, and the name before Commit returns: after a power failure
/// the target is as it was before or complete, and complete if Commit has returned. With Durability::kLeftToSystem that
/// holds for the end of the process only, not for that of the machine. CommitGroup does the same for many files.
///
/// Every failure is thrown as a Failure that names the target and the first errno. After one, only destroy the object.

#include "Host/System/TemporaryName.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

/// Whether an output is forced onto the disk, or written there whenever the system likes.
enum class Durability { kForced, kLeftToSystem };

class OutputFile {
 public:
  /// `target` is a path, or "-" for standard output.
  /// - A regular file, or nothing yet: the data goes to a temporary file in the target's folder. An existing target is
  ///   refused unless `replaceExisting`; the new file then keeps what KeepAttributes says. A symbolic link is followed:
  ///   what it points to is created or replaced, the link stays. The folder may be renamed meanwhile.
  /// - Standard output and everything else that can be written to (a FIFO, /dev/null): written directly and front to
  ///   back. Block devices count as existing; a terminal is refused as standard output.
  OutputFile(const std::string& target, bool replaceExisting, Durability durability = Durability::kForced);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Without Commit: removes the temporary file; the old target is unchanged.
  ~OutputFile();

  /// The target as messages name it.
  const std::string& Name() const { return m_shownTarget; }

  /// Whether WriteAt and Sync may be used: true for the temporary file, false for what is written directly.
  bool IsSeekable() const { return m_temporary != nullptr; }

  /// Bytes given to Write so far.
  std::uint64_t Size() const { return m_flushed + m_buffered; }

  /// Appends. The bytes are copied into a large buffer or handed to the system; they are not needed afterwards.
  void Write(const void* bytes, std::size_t size);

  /// Overwrites `size` bytes at `position`. All of them must have been written before and the file be seekable, else
  /// throws std::out_of_range.
  void WriteAt(std::uint64_t position, const void* bytes, std::size_t size);

  /// Hands the buffered bytes to the system: for the reader at the other end of a pipe.
  void Flush();

  /// Forces the data onto the disk, and drops it from the system's memory as far as the system does that: what ReadAt
  /// returns then comes from the disk. Write nothing afterwards.
  void Sync();

  /// Reads at `position`, after Sync. Returns the number of bytes, which is less than `size` only at the end of file.
  std::size_t ReadAt(std::uint64_t position, void* bytes, std::size_t size) const;

  /// The time of the last change that the file will have when it takes its name; by default that of the last write.
  /// Ignored for what is written directly, and where the file system refuses it.
  void SetModificationTime(const timespec& time) { m_modificationTime = time; }

  /// Completes the file and gives it its name. A target that may not be replaced and has appeared meanwhile is a
  /// failure. Call it once, as the last thing.
  void Commit();

 private:
  friend class CommitGroup;

  /// Before a write: reserves disk space for the data that follows, where that saves time.
  void ReserveSpace();
  /// Starts writing the data to the disk and does not wait for it. Only where it is to be forced there.
  void StartWriteOut();

  // The steps of Commit.
  void Finish();     ///< hands all data to the system and starts writing it to the disk
  void ForceData();  ///< waits until the data is on the disk
  void TakeName();   ///< the rename
  void ForceName();  ///< waits until the name is on the disk

  std::string m_shownTarget;
  std::string m_name;  ///< in the folder
  bool m_replaceExisting;
  Durability m_durability;
  Descriptor m_folder;                         ///< none for what is written directly, as with the next
  std::unique_ptr<TemporaryName> m_temporary;  ///< before the folder's end
  Descriptor m_file;
  std::optional<timespec> m_modificationTime;
  std::unique_ptr<unsigned char[]> m_buffer;
  std::size_t m_buffered = 0;
  std::uint64_t m_flushed = 0;
  std::uint64_t m_reserved = 0;    ///< end of the disk space that has been reserved, where that makes sense
  std::uint64_t m_writtenOut = 0;  ///< up to where writing to the disk has been started
  bool m_isForced = false;         ///< all data is on the disk
};
