#pragma once

/// Temporary files that get their final name when the work succeeds, and are removed when it ends by an exception or a
/// signal.

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

/// A temporary file in the folder of the target, so that a rename can put it in the target's place. Its name does not
/// look like a result: ".song.mkv.rhohost-4f0a93c1b76d2e58.tmp" for "song.mkv". The folder is given as a descriptor, so
/// that renaming it in the meantime does no harm. Up to 256 files at a time are guarded against signals; more can be
/// made. Each owner may live on another thread.
class TemporaryName {
 public:
  /// Chooses a random name; creates no file. `folder` must stay open as long as the object lives; O_PATH is enough.
  TemporaryName(int folder, std::string_view target);
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  /// Removes the file that Create has made, unless it has its final name.
  ~TemporaryName();

  /// Creates the file, empty, with these permissions less the umask, and opens it for writing and reading. Returns the
  /// descriptor, which the caller owns, or -1 and errno. Call it once.
  int Create(mode_t permissions);

  /// Gives the file, which `descriptor` refers to, its final name in the same folder. Returns 0 or an errno: EEXIST
  /// when a file of that name exists, even one that has just appeared, unless `replaceExisting`; ESTALE when another
  /// file has taken the temporary name.
  ///
  /// On a file system with neither RENAME_NOREPLACE nor hard links (FAT, exFAT) the target is looked up, then the file
  /// renamed: there a target that appears in between is replaced.
  int MoveTo(int descriptor, const std::string& name, bool replaceExisting);

 private:
  /// 0 when the name refers to the file of `descriptor`, ESTALE when it does not, else an errno.
  int CheckIdentity(int descriptor) const;

  int m_folder;
  std::string m_name;
  std::size_t m_slot;
  bool m_isCreated = false;
};

/// For the end of the process, on any thread: removes the file of every TemporaryName. No more can be created.
void RemoveTemporaryFilesForGood();

/// For the start of the program: from now on every signal that ends the process by default, SIGKILL apart, removes the
/// file of every TemporaryName before it does so; a shell then sees 128 + n as usual. Signals that are ignored or
/// handled already stay so. SIGPIPE and SIGXFSZ are ignored: writing to a closed pipe or beyond a size limit then fails
/// with an errno.
void RemoveTemporaryFilesOnSignals();
