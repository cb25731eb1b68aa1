#include "Host/CommandLine/Options.h"

#include "Host/CommandLine/SoundExtensions.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

/// Throws WrongUse when both options are given.
void Exclude(bool isFirst, const char* first, bool isSecond, const char* second) {
  if (isFirst && isSecond) {
    throw WrongUse(fmt::format("{} and {} cannot be used together", first, second));
  }
}

/// Throws WrongUse when `option` is present; the caller knows that `needed` is absent.
void Need(const char* needed, bool isPresent, const char* option) {
  if (isPresent) {
    throw WrongUse(fmt::format("{} needs {}", option, needed));
  }
}

/// Checks and completes the options of an encoding of many files (--to).
void CompleteMany(Options& options) {
  options.action = Action::kEncodeMany;
  Exclude(options.skipExisting, "--skip-existing", options.force, "--force");
  Exclude(options.update, "--update", options.force, "--force");
  Exclude(options.update, "--update", options.skipExisting, "--skip-existing");
  // After the checks above: --update replaces outputs, but only older ones.
  options.force = options.force || options.update;
  // The list replaces an existing file: "--list-failed a.wav" would destroy a sound.
  if (HasForeignExtension(options.failedList)) {
    throw WrongUse(options.failedList + ": the list of failed files must not have the extension of a sound file");
  }
  Exclude(true, "--to", !options.savePreset.empty(), "--save-preset");
  Exclude(true, "--to", options.testSignalSeconds.has_value(), "--test-signal");
  Exclude(true, "--to", !options.output.empty(), "--output");
  const SelectionOptions& selection = options.selection;
  if (selection.inputs.empty() && selection.fileLists.empty()) {
    throw WrongUse("INPUT is missing");
  }
  if (std::find(selection.inputs.begin(), selection.inputs.end(), "-") != selection.inputs.end()) {
    throw WrongUse("--to: standard input cannot be one of many inputs: name files and folders");
  }
}

/// Checks and completes the options of an encoding of one file, or of none when only a preset is saved.
void CompleteOne(Options& options) {
  Need("--to", options.skipExisting, "--skip-existing");
  Need("--to", options.update, "--update");
  Need("--to", options.listInputs, "--list-inputs");
  Need("--to", !options.failedList.empty(), "--list-failed");
  Need("--to", options.jobs.has_value(), "--jobs");
  Need("--to", !options.selection.fileLists.empty(), "--files-from");
  Need("--to", !options.selection.filter.IsEmpty(), "--include or --exclude");
  Need("--to", options.naming.onClash != OnClash::kFail, "--on-clash");
  std::vector<std::string>& files = options.selection.inputs;
  if (files.empty() && options.output.empty() && !options.savePreset.empty() && !options.testSignalSeconds) {
    options.action = Action::kMakePreset;
    return;
  }
  if (!options.output.empty()) {
    // --output stands for the second file name.
    files.push_back(options.output);
  }
  const std::size_t needed = options.testSignalSeconds ? 1 : 2;
  if (files.size() > needed && options.testSignalSeconds) {
    throw WrongUse("INPUT and --test-signal cannot be used together");
  }
  if (files.size() > needed) {
    throw WrongUse(fmt::format("\"{}\" is one file too many: use --to FOLDER for many inputs", files[needed]));
  }
  if (files.size() < needed) {
    throw WrongUse(files.size() + 1 == needed ? "OUTPUT is missing" : "INPUT and OUTPUT are missing");
  }
  options.output = files.back();
  options.input = options.testSignalSeconds ? std::string() : files.front();
  if (!options.force && HasForeignExtension(options.output)) {
    throw WrongUse(
        options.output +
        ": the output is a Matroska file, but its extension says otherwise: name it .mkv or .mka, or use --force");
  }
}

}  // namespace

void CompleteEncodeOptions(Options& options) {
  options.hashAudio = options.json;
  Exclude(options.split, "--split", options.request.format.layout.has_value(), "--channels");
  Exclude(options.split, "--split", options.testSignalSeconds.has_value(), "--test-signal");
  const std::vector<std::string>& inputs = options.selection.inputs;
  if (std::find(inputs.begin(), inputs.end(), "") != inputs.end()) {
    throw WrongUse("a file name is empty");
  }
  if (options.naming.folder.empty()) {
    CompleteOne(options);
  } else {
    CompleteMany(options);
  }
}
