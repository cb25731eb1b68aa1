#include "Host/Validate/Engine/StepNote.h"

#include "Host/Validate/Engine/Check.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kSize = 256;

char* g_step;

char* Map(int file) {
  void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<char*>(memory);
}

}  // namespace

StepNote::StepNote() : m_file(memfd_create("step", MFD_CLOEXEC)) {
  if (ftruncate(m_file.Get(), kSize) == 0) {
    m_text = Map(m_file.Get());
  }
}

StepNote::~StepNote() {
  if (m_text != nullptr) {
    munmap(m_text, kSize);
  }
}

std::string StepNote::Path() const { return fmt::format("/proc/{}/fd/{}", getpid(), m_file.Get()); }

std::string StepNote::Text() const {
  return m_text == nullptr ? std::string() : std::string(m_text, strnlen(m_text, kSize));
}

void StepNote::Open(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  g_step = file.IsOpen() ? Map(file.Get()) : nullptr;
}

void NoteStep(std::string_view step) {
  if (g_step != nullptr) {
    const std::size_t size = std::min(step.size(), kSize - 1);
    std::memcpy(g_step, step.data(), size);
    g_step[size] = '\0';
  }
}
