#include "Host/Validate/Engine/StepNote.h"

#include "Host/Validate/Engine/Check.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstring>

namespace {

/// Bytes of the memory that both sides map, the terminating NUL included. Longer steps are cut.
constexpr std::size_t kSize = 256;

/// The child's mapping of its note; null in other processes, where NoteStep does nothing.
char* g_step;

/// Maps the note for both sides; null when that fails. A shared mapping keeps what the child wrote when it crashes.
char* Map(int file) {
  void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<char*>(memory);
}

}  // namespace

StepNote::StepNote() : m_file(memfd_create("step", MFD_CLOEXEC)) {
  // Also fails when memfd_create has: descriptor -1.
  if (ftruncate(m_file.Get(), kSize) == 0) {
    m_text = Map(m_file.Get());
  }
}

StepNote::~StepNote() {
  if (m_text != nullptr) {
    munmap(m_text, kSize);
  }
}

// Through /proc, because MFD_CLOEXEC keeps the descriptor itself from children.
std::string StepNote::Path() const { return fmt::format("/proc/{}/fd/{}", getpid(), m_file.Get()); }

std::string StepNote::Text() const {
  // Bounded: the module can write anything to memory that the child maps.
  return m_text == nullptr ? std::string() : std::string(m_text, strnlen(m_text, kSize));
}

void StepNote::Open(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  g_step = file.IsOpen() ? Map(file.Get()) : nullptr;
}

void NoteStep(std::string_view step) {
  if (g_step != nullptr) {
    const std::size_t size = std::min(step.size(), kSize - 1);
    // Allocates nothing: checks call it while memory runs out.
    std::memcpy(g_step, step.data(), size);
    g_step[size] = '\0';
  }
}
