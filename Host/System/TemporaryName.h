#pragma once

/// Files that must not outlive the work in progress. Whether it ends by an exception, by a signal or as planned: the
/// file is gone afterwards, or has got its final name.

#include <cstddef>
#include <string>
#include <string_view>

/// Owns a name beside `target`, in the same folder so that a rename can put the file in the target's place, and nothing
/// that a user could take for a result: ".song.mkv.rhohost-4f0a93c1b76d2e58.tmp" for "song.mkv". Up to 256 files are
/// guarded against signals at a time, further ones work without. Each owner may live on another thread.
class TemporaryName {
 public:
  /// Chooses the name, at random; makes no file.
  explicit TemporaryName(std::string_view target);
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  /// Removes the file that Create has made, unless it is called something else by now.
  ~TemporaryName();

  /// Makes the file, empty and with the permissions of any new file, and opens it for writing and reading: the
  /// descriptor, which the caller owns, or -1 and errno. To be called once.
  int Create();

  /// Gives the file its final name, in the same file system: 0, or an errno. Without `replaceExisting` a file of that
  /// name gives EEXIST, even one that has just appeared.
  int MoveTo(const std::string& target, bool replaceExisting);

 private:
  std::string m_path;
  std::size_t m_slot;
  bool m_isCreated = false;
};

/// For the end of the process, on any thread: removes every file that has a TemporaryName. No more can be made.
void RemoveTemporaryFilesForGood();

/// For the start of the program: from now on SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU and the signals of a crash
/// remove every file that has a TemporaryName and then end the process as they always do, so that a shell sees 128 + n;
/// one that is ignored or handled stays so. SIGPIPE and SIGXFSZ are ignored: writing to a closed pipe or beyond a size
/// limit fails with an errno.
void RemoveTemporaryFilesOnSignals();
