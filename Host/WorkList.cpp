#include "Host/WorkList.h"

#include "Host/Errors.h"
#include "Host/SoundInput.h"
#include "Toolbox/KelUtils/Folders.h"
#include "Toolbox/KelUtils/Paths.h"

#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <utility>

namespace {

namespace fs = std::filesystem;

using FileIdentity = std::pair<dev_t, ino_t>;

bool IsEarlier(const timespec& left, const timespec& right) {
  return std::pair(left.tv_sec, left.tv_nsec) < std::pair(right.tv_sec, right.tv_nsec);
}

class FileCollector : public IKelSomeFileTask {
 public:
  bool processFile(const std::string& filePath) override {
    paths.push_back(filePath);
    return true;
  }

  std::vector<std::string> paths;
};

/// The path without links, as far as it exists, and without separators at its end.
fs::path RealPath(const std::string& path) {
  std::error_code error;
  fs::path real = fs::weakly_canonical((fs::absolute(path) / "").parent_path(), error);
  if (error) {
    throw SystemFailure(path, "follow the path", error.value());
  }
  return real;
}

/// Both paths as RealPath gives them; a folder is in itself.
bool IsIn(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

/// Why the folder cannot be listed, as errno tells it; 0 when it can.
int ListingError(const std::string& folder) {
  std::error_code error;
  const fs::directory_iterator list(folder, error);
  return error.value();
}

bool IsSound(const WorkItem& item) {
  if (item.isNamed) {
    return true;
  }
  try {
    const SoundInput sound(item.input, Truncation::kAllowed);
  } catch (const NoSoundFile&) {
    return false;
  } catch (const Failure&) {
    // A sound, or what cannot be known to be none.
  }
  return true;
}

class WorkListMaker {
 public:
  explicit WorkListMaker(const std::string& folder) : m_folder(folder), m_realFolder(RealPath(folder)) {
    std::error_code error;
    if (fs::exists(m_realFolder, error) && !fs::is_directory(m_realFolder, error)) {
      throw SystemFailure(folder, "put files into it", ENOTDIR);
    }
  }

  void Add(const std::string& input);
  WorkList Finish();

 private:
  /// A folder that is an input.
  struct Root {
    std::string input;
    std::string real;

    /// How the user would name what lies at or below the real path.
    std::string NameOf(const std::string& path) const {
      return path == real ? input : KelJoinPaths(input, path.substr(real.size()), 0);
    }
  };

  void AddInput(const std::string& input);
  void AddFolder(const Root& root, const std::string& folder);
  void AddUnlistedFolder(const Root& root, const std::string& folder, bool isLastTry);
  void AddItem(std::string input, const std::string& relativePath, const struct stat& status, bool isNamed);
  void CheckOutput(WorkItem& item);
  fs::path OutputIdentity(const fs::path& output, int linksLeft = 40);
  const fs::path& RealFolder(const fs::path& folder);
  void CheckSharedOutputs();

  std::string m_folder;
  fs::path m_realFolder;
  WorkList m_list;
  std::map<FileIdentity, std::size_t> m_inputs;  ///< which item
  std::map<std::string, fs::path> m_realFolders;
};

void WorkListMaker::Add(const std::string& input) {
  try {
    AddInput(input);
  } catch (const Failure& failure) {
    m_list.failures.emplace_back(failure.what());
  }
}

void WorkListMaker::AddInput(const std::string& input) {
  struct stat status {};
  if (stat(input.c_str(), &status) != 0) {
    throw SystemFailure(input, "open", errno);
  }
  const fs::path real = RealPath(input);
  if (IsIn(real, m_realFolder)) {
    throw WrongUse(input + ": lies in " + m_folder + ", the folder for the outputs");
  }
  if (S_ISDIR(status.st_mode)) {
    AddFolder({input, real}, real);
  } else if (S_ISREG(status.st_mode)) {
    AddItem(input, fs::path(input).filename(), status, true);
  } else {
    throw Failure(input + ": is neither a file nor a folder");
  }
}

void WorkListMaker::AddFolder(const Root& root, const std::string& folder) {
  FileCollector collector;
  KelForEachFile(folder, collector);
  std::sort(collector.paths.begin(), collector.paths.end());
  for (const std::string& path : collector.paths) {
    std::error_code error;
    struct stat status {};
    const bool isMissing = stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ELOOP);
    if (IsIn(path, m_realFolder)) {
      continue;
    }
    if (S_ISDIR(status.st_mode) && !fs::is_symlink(path, error)) {
      AddUnlistedFolder(root, path, path == folder);
    } else if (isMissing || (status.st_mode != 0 && !S_ISREG(status.st_mode))) {
      ++m_list.noSoundFiles;
    } else {
      AddItem(root.NameOf(path), path.substr(root.real.size()), status, false);
    }
  }
}

void WorkListMaker::AddUnlistedFolder(const Root& root, const std::string& folder, bool isLastTry) {
  const int error = ListingError(folder);
  if (error == 0 && !isLastTry) {
    // The walk had as many folders open, one for each level, as the system gives.
    AddFolder(root, folder);
  } else {
    m_list.failures.emplace_back(
        SystemFailure(root.NameOf(folder), "list the folder", error == 0 ? EAGAIN : error).what());
  }
}

void WorkListMaker::AddItem(std::string input, const std::string& relativePath, const struct stat& status,
                            bool isNamed) {
  const fs::path output = KelJoinPaths(m_folder, fs::path(relativePath).replace_extension(".mkv"), 0);
  m_inputs.emplace(FileIdentity(status.st_dev, status.st_ino), m_list.items.size());
  m_list.items.push_back({.input = std::move(input),
                          .output = output,
                          .bytes = static_cast<std::uint64_t>(status.st_size),
                          .modified = status.st_mtim,
                          .isNamed = isNamed});
}

WorkList WorkListMaker::Finish() {
  for (WorkItem& item : m_list.items) {
    CheckOutput(item);
  }
  CheckSharedOutputs();
  return std::move(m_list);
}

void WorkListMaker::CheckOutput(WorkItem& item) {
  struct stat status {};
  item.outputExists = stat(item.output.c_str(), &status) == 0;
  item.outputIsOlder = item.outputExists && IsEarlier(status.st_mtim, item.modified);
  const auto found = m_inputs.find({status.st_dev, status.st_ino});
  if (item.outputExists && found != m_inputs.end() && IsSound(m_list.items[found->second])) {
    throw WrongUse(item.output + ": the output of " + item.input + " would overwrite the input " +
                   m_list.items[found->second].input);
  }
}

/// What tells outputs apart: the path of the file that would be made or replaced, where links lead to it.
fs::path WorkListMaker::OutputIdentity(const fs::path& output, int linksLeft) {
  const fs::path& folder = RealFolder(output.parent_path());
  fs::path real = folder / output.filename();
  std::error_code error;
  if (linksLeft != 0 && fs::is_symlink(fs::symlink_status(real, error))) {
    return OutputIdentity(folder / fs::read_symlink(real, error), linksLeft - 1);
  }
  return real;
}

/// As it stands, one that cannot be followed: nothing can be written there either.
const fs::path& WorkListMaker::RealFolder(const fs::path& folder) {
  const auto [place, isNew] = m_realFolders.try_emplace(folder);
  if (isNew) {
    try {
      place->second = RealPath(folder);
    } catch (const Failure&) {
      place->second = folder;
    }
  }
  return place->second;
}

/// Only where several files would have the same output it matters here which of them are sounds.
void WorkListMaker::CheckSharedOutputs() {
  std::map<std::string, std::vector<std::size_t>> sharers;
  for (std::size_t index = 0; index < m_list.items.size(); ++index) {
    sharers[OutputIdentity(m_list.items[index].output)].push_back(index);
  }
  std::vector<bool> isDropped(m_list.items.size());
  for (auto& [output, indices] : sharers) {
    if (indices.size() == 1) {
      continue;
    }
    const auto isSound = [this](std::size_t index) { return IsSound(m_list.items[index]); };
    const auto others = std::stable_partition(indices.begin(), indices.end(), isSound);
    if (others - indices.begin() > 1) {
      throw WrongUse(m_list.items[indices[0]].output + ": would be the output of both " +
                     m_list.items[indices[0]].input + " and " + m_list.items[indices[1]].input);
    }
    std::for_each(others, indices.end(), [&isDropped](std::size_t index) { isDropped[index] = true; });
  }
  std::size_t index = 0;
  m_list.noSoundFiles += std::erase_if(m_list.items, [&](const WorkItem&) { return isDropped[index++]; });
}

}  // namespace

WorkList MakeWorkList(const std::vector<std::string>& inputs, const std::string& folder) {
  WorkListMaker maker(folder);
  for (const std::string& input : inputs) {
    maker.Add(input);
  }
  return maker.Finish();
}
