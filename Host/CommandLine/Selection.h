#pragma once

/// Finds the files that the inputs of the command line name. Opens folders only.

#include "Host/CommandLine/FileFilter.h"

#include <sys/stat.h>
#include <cstddef>
#include <string>
#include <vector>

/// The inputs that the user names: files, folders and lists of them.
struct SelectionOptions {
  std::vector<std::string> inputs;     ///< files and folders
  std::vector<std::string> fileLists;  ///< files that list more of them; "-" is standard input
  bool isNullSeparated = false;        ///< the names in lists end with zero bytes, not with lines
  FileFilter filter;
};

/// A file, and where it belongs.
struct SelectedFile {
  std::string path;          ///< to open it, and as messages name it
  std::string listName;      ///< stands for the file and its place in a list of files: "music/./live/a.wav"
  std::string relativePath;  ///< the place below the output folder, but for the extension: "live/a.wav"
  std::string realPath;      ///< without links, but for the file itself
  struct stat status {};     ///< with links followed; all zero when there is no such file
  bool isNamed = false;      ///< by the user; else found in a folder
};

/// An input that is not encoded, and why.
struct FailedInput {
  std::string path;
  std::string listName;  ///< as in SelectedFile
  std::string reason;    ///< a whole message, which names the file
};

struct Selection {
  std::vector<SelectedFile> files;    ///< in the order of the inputs, those of a folder sorted by path; each once
  std::vector<FailedInput> failures;  ///< names without a file, folders that cannot be listed
  std::size_t excludedFiles = 0;      ///< by the filter, without those in excluded folders
  std::size_t repeatedFiles = 0;      ///< reached again, by another name or in a folder
};

/// Finds the files for an encoding into `outputFolder`.
///
/// A file that is named goes to the output folder itself, what lies in a folder to the same place below the output
/// folder; names in lists keep their whole path. "/./" in a name says where the part begins that is kept, as in rsync:
///
///   "a/b.wav" -> "b.wav"; "music" with live/c.flac -> "live/c.flac"; "music/./live" -> "live/c.flac";
///   "a/b.wav" in a list -> "a/b.wav"
///
/// In folders, links to files count as the files, links to folders are not followed, and the output folder is left out
/// unless the input itself lies in it. Throws Failure when a list cannot be read.
Selection SelectFiles(const SelectionOptions& options, const std::string& outputFolder);
