#include "Host/CommandLine/BatchProgress.h"

#include "Host/CommandLine/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>

namespace {

/// "312 bytes", "1.3 GB"
std::string ByteText(std::uint64_t bytes) {
  if (bytes < 1000) {
    return std::to_string(bytes) + " bytes";
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
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", number, unit);
  return text.data();
}

}  // namespace

// One item: the files are of too different sizes to count as equal steps. How often something is shown, the status line
// decides.
BatchProgress::BatchProgress(bool isWanted, std::uint64_t bytes, std::size_t files)
    : IKelProgressReporter(1, 1e-6), m_line(isWanted), m_bytes(bytes), m_files(files) {}

void BatchProgress::Add(std::uint64_t bytes, std::size_t files) {
  const std::lock_guard lock(m_mutex);
  m_bytesDone += bytes;
  m_filesDone += files;
  if (m_bytes != 0) {
    updateProgress(static_cast<double>(m_bytesDone) / static_cast<double>(m_bytes));
  }
}

bool BatchProgress::reportProgress(double fraction) {
  if (m_line.IsDue()) {
    try {
      m_line.Show(Text(fraction));
    } catch (const std::bad_alloc&) {
      // Nobody stops working for want of a line that says how the work goes.
    }
  }
  return true;
}

std::string BatchProgress::Text(double fraction) const {
  const std::string left = fraction > 0 ? ", " + RoughTimeText(Seconds() / fraction * (1 - fraction)) + " left" : "";
  return std::to_string(static_cast<int>(fraction * 100)) + " %, " + ByteText(m_bytesDone) + " of " +
         ByteText(m_bytes) + ", " + std::to_string(m_filesDone) + " of " + std::to_string(m_files) + " files" + left;
}

void BatchProgress::Clear() {
  const std::lock_guard lock(m_mutex);
  m_line.Clear();
}

double BatchProgress::Seconds() const { return std::chrono::duration<double>(Clock::now() - m_begin).count(); }

void FileProgress::Update(double fraction) {
  const auto bytes = static_cast<std::uint64_t>(std::clamp(fraction, 0.0, 1.0) * static_cast<double>(m_bytes));
  const std::uint64_t done = std::min(std::max(bytes, m_bytesDone), m_bytes);
  m_progress.Add(done - m_bytesDone, 0);
  m_bytesDone = done;
}
