#include "Host/System/CommitGroup.h"

#include "Host/System/DiskForcing.h"
#include "Host/Text/Errors.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <algorithm>
#include <set>
#include <utility>

namespace {

/// A group is committed when it reaches one of these limits: its files, their bytes, or the time since the first was
/// added.
constexpr std::size_t kMostFiles = 32;
constexpr std::uint64_t kMostBytes = 64 << 20;
constexpr std::chrono::seconds kLongestWait{2};

/// A sixteenth of the limit on descriptors: a waiting file holds two, and the next group may fill up during a commit.
std::size_t MostFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return std::clamp<std::size_t>(limit.rlim_cur / 16, 1, kMostFiles);
}

/// All zero if the system does not tell.
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
  // Waits for a commit in progress: this bounds the number of open files. CommitIf locks m_mutex, so it is free here.
  if (IsDue()) {
    const std::lock_guard committing(m_committing);
    CommitIf(IsDue());  // another thread may just have done it
  }
}

void CommitGroup::CommitOverdue() {
  if (IsDue()) {
    // If another thread is committing, the overdue files are left to it or to a later call.
    const std::unique_lock committing(m_committing, std::try_to_lock);
    CommitIf(committing.owns_lock());
  }
}

void CommitGroup::Finish() {
  const std::lock_guard committing(m_committing);
  CommitIf(true);
  for (const auto& [device, file] : m_unforced) {
    // Any open file stands for its file system.
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
    // Other threads may add files to the next group while this one is committed.
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
  // After everything else, and without m_mutex: the functions may take long.
  for (const Pending& pending : group) {
    pending.onCommitted(pending.error);
  }
}

void CommitGroup::CommitOnDevice(dev_t device, const std::vector<Pending*>& files) {
  const int any = files.front()->file->m_file.Get();
  const bool isForcedAtOnce = CanForceFileSystem(any);
  // For one file fsync is cheaper than syncfs, which waits for all of the file system.
  if (isForcedAtOnce && files.size() > 1 && ForceFileSystem(any) == 0) {
    // syncfs has forced the names of earlier groups too.
    m_unforced.erase(device);
    for (Pending* const pending : files) {
      pending->file->m_isForced = true;
    }
  }
  std::set<ino_t> folders;
  for (Pending* const pending : files) {
    pending->Try(&OutputFile::ForceData);  // also finds the file that made syncfs fail
    pending->Try(&OutputFile::TakeName);
  }
  for (Pending* const pending : files) {
    // Once for each folder: it forces all names in it.
    if (!isForcedAtOnce && folders.insert(StatusOf(pending->file->m_folder).st_ino).second) {
      pending->Try(&OutputFile::ForceName);
    }
  }
  if (isForcedAtOnce) {
    // Finish forces the names of all groups at once. It needs a descriptor on the file system: this file's.
    m_unforced.insert_or_assign(device, std::move(files.front()->file));
  }
}
