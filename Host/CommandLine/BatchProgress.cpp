#include "Host/CommandLine/BatchProgress.h"

#include "Host/CommandLine/Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

namespace {

/// "312 bytes", "1.3 GB"
std::string ByteText(std::uint64_t bytes) {
  if (bytes < 1000) {
    return fmt::format("{} bytes", bytes);
  }
  auto number = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* const larger : {"kB", "MB", "GB", "TB", "PB", "EB"}) {
    if (number < 1000) {
      break;
    }
    number /= 1000;
    unit = larger;
  }
  return fmt::format("{:.1f} {}", number, unit);
}

}  // namespace

// One item in all, measured in bytes: files differ too much in size to count as equal steps. The steps are small since
// the status line itself limits how often it changes.
BatchProgress::BatchProgress(bool isWanted, std::uint64_t bytes, std::size_t files, JsonEvents& events)
    : IKelProgressReporter(1, 1e-6), m_line(isWanted), m_events(events), m_bytes(bytes), m_files(files) {}

void BatchProgress::Add(std::uint64_t bytes, std::size_t files) {
  const std::lock_guard lock(m_mutex);
  m_bytesDone += bytes;
  m_filesDone += files;
  if (m_bytes != 0) {
    updateProgress(static_cast<double>(m_bytesDone) / static_cast<double>(m_bytes));
  }
}

bool BatchProgress::reportProgress(double fraction) {
  m_events.Progress(fraction, Seconds());
  if (m_line.IsDue()) {
    try {
      m_line.Show(Text(fraction));
    } catch (const std::bad_alloc&) {
      // The work goes on without the line.
    }
  }
  return true;
}

std::string BatchProgress::Text(double fraction) const {
  // Assumes that the rest takes as long for each byte as what is done.
  const std::string left = fraction > 0 ? RoughTimeText(Seconds() / fraction * (1 - fraction)) + " left, " : "";
  return fmt::format("{} %, {}{} of {} files, {} of {}", static_cast<int>(fraction * 100), left, m_filesDone, m_files,
                     ByteText(m_bytesDone), ByteText(m_bytes));
}

double BatchProgress::Seconds() const { return std::chrono::duration<double>(Clock::now() - m_begin).count(); }

void FileProgress::Update(double fraction) {
  const auto bytes = static_cast<std::uint64_t>(std::clamp(fraction, 0.0, 1.0) * static_cast<double>(m_bytes));
  // The count never decreases: the difference below is unsigned.
  const std::uint64_t done = std::min(std::max(bytes, m_bytesDone), m_bytes);
  m_progress.Add(done - m_bytesDone, 0);
  m_bytesDone = done;
}
