#pragma once

/// Which files are to be encoded, and where to: from the inputs of the command line to one output for each file, with
/// everything refused that would write where it must not. Nothing is written here.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

struct WorkItem {
  std::string input;
  std::string output;
  std::uint64_t bytes = 0;     ///< size of the input
  timespec modified{};         ///< when the input last was
  bool isNamed = false;        ///< on the command line; else found in a folder, and then it may be no sound file
  bool outputExists = false;   ///< as a file or as anything else
  bool outputIsOlder = false;  ///< it exists, and the input has been modified since
};

struct WorkList {
  std::vector<WorkItem> items;        ///< in the order of the inputs, those of a folder sorted by path
  std::vector<std::string> failures;  ///< inputs that there are none of, folders that cannot be listed: why
  std::size_t noSoundFiles = 0;       ///< found in folders, and known already to be none
};

/// What the inputs come to. A file named NAME.EXTENSION goes to FOLDER/NAME.mkv, a file below an input folder to the
/// same place below `folder`:
///
///   inputs "a.wav" and "music", where there is music/live/b.flac; folder "out": out/a.mkv, out/live/b.mkv
///
/// In folders, links to files count as the files, links to folders are not followed, and what lies in `folder` is left
/// out, so that it may be a part of an input. Whatever is neither file nor folder is never opened.
///
/// Throws WrongUse when an input lies in `folder`, two sound files have the same output, by whatever names and links,
/// or an output is one of the inputs; Failure when `folder` is no folder.
WorkList MakeWorkList(const std::vector<std::string>& inputs, const std::string& folder);
