#pragma once

/// Reports the work as JSON lines, for front ends and for logs. docs/json.md describes them.

#include "Host/CommandLine/EncodingTexts.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

class FileEncoding;

struct BatchCounts {
  std::size_t encoded = 0;
  std::size_t resampled = 0;  ///< of the encoded
  std::size_t dithered = 0;   ///< of the encoded: bits were lost
  std::size_t clipped = 0;    ///< of the encoded: with samples beyond full scale
  std::size_t split = 0;      ///< of the encoded: into tracks
  std::size_t skipped = 0;    ///< since the output exists
  std::size_t outdated = 0;   ///< of the skipped: older than the input
  std::size_t clashing = 0;   ///< since another input has the output
  std::size_t repeated = 0;   ///< named or found again
  std::size_t excluded = 0;
  std::size_t others = 0;  ///< in folders, and not sounds
  std::size_t failed = 0;
  std::size_t notReached = 0;
  double soundSeconds = 0;

  void Add(const EncodedFile& file);
};

/// Any thread may call any member. A line that cannot be written is an error that Check reports.
class JsonEvents {
 public:
  /// Lines go to `stream`; null: there are none.
  explicit JsonEvents(std::FILE* stream) : m_stream(stream) {}

  /// Before everything else: the work to do.
  void Start(std::size_t files, std::uint64_t bytes, bool isDryRun);
  /// The plan of an encoding.
  void Plan(const FileEncoding& encoding, const std::string& listName);
  /// At most five times a second, however often it is called.
  void Progress(double fraction, double seconds);
  void Encoded(const EncodedFile& file);
  void Skipped(const std::string& input, const std::string& output);
  void Failed(const std::string& input, const std::string& listName, const std::string& message);
  void Summary(const BatchCounts& counts, bool isInterrupted, double seconds);

  /// Throws Failure when a line could not be written.
  void Check();

 private:
  /// Writes the JSON that the function makes as one line, unless an earlier one has failed. Without a stream the
  /// function is not called.
  template <class MakeEvent>
  void Print(const MakeEvent& makeEvent);

  std::FILE* m_stream;
  std::mutex m_mutex;
  std::chrono::steady_clock::time_point m_nextProgress;
  int m_error = 0;
};
