#include "Host/CommandLine/Selection.h"

#include "Host/CommandLine/FileList.h"
#include "Host/System/RealPaths.h"
#include "Host/Text/Errors.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// An input as the user gave it.
struct NamedInput {
  std::string path;
  std::string listName;  ///< stands for it in a list of files
  std::string kept;      ///< its place below the output folder, relative and normal; "" for a folder without one
};

/// The place below the output folder: `path` without leading slashes, "." and "..". Throws Failure for a path that
/// leads out of the output folder.
std::string KeptPath(const std::string& input, std::string_view path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  std::string kept = fs::path(path).lexically_normal();
  if (kept == ".." || kept.starts_with("../")) {
    throw Failure(input + ": would lie outside the output folder; write \"/./\" in front of the part to be kept");
  }
  while (kept.ends_with('/')) {
    kept.pop_back();
  }
  return kept == "." ? std::string() : kept;
}

/// Reads an input from the command line or, with `isWholePathKept`, from a list. "/./" marks where the kept part
/// begins.
NamedInput ReadInput(const std::string& path, bool isWholePathKept, bool isFolder) {
  if (const std::size_t mark = path.find("/./"); mark != std::string::npos) {
    return {path, path, KeptPath(path, std::string_view(path).substr(mark + 2))};
  }
  if (isWholePathKept) {
    return {path, path, KeptPath(path, path)};
  }
  if (isFolder) {
    // In a list, "music/./live/a.wav" gives the same place as the folder "music" does here.
    return {path, path + "/.", ""};
  }
  const fs::path whole(path);
  const std::string name = whole.filename();
  return {path, whole.has_parent_path() ? whole.parent_path().native() + "/./" + name : name, name};
}

/// Appends the contents of the folder, links to folders as files. Returns 0, or an errno when entries may be missing.
/// The folder is closed before its subfolders are opened: a tree may be deeper than the limit on descriptors.
int ListFolder(const fs::path& folder, std::vector<fs::path>& folders, std::vector<fs::path>& files) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    // An entry that has vanished meanwhile is not an error: it counts as a file.
    std::error_code unknown;
    const bool isFolder = !entry->is_symlink(unknown) && entry->is_directory(unknown);
    if (unknown && unknown != std::errc::no_such_file_or_directory) {
      return unknown.value();
    }
    (isFolder ? folders : files).push_back(entry->path());
  }
  return error.value();
}

/// Collects the files of all inputs. `filter` must outlive the object.
class Selector {
 public:
  Selector(const FileFilter& filter, const std::string& outputFolder)
      : m_filter(filter), m_outputFolder(RealPath(outputFolder)) {}

  /// Adds one input; a failure is recorded and does not stop the others.
  void Add(const std::string& path, bool isWholePathKept);
  Selection Take() { return std::move(m_selection); }

 private:
  /// Adds all files below the folder.
  void AddFolder(const NamedInput& input);
  /// Adds the file unless it is there already, by whichever name.
  void AddFile(SelectedFile file);

  const FileFilter& m_filter;
  fs::path m_outputFolder;
  Selection m_selection;
  std::set<std::string> m_realPaths;
};

void Selector::Add(const std::string& path, bool isWholePathKept) {
  try {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
      throw SystemFailure(path, "open", errno);
    }
    const NamedInput input = ReadInput(path, isWholePathKept, S_ISDIR(status.st_mode));
    if (S_ISDIR(status.st_mode)) {
      AddFolder(input);
    } else if (m_filter.ExcludesOnTheWay(input.kept)) {
      ++m_selection.excludedFiles;
    } else if (S_ISREG(status.st_mode)) {
      const fs::path whole(path);
      AddFile({path, input.listName, input.kept, RealPath(whole.parent_path()) / whole.filename(), status, true});
    } else {
      throw Failure(path + ": is neither a file nor a folder");
    }
  } catch (const Failure& failure) {
    m_selection.failures.push_back({path, path, failure.what()});
  }
}

void Selector::AddFolder(const NamedInput& input) {
  // The walk is over real paths, so that they compare with the output folder; `join` turns them back into names.
  const std::string real = RealPath(input.path);
  const auto join = [&real](const std::string& folder, const fs::path& path) {
    const std::string below = path == real ? "" : path.native().substr(real == "/" ? 1 : real.size() + 1);
    return folder.empty() || below.empty() ? folder + below : std::string(KelJoinPaths(folder, below, 0));
  };
  const bool isInOutputFolder = IsIn(real, m_outputFolder);
  // A stack rather than recursion: folders may be nested as deep as the file system allows.
  std::vector<fs::path> folders{real};
  std::vector<fs::path> files;
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    const std::string kept = join(input.kept, folder);
    // The output folder may lie in an input folder: its files are results, not inputs.
    if ((!isInOutputFolder && IsIn(folder, m_outputFolder)) || (!kept.empty() && m_filter.Excludes(kept, true))) {
      continue;
    }
    if (const int error = ListFolder(folder, folders, files); error != 0) {
      const std::string name = join(input.path, folder);
      m_selection.failures.push_back(
          {name, join(input.listName, folder), SystemFailure(name, "list the folder", error).what()});
    }
  }
  // By bytes: the same order on every machine and in every locale.
  std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  for (const fs::path& path : files) {
    const std::string kept = join(input.kept, path);
    if (m_filter.Excludes(kept, false)) {
      ++m_selection.excludedFiles;
      continue;
    }
    SelectedFile file{join(input.path, path), join(input.listName, path), kept, path, {}, false};
    if (stat(path.c_str(), &file.status) != 0) {
      // The file has vanished, or is a dangling link. A status of zeros marks it.
      file.status = {};
    }
    if (isInOutputFolder || !IsIn(path, m_outputFolder)) {
      AddFile(std::move(file));
    }
  }
}

void Selector::AddFile(SelectedFile file) {
  if (m_realPaths.insert(file.realPath).second) {
    m_selection.files.push_back(std::move(file));
  } else {
    ++m_selection.repeatedFiles;
  }
}

}  // namespace

Selection SelectFiles(const SelectionOptions& options, const std::string& outputFolder) {
  Selector selector(options.filter, outputFolder);
  for (const std::string& input : options.inputs) {
    selector.Add(input, false);
  }
  for (const std::string& list : options.fileLists) {
    for (const std::string& name : ReadFileList(list, options.isNullSeparated)) {
      selector.Add(name, true);
    }
  }
  return selector.Take();
}
