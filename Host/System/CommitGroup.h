#pragma once

/// Commits many outputs together, so that small files do not wait for the disk one by one.
///
///     CommitGroup group;
///     group.Add(std::move(file), [](std::exception_ptr error) { ... });   // from any thread; mostly returns at once
///     group.Finish();                                                     // commits the rest

#include "Host/System/OutputFile.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

/// Keeps finished files open until there are enough of them, in number or bytes, or the first of them has waited for
/// two seconds; then forces their data onto the disk with one wait where the file system allows it
/// (CanForceFileSystem), and gives them their names. The promise of OutputFile holds: no file has its name before its
/// data is on the disk. Names are on the disk when Finish returns.
///
/// The destructor removes the files that have not been committed. Any thread may call any member.
class CommitGroup {
 public:
  /// Called once for each added file, on the thread that commits it: null when it has its name, else why it has not.
  using OnCommitted = std::function<void(std::exception_ptr error)>;

  CommitGroup();
  CommitGroup(const CommitGroup&) = delete;
  CommitGroup& operator=(const CommitGroup&) = delete;
  ~CommitGroup();

  /// Takes a file that has been written to its end; one with Durability::kLeftToSystem is committed at once. Waits
  /// while a group is being committed and the next one is full. Throws Failure when the file cannot be completed, and
  /// then does not call `onCommitted`, which must not throw.
  void Add(std::unique_ptr<OutputFile> file, OnCommitted onCommitted);

  /// Commits if the first file has waited long enough. Cheap: for callers that work on large files.
  void CommitOverdue();

  /// Commits all files, and forces their names onto the disk. Throws Failure when that is impossible.
  void Finish();

 private:
  using Clock = std::chrono::steady_clock;

  struct Pending {
    std::unique_ptr<OutputFile> file;
    OnCommitted onCommitted;
    std::exception_ptr error;

    /// Does one step of the commit, unless an earlier one has failed.
    void Try(void (OutputFile::*step)());
  };

  /// Whether the group is full or its first file has waited long enough. Locks m_mutex.
  bool IsDue() const;
  /// Commits all pending files, if wanted. The caller holds m_committing, not m_mutex.
  void CommitIf(bool isWanted);
  /// Commits files of one file system; their errors stay in `files`.
  void CommitOnDevice(dev_t device, const std::vector<Pending*>& files);

  const std::size_t m_mostFiles;
  mutable std::mutex m_mutex;  ///< guards the next three
  std::vector<Pending> m_pending;
  std::uint64_t m_pendingBytes = 0;
  Clock::time_point m_firstAdded;
  std::mutex m_committing;                                  ///< held while a group is committed; guards the next one
  std::map<dev_t, std::unique_ptr<OutputFile>> m_unforced;  ///< one on each file system that Finish has to force
};
