#pragma once

/// How far the encoding of many files is, in bytes of input, over all threads that work on it: one status line.
///
///     BatchProgress progress(true, bytes, files);
///     FileProgress file(progress, fileBytes);   // on any thread
///     file.Update(0.5);                         // half of it is done; the rest is when `file` goes

#include "Host/Text/StatusLine.h"
#include "Toolbox/KelUtils/Files/Progress.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

class BatchProgress : private IKelProgressReporter {
 public:
  BatchProgress(bool isWanted, std::uint64_t bytes, std::size_t files);

  /// Adds what has been done since the last call. Any thread may call it.
  void Add(std::uint64_t bytes, std::size_t files);

  /// Clears the line, if there is one.
  void Clear();

  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool reportProgress(double fraction) override;
  std::string Text(double fraction) const;

  std::mutex m_mutex;
  StatusLine m_line;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
  std::size_t m_files;
  std::size_t m_filesDone = 0;
  Clock::time_point m_begin = Clock::now();
};

/// One file's part in it; whatever becomes of the file, all of it is done in the end.
class FileProgress {
 public:
  FileProgress(BatchProgress& progress, std::uint64_t bytes) : m_progress(progress), m_bytes(bytes) {}
  FileProgress(const FileProgress&) = delete;
  FileProgress& operator=(const FileProgress&) = delete;
  ~FileProgress() { m_progress.Add(m_bytes - m_bytesDone, 1); }

  /// Says that this part of the file is done, 0 to 1. Less than before counts as no change.
  void Update(double fraction);

 private:
  BatchProgress& m_progress;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
};
