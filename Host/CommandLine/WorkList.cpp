#include "Host/CommandLine/WorkList.h"

#include "Host/CommandLine/Clashes.h"
#include "Host/CommandLine/SoundExtensions.h"
#include "Host/System/RealPaths.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <fmt/format.h>

#include <cerrno>
#include <set>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// Device and inode: the identity of a file under all its names.
using FileNumber = std::pair<dev_t, ino_t>;

/// Whether an output of that time is older than an input of that one. File systems may round the time of an output
/// that was given its input's time down to whole seconds, FAT to even ones.
bool IsOlder(const timespec& output, const timespec& input) {
  const time_t rounding = output.tv_nsec == 0 ? 2 : 0;
  return std::pair(output.tv_sec + rounding, output.tv_nsec) < std::pair(input.tv_sec, input.tv_nsec);
}

/// The output of an input: its place below the folder, with the suffix behind or in place of the extension.
std::string OutputPath(const std::string& relativePath, const OutputNaming& naming) {
  fs::path path(relativePath);
  if (naming.onClash == OnClash::kKeepExtension) {
    path += naming.suffix;
  } else {
    path.replace_extension(naming.suffix);
  }
  return KelJoinPaths(naming.folder, path, 0);
}

/// Makes one list. `naming` must outlive the object.
class WorkListMaker {
 public:
  WorkListMaker(Selection selection, const OutputNaming& naming)
      : m_selection(std::move(selection)), m_naming(naming), m_realFolder(RealPath(naming.folder)) {
    std::error_code error;
    if (fs::exists(m_realFolder, error) && !fs::is_directory(m_realFolder, error)) {
      throw SystemFailure(naming.folder, "put files into it", ENOTDIR);
    }
  }

  /// To be called once. Clashes are settled before the outputs are looked at, since that gives them their names.
  WorkList Make() {
    m_list.failures = std::move(m_selection.failures);
    m_list.excludedFiles = m_selection.excludedFiles;
    m_list.repeatedFiles = m_selection.repeatedFiles;
    AddItems();
    SettleClashes(m_list, m_identities, m_naming.onClash);
    std::erase_if(m_list.items, [this](const WorkItem& item) { return FailsOutside(item); });
    for (WorkItem& item : m_list.items) {
      CheckOutput(item);
    }
    return std::move(m_list);
  }

 private:
  /// Turns the selected files into items or failures, or counts them as others.
  void AddItems() {
    std::set<std::string> outputs;
    for (const SelectedFile& file : m_selection.files) {
      outputs.insert(m_identities.Of(OutputPath(file.relativePath, m_naming)));
    }
    for (SelectedFile& file : m_selection.files) {
      const bool isSound = file.isNamed || HasSoundExtension(file.path);
      // The output of an earlier run into a folder of inputs is not an input.
      const bool isOutput = !file.isNamed && outputs.contains(file.realPath);
      if (isOutput || (!isSound && !S_ISREG(file.status.st_mode))) {
        ++m_list.otherFiles;
      } else {
        AddItem(file, isSound);
      }
    }
  }

  /// Adds one item. A mode of 0 stands for a file that does not exist: encoding it reports the error.
  void AddItem(SelectedFile& file, bool isSound) {
    if (file.status.st_mode != 0 && !S_ISREG(file.status.st_mode)) {
      m_list.failures.push_back({file.path, file.listName, file.path + ": is not a file"});
      return;
    }
    m_inputs.emplace(FileNumber(file.status.st_dev, file.status.st_ino), file.path);
    m_list.items.push_back({.input = std::move(file.path),
                            .listName = std::move(file.listName),
                            .output = OutputPath(file.relativePath, m_naming),
                            .bytes = static_cast<std::uint64_t>(file.status.st_size),
                            .modified = file.status.st_mtim,
                            .isSound = isSound});
  }

  /// Whether the output lies outside the folder, where a link in it leads; the item is then a failure.
  bool FailsOutside(const WorkItem& item) {
    const fs::path& real = m_identities.Of(item.output);
    if (IsIn(real, m_realFolder) || real == item.output) {
      return false;
    }
    m_list.failures.push_back({item.input, item.listName,
                               fmt::format("{}: its output {} would lie outside {}, where a link leads: {}", item.input,
                                           item.output, m_naming.folder, real.native())});
    return true;
  }

  /// Looks whether the output exists. Throws WrongUse when it is an input that may be a sound.
  void CheckOutput(WorkItem& item) const {
    struct stat status {};
    item.outputExists = stat(item.output.c_str(), &status) == 0;
    item.outputIsOlder = item.outputExists && IsOlder(status.st_mtim, item.modified);
    // By number rather than name: the output may be a hard link to an input.
    const auto found = m_inputs.find({status.st_dev, status.st_ino});
    if (item.outputExists && found != m_inputs.end() && MayBeSound(found->second)) {
      throw WrongUse(
          fmt::format("{}: the output of {} would overwrite the input {}", item.output, item.input, found->second));
    }
  }

  Selection m_selection;
  const OutputNaming& m_naming;
  fs::path m_realFolder;
  WorkList m_list;
  OutputIdentities m_identities;
  std::map<FileNumber, std::string> m_inputs;  ///< by which name
};

}  // namespace

WorkList MakeWorkList(Selection selection, const OutputNaming& naming) {
  return WorkListMaker(std::move(selection), naming).Make();
}
