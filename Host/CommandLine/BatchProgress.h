#pragma once

/// The progress of a batch, in bytes of input, over all threads that work on it: one status line, and messages above it.
///
///     BatchProgress progress(true, bytes, files);
///     FileProgress file(progress, fileBytes);   // on any thread
///     file.Update(0.5);                         // half of the file is done; its destructor adds the rest

#include "Host/Text/StatusLine.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

/// Any thread may call any operation.
class BatchProgress {
 public:
  BatchProgress(bool isWanted, std::uint64_t bytes, std::size_t files);

  /// Adds what was done since the last call, and updates the line a few times a second.
  void Add(std::uint64_t bytes, std::size_t files);

  /// Prints a message above the line.
  void PrintAbove(std::string_view message) { m_line.PrintAbove(message); }

  /// Clears the line, if there is one.
  void Clear() { m_line.Clear(); }

  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::string Text() const;

  std::mutex m_mutex;
  StatusLine m_line;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
  std::size_t m_files;
  std::size_t m_filesDone = 0;
  Clock::time_point m_begin = Clock::now();
};

/// The part of one file. When it ends, all of the file counts as done, whatever became of it.
class FileProgress {
 public:
  FileProgress(BatchProgress& progress, std::uint64_t bytes) : m_progress(progress), m_bytes(bytes) {}
  FileProgress(const FileProgress&) = delete;
  FileProgress& operator=(const FileProgress&) = delete;
  ~FileProgress() { m_progress.Add(m_bytes - m_bytesDone, 1); }

  /// Sets the part of the file that is done, 0 to 1. Less than before counts as no change.
  void Update(double fraction);

 private:
  BatchProgress& m_progress;
  std::uint64_t m_bytes;
  std::uint64_t m_bytesDone = 0;
};
