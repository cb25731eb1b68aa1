#pragma once

/// The progress of encoding many files, in bytes of input, over all threads that work on it: one status line.
///
///     BatchProgress progress(true, bytes, files, events);
///     FileProgress file(progress, fileBytes);   // on any thread
///     file.Update(0.5);                         // half of it is done; the destructor counts the rest

#include "Host/CommandLine/JsonEvents.h"
#include "Host/Text/StatusLine.h"
#include "Toolbox/KelUtils/Files/Progress.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

class BatchProgress : private IKelProgressReporter {
 public:
  /// `events` are told as well, and must outlive the object.
  BatchProgress(bool isWanted, std::uint64_t bytes, std::size_t files, JsonEvents& events);

  /// Adds what has been done since the last call. Any thread may call it.
  void Add(std::uint64_t bytes, std::size_t files);

  /// Prints a message above the line, if there is one.
  void PrintAbove(const std::string& message) { m_line.PrintAbove(message); }

  /// Clears the line, if there is one.
  void Clear() { m_line.Clear(); }

  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool reportProgress(double fraction) override;
  std::string Text(double fraction) const;

  std::mutex m_mutex;
  StatusLine m_line;
  JsonEvents& m_events;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
  std::size_t m_files;
  std::size_t m_filesDone = 0;
  Clock::time_point m_begin = Clock::now();
};

/// The progress of one file. The destructor counts the whole file as done, also after a failure.
class FileProgress {
 public:
  FileProgress(BatchProgress& progress, std::uint64_t bytes) : m_progress(progress), m_bytes(bytes) {}
  FileProgress(const FileProgress&) = delete;
  FileProgress& operator=(const FileProgress&) = delete;
  ~FileProgress() { m_progress.Add(m_bytes - m_bytesDone, 1); }

  /// This part of the file is done, 0 to 1. Less than before counts as no change.
  void Update(double fraction);

 private:
  BatchProgress& m_progress;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
};
