#include "Toolbox/KelUtils/Files/Internal/FolderListing.h"

#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <fcntl.h>

Descriptor OpenFolderForListing(int parent, const char* path, bool followLink) {
  // O_DIRECTORY refuses all other items at once: opening a FIFO for reading would wait for its writer.
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
  return Descriptor(RetryInterrupted([=] { return openat(parent, path, flags); }));
}

FolderListing::FolderListing(const Descriptor& folder)
    : m_folder(folder.Get()), m_buffer(std::make_unique_for_overwrite<Buffer>()) {}

dirent* FolderListing::Next() {
  if (m_next >= m_size) {
    m_size = RetryInterrupted([this] { return ReadFolderEntries(m_folder, m_buffer->bytes.data(), kBufferSize); });
    m_next = 0;
    if (m_size <= 0) {
      return nullptr;
    }
  }
  // The kernel's records have the layout of dirent with 64-bit inode numbers and are aligned to 8 bytes.
  auto* const entry = reinterpret_cast<dirent*>(m_buffer->bytes.data() + m_next);
  m_next += entry->d_reclen;
  return entry;
}
