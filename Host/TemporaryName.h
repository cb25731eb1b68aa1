#pragma once

/// Names of files that must not outlive the work in progress. Whoever holds one may end by an exception, by a signal or
/// as planned: the file is gone afterwards, or has got its final name.

#include <cstddef>
#include <string>
#include <string_view>

/// Owns a name beside `target`, in the same folder so that a rename can put the file in the target's place, and nothing
/// that a user could take for a result: ".song.mkv.rhohost-4f0a93c1b76d2e58.tmp" for "song.mkv". The name is chosen at random;
/// the file itself is made by the holder. Up to 64 names are guarded against signals at a time, further ones work
/// without. Holders may live on any threads.
class TemporaryName {
 public:
  explicit TemporaryName(std::string_view target);
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  /// Removes the file, unless it is called something else by now.
  ~TemporaryName();

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
  std::size_t m_slot;
};

/// For the start of the program: from now on SIGHUP, SIGINT, SIGQUIT and SIGTERM remove every file that has a
/// TemporaryName and then end the process as they always do, so that a shell sees 128 + n; one that is ignored stays
/// ignored. SIGPIPE and SIGXFSZ are ignored: writing to a closed pipe or beyond a size limit fails with an errno.
void RemoveTemporaryFilesOnSignals();
