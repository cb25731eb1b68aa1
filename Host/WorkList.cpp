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
  const fs::path real = fs::weakly_canonical((fs::absolute(path) / "").parent_path(), error);
  if (error) {
    throw SystemFailure(path, "follow the path", error.value());
  }
  return real;
}

/// Both paths as RealPath gives them; a folder is in itself.
bool IsIn(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
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
  void AddFound(const std::string& input, const fs::path& real);
  void AddFoundFile(std::string input, const std::string& path, const std::string& relativePath);
  void AddItem(std::string input, const std::string& relativePath, const struct stat& status, bool isNamed);
  void CheckOutput(WorkItem& item);
  void CheckSharedOutputs();

  std::string m_folder;
  fs::path m_realFolder;
  WorkList m_list;
  std::map<FileIdentity, std::string> m_inputs;
};

void WorkListMaker::Add(const std::string& input) {
  struct stat status {};
  if (stat(input.c_str(), &status) != 0) {
    m_list.failures.emplace_back(SystemFailure(input, "open", errno).what());
    return;
  }
  const fs::path real = RealPath(input);
  if (IsIn(real, m_realFolder)) {
    throw WrongUse(input + ": lies in " + m_folder + ", the folder for the outputs");
  }
  if (S_ISDIR(status.st_mode)) {
    AddFound(input, real);
  } else if (S_ISREG(status.st_mode)) {
    AddItem(input, fs::path(input).filename(), status, true);
  } else {
    m_list.failures.push_back(input + ": is neither a file nor a folder");
  }
}

void WorkListMaker::AddFound(const std::string& input, const fs::path& real) {
  FileCollector collector;
  KelForEachFile(real, collector);
  std::sort(collector.paths.begin(), collector.paths.end());
  for (const std::string& path : collector.paths) {
    const std::string relativePath = path.substr(real.native().size());
    if (relativePath.empty()) {
      AddFoundFile(input, path, relativePath);
    } else if (!IsIn(path, m_realFolder)) {
      AddFoundFile(KelJoinPaths(input, relativePath, 0), path, relativePath);
    }
  }
}

void WorkListMaker::AddFoundFile(std::string input, const std::string& path, const std::string& relativePath) {
  struct stat status {};
  const bool isMissing = stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ELOOP);
  std::error_code error;
  if (S_ISDIR(status.st_mode) && !fs::is_symlink(path, error)) {
    const fs::directory_iterator list(path, error);
    m_list.failures.emplace_back(SystemFailure(input, "list the folder", error.value()).what());
  } else if (isMissing || (status.st_mode != 0 && !S_ISREG(status.st_mode))) {
    ++m_list.noSoundFiles;
  } else {
    AddItem(std::move(input), relativePath, status, false);
  }
}

void WorkListMaker::AddItem(std::string input, const std::string& relativePath, const struct stat& status,
                            bool isNamed) {
  const fs::path output = KelJoinPaths(m_folder, fs::path(relativePath).replace_extension(".mkv"), 0);
  m_inputs.emplace(FileIdentity(status.st_dev, status.st_ino), input);
  m_list.items.push_back({std::move(input), output, static_cast<std::uint64_t>(status.st_size), isNamed, false});
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
  const auto input = m_inputs.find({status.st_dev, status.st_ino});
  if (item.outputExists && input != m_inputs.end()) {
    throw WrongUse(item.output + ": the output of " + item.input + " would overwrite the input " + input->second);
  }
}

/// Only where several files would have the same output it matters here which of them are sounds.
void WorkListMaker::CheckSharedOutputs() {
  std::map<std::string, std::vector<std::size_t>> sharers;
  for (std::size_t index = 0; index < m_list.items.size(); ++index) {
    sharers[RealPath(m_list.items[index].output)].push_back(index);
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
