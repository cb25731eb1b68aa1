#include "Host/Validate/Support/GuardedBytes.h"

#include "Host/Validate/Engine/Check.h"

#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdint>

namespace {

// Read by the signal handler: where to jump, and the range of addresses in which a fault is ours.
sigjmp_buf g_before;
std::uintptr_t g_begin;
std::uintptr_t g_end;
// Set by the signal handler: the address of the access.
volatile std::uintptr_t g_touched;

/// Handler of SIGSEGV: leaves by a jump to Completes if the fault lies in the guarded mapping.
void LeaveIfOurs(int signal, siginfo_t* info, void* /*context*/) {
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  if (address >= g_begin && address < g_end) {
    g_touched = address;
    siglongjmp(g_before, 1);
  }
  // Another fault: it happens again with the default handling, and ends the process.
  std::signal(signal, SIG_DFL);
}

/// Whether `use` has returned. Has no object with a destructor, which a jump would skip.
bool Completes(const std::function<void()>& use) {
  // With the signal mask: a jump out of the handler would otherwise leave SIGSEGV blocked.
  if (sigsetjmp(g_before, 1) != 0) {
    return false;
  }
  use();
  return true;
}

}  // namespace

GuardedBytes::GuardedBytes(std::span<const unsigned char> bytes, Edge edge) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  // More than the bytes take, so that there is a page to map even when there are none.
  const std::size_t middle = (bytes.size() + page) / page * page;
  m_mappingSize = middle + 2 * page;
  void* const mapping = mmap(nullptr, m_mappingSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED ||
      mprotect(static_cast<unsigned char*>(mapping) + page, middle, PROT_READ | PROT_WRITE) != 0) {
    throw CheckSkipped{"no memory for pages to guard"};
  }
  m_mapping = static_cast<unsigned char*>(mapping);
  // Next to the page behind, or to the one in front.
  unsigned char* const place = m_mapping + page + (edge == Edge::kBack ? middle - bytes.size() : 0);
  std::copy(bytes.begin(), bytes.end(), place);
  mprotect(m_mapping + page, middle, PROT_READ);
  m_bytes = {place, bytes.size()};
}

GuardedBytes::~GuardedBytes() { munmap(m_mapping, m_mappingSize); }

std::string GuardedBytes::FirstFault(const std::function<void()>& use) const {
  g_begin = reinterpret_cast<std::uintptr_t>(m_mapping);
  g_end = g_begin + m_mappingSize;
  struct sigaction action {};
  action.sa_sigaction = LeaveIfOurs;
  action.sa_flags = SA_SIGINFO;
  struct sigaction before {};
  sigaction(SIGSEGV, &action, &before);
  const bool completes = Completes(use);
  sigaction(SIGSEGV, &before, nullptr);
  if (completes) {
    return {};
  }
  const auto begin = reinterpret_cast<std::uintptr_t>(m_bytes.data());
  if (g_touched < begin) {
    return fmt::format("access to byte {} before the first one", begin - g_touched);
  }
  const std::uintptr_t offset = g_touched - begin;
  // The bytes can be read, so a fault within them is a write.
  return offset < m_bytes.size() ? fmt::format("a write to byte {}", offset)
                                 : fmt::format("access to byte {} after the last one", offset - m_bytes.size() + 1);
}
