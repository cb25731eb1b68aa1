#include "Host/Validate/Support/MemoryUsage.h"

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>
#include <fstream>

MemoryUsage::MemoryUsage() {
  // Sanitizers allocate in a way of their own, and know how much of it is in use.
  if (void* const sanitizer = dlsym(RTLD_DEFAULT, "__sanitizer_get_current_allocated_bytes"); sanitizer != nullptr) {
    heap = reinterpret_cast<std::size_t (*)()>(sanitizer)();
  } else {
    const struct mallinfo2 info = mallinfo2();
    heap = info.uordblks + info.hblkhd;
    std::ifstream("/proc/self/statm") >> mapped;
    mapped *= static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  }
}
