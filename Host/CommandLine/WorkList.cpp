#include "Host/CommandLine/WorkList.h"

#include "Host/Audio/SoundInput.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Files/Paths.h"

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

/// Appends what is in the folder, links to folders as files; 0, or an errno when that may not be all. The folder is
/// open no longer than that, so that trees may be deeper than there are descriptors.
int ListFolder(const fs::path& folder, std::vector<fs::path>& folders, std::vector<fs::path>& files) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    std::error_code unknown;
    const bool isFolder = !entry->is_symlink(unknown) && entry->is_directory(unknown);
    if (unknown && unknown != std::errc::no_such_file_or_directory) {
      return unknown.value();
    }
    (isFolder ? folders : files).push_back(entry->path());
  }
  return error.value();
}

bool IsSound(const WorkItem& item) {
  if (item.isNamed) {
    return true;
  }
  try {
    OpenSound(item.input, Truncation::kAllowed);
  } catch (const NotASoundFile&) {
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
  void AddFolder(const Root& root);
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
    AddFolder({input, real});
  } else if (S_ISREG(status.st_mode)) {
    AddItem(input, fs::path(input).filename(), status, true);
  } else {
    throw Failure(input + ": is neither a file nor a folder");
  }
}

void WorkListMaker::AddFolder(const Root& root) {
  std::vector<fs::path> folders{root.real};
  std::vector<fs::path> files;
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    if (IsIn(folder, m_realFolder)) {
      continue;
    }
    if (const int error = ListFolder(folder, folders, files); error != 0) {
      m_list.failures.emplace_back(SystemFailure(root.NameOf(folder), "list the folder", error).what());
    }
  }
  std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  for (const fs::path& path : files) {
    struct stat status {};
    const bool isMissing = stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ELOOP);
    if (isMissing || (status.st_mode != 0 && !S_ISREG(status.st_mode))) {
      ++m_list.noSoundFiles;
    } else if (!IsIn(path, m_realFolder)) {
      AddItem(root.NameOf(path), path.native().substr(root.real.size()), status, false);
    }
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
