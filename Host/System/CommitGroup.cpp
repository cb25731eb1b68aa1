#include "Host/System/CommitGroup.h"

#include "Host/System/DiskForcing.h"
#include "Host/Text/Errors.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <algorithm>
#include <set>
#include <utility>

namespace {

constexpr std::size_t kMostFiles = 32;
constexpr std::uint64_t kMostBytes = 64 << 20;
constexpr std::chrono::seconds kLongestWait{2};

/// A file that waits holds two descriptors, and the next group may fill up while one is committed.
std::size_t MostFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return std::clamp<std::size_t>(limit.rlim_cur / 16, 1, kMostFiles);
}

struct stat StatusOf(const Descriptor& descriptor) {
  struct stat status {};
  fstat(descriptor.Get(), &status);
  return status;
}

}  // namespace

void CommitGroup::Pending::Try(void (OutputFile::*step)()) {
  try {
    if (!error) {
      ((*file).*step)();
    }
  } catch (...) {
    error = std::current_exception();
  }
}

CommitGroup::CommitGroup() : m_mostFiles(MostFiles()) {}

CommitGroup::~CommitGroup() = default;

void CommitGroup::Add(std::unique_ptr<OutputFile> file, OnCommitted onCommitted) {
  file->Finish();
  if (file->m_durability == Durability::kLeftToSystem) {
    file->TakeName();
    onCommitted(nullptr);
    return;
  }
  {
    const std::lock_guard lock(m_mutex);
    const std::uint64_t size = file->Size();
    m_pending.push_back({std::move(file), std::move(onCommitted), nullptr});
    m_pendingBytes += size;
    m_firstAdded = m_pending.size() == 1 ? Clock::now() : m_firstAdded;
  }
  if (IsDue()) {
    const std::lock_guard committing(m_committing);
    CommitIf(IsDue());  // another thread may just have done it
  }
}

void CommitGroup::CommitOverdue() {
  if (IsDue()) {
    const std::unique_lock committing(m_committing, std::try_to_lock);
    CommitIf(committing.owns_lock());
  }
}

void CommitGroup::Finish() {
  const std::lock_guard committing(m_committing);
  CommitIf(true);
  for (const auto& [device, file] : m_unforced) {
    if (const int error = ForceFileSystem(file->m_file.Get()); error != 0) {
      throw SystemFailure(file->Name(), "force its name onto the disk", error);
    }
  }
  m_unforced.clear();
}

bool CommitGroup::IsDue() const {
  const std::lock_guard lock(m_mutex);
  return !m_pending.empty() && (m_pending.size() >= m_mostFiles || m_pendingBytes >= kMostBytes ||
                                Clock::now() - m_firstAdded >= kLongestWait);
}

void CommitGroup::CommitIf(bool isWanted) {
  if (!isWanted) {
    return;
  }
  std::vector<Pending> group;
  {
    const std::lock_guard lock(m_mutex);
    group.swap(m_pending);
    m_pendingBytes = 0;
  }
  std::map<dev_t, std::vector<Pending*>> devices;
  for (Pending& pending : group) {
    devices[StatusOf(pending.file->m_file).st_dev].push_back(&pending);
  }
  for (const auto& [device, files] : devices) {
    CommitOnDevice(device, files);
  }
  for (const Pending& pending : group) {
    pending.onCommitted(pending.error);
  }
}

void CommitGroup::CommitOnDevice(dev_t device, const std::vector<Pending*>& files) {
  const int any = files.front()->file->m_file.Get();
  const bool isForcedAtOnce = CanForceFileSystem(any);
  if (isForcedAtOnce && files.size() > 1 && ForceFileSystem(any) == 0) {
    m_unforced.erase(device);
    for (Pending* const pending : files) {
      pending->file->m_isForced = true;
    }
  }
  std::set<ino_t> folders;
  for (Pending* const pending : files) {
    pending->Try(&OutputFile::ForceData);  // also finds the file that caused a failure above
    pending->Try(&OutputFile::TakeName);
  }
  for (Pending* const pending : files) {
    if (!isForcedAtOnce && folders.insert(StatusOf(pending->file->m_folder).st_ino).second) {
      pending->Try(&OutputFile::ForceName);
    }
  }
  if (isForcedAtOnce) {
    m_unforced.insert_or_assign(device, std::move(files.front()->file));
  }
}
