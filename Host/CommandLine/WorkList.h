#pragma once

/// Which files are encoded, and into which outputs. Writes nothing.

#include "Host/CommandLine/Selection.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

/// What happens to inputs that would have the same output.
enum class OnClash {
  kFail,           ///< none of them is encoded
  kSkip,           ///< the first is encoded
  kNumber,         ///< NAME.mkv, NAME-2.mkv, NAME-3.mkv
  kKeepExtension,  ///< every output of the run keeps the extension of its input: NAME.wav.mkv
};

struct OutputNaming {
  std::string folder;
  std::string suffix = ".mkv";
  OnClash onClash = OnClash::kFail;
};

struct WorkItem {
  std::string input;
  std::string listName;  ///< stands for the input and its place in a list of files
  std::string output;
  std::uint64_t bytes = 0;     ///< size of the input
  timespec modified{};         ///< when the input was last modified
  bool isSound = false;        ///< named by the user, or by its extension; else it may be any file
  bool outputExists = false;   ///< as a file or as anything else
  bool outputIsOlder = false;  ///< it exists, and the input was modified later
};

struct WorkList {
  std::vector<WorkItem> items;  ///< in the order of the selection
  std::vector<FailedInput> failures;
  std::size_t otherFiles = 0;     ///< found in folders, known already not to be sounds, and not called like one
  std::size_t excludedFiles = 0;  ///< by the filter
  std::size_t repeatedFiles = 0;  ///< inputs that are in the list already
  std::size_t clashingFiles = 0;  ///< skipped, since the output belongs to another input
};

/// Gives each selected file its output: the same place below the folder, with the suffix in place of the extension. A
/// file found in a folder that is itself one of the outputs is not an input.
///
/// Inputs that clash, and outputs that a link would put outside the folder, are among the failures. Throws WrongUse
/// when an output is one of the inputs; Failure when the folder is something else.
WorkList MakeWorkList(Selection selection, const OutputNaming& naming);
