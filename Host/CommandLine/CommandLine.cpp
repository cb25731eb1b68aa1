#include "Host/CommandLine/CommandLine.h"

#include "Host/CommandLine/ArgumentOrder.h"
#include "Host/CommandLine/Command.h"
#include "Host/CommandLine/HelpTexts.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace {

/// The longest time limit of a check: a day.
constexpr unsigned int kMostSeconds = 24 * 3600;

/// The options of "encode" and "info" that load a module and change its settings.
void DeclareSettings(Command& declare, Options& options) {
  declare.FileName("--module", "MODULE", options.module,
                   "Encoder module: a path with a slash, or a name that \"rhohost list\" shows (default: PCMPlugin)");
  declare.FileName("--preset", "FILE", options.request.preset, "Take the settings from this preset first");
  declare.Text("--set", "NAME=VALUE", options.request.assignments,
               "Set any setting, as \"rhohost info\" shows it; may be repeated");
}

void DeclareFormat(Command& declare, Options& options) {
  RequestedFormat& format = options.request.format;
  declare.Value("-r,--rate", "HZ",
                "Sample frames per second, or \"nearest\" for the nearest rate that the module allows; others are "
                "converted (default: the input's)",
                [&](const char* option, const std::string& text) {
                  // The last --rate counts: each form takes back the other.
                  options.request.nearestRate = text == "nearest";
                  format.sampleRate =
                      options.request.nearestRate ? std::nullopt : std::optional(ReadWholeNumber(option, text));
                });
  declare.Value(
      "-b,--bits", "BITS", "Bits per sample (default: 24 for inputs of more than 16, else 16)",
      [&format](const char* option, const std::string& text) { format.bits = ReadWholeNumber(option, text); });
  declare.Value("-c,--channels", "LAYOUT", "Channel layout, as in 5.1 (default: by the input's channels)",
                [&format](const char*, const std::string& text) { format.layout = text; });
  declare.Flag("--split", options.split,
               "Where no layout takes the input's channels, make each channel a track of its own in the output");
  declare.Value("--fps", "RATE", "Packets per second, as in 25, 29.97 or 30000/1001 (default: 30)",
                [&options](const char* option, const std::string& text) {
                  options.request.framesPerSecond = ReadFrameRate(option, text);
                });
}

void DeclareEncode(Command& declare, Options& options) {
  // Inputs and, in an encoding of one file, the output: CompleteEncodeOptions tells them apart.
  declare.Files(options.selection.inputs);
  declare.Group("Input");
  declare.Flag("--no-tags", options.noTags, "Leave tags, chapters, pictures and other attachments out");
  declare.Value("--raw", "RATE:FORMAT:CHANNELS", "Read samples without a header, as in 44100:s16le:2",
                [&options](const char* option, const std::string& text) { options.raw = ReadRawFormat(option, text); });
  declare.Value("--test-signal", "SECONDS", "Encode a built-in signal of this length in place of INPUT",
                [&options](const char* option, const std::string& text) {
                  options.testSignalSeconds = ReadSeconds(option, text);
                });
  declare.Group("Output");
  declare.FileName("-o,--output", "FILE", options.output, "The output, in place of a second file name");
  declare.Flag("--no-preserve-times", options.newTimes,
               "Do not give outputs the modification times of their inputs, as --preserve-times does (the default)");
  // The default, for scripts that ask for it; the help names it with its opposite.
  declare.HiddenOpposite("--preserve-times", options.newTimes);
  declare.Group("Format and settings");
  DeclareFormat(declare, options);
  DeclareSettings(declare, options);
  declare.FileName("--save-preset", "FILE", options.savePreset,
                   "Save the chosen settings in this preset; INPUT and OUTPUT may be left out");
  declare.Group("Many files");
  SelectionOptions& selection = options.selection;
  declare.FileName("--to", "FOLDER", options.naming.folder, "Encode many files into this folder");
  declare.Text(
      "--files-from", "LIST", selection.fileLists,
      "Also encode the files named in LIST, one on a line (- is standard input), to the same path below FOLDER");
  declare.Flag("-0,--null", selection.isNullSeparated, "Names in lists end with zero bytes, as of find -print0");
  declare.Value(
      "--include", "GLOB",
      "Include files and folders that match; of all --include and --exclude the first match decides, as in rsync",
      [&selection](const char*, const std::string& text) { selection.filter.Include(text); });
  declare.Value("--exclude", "GLOB", "Exclude files and folders that match",
                [&selection](const char*, const std::string& text) { selection.filter.Exclude(text); });
  declare.Value(
      "--on-clash", "WHAT", "When inputs would have the same output: fail, skip, number or keep-extension",
      [&options](const char* option, const std::string& text) { options.naming.onClash = ReadOnClash(option, text); });
  declare.Value(
      "--suffix", "SUFFIX", "Suffix of outputs: .mkv or .mka (default: .mkv)",
      [&options](const char* option, const std::string& text) { options.naming.suffix = ReadSuffix(option, text); });
  declare.Jobs(options.jobs, "Encode this many files at a time (default: one per usable processor)");
  declare.Flag("--skip-existing", options.skipExisting,
               "Skip inputs whose output exists; count outputs that are older");
  declare.Flag("-u,--update", options.update,
               "Skip inputs whose output exists and is not older; replace older outputs");
  declare.Flag("--list-inputs", options.listInputs,
               "Print the names of the files that would be encoded, for --files-from");
  declare.FileName("--list-failed", "LIST", options.failedList,
                   "Write the names of the files that failed to LIST, for --files-from");
  declare.Group("Safety");
  declare.Flag("-n,--dry-run", options.dryRun, "Show what would be done, and write nothing");
  declare.Flag("-f,--force", options.force, "Replace existing outputs; accept one that is called .wav or the like");
  declare.Flag("--verify", options.verify, "Read each output back from the disk and compare it with what was encoded");
  declare.Flag("--allow-truncated", options.allowTruncated,
               "Accept an input that is shorter than its header says, or whose checksum does not match");
  declare.Flag("--no-sync", options.noSync,
               "Do not wait for the disk: faster, but a power failure may leave empty files under the outputs' names");
  declare.Group("Messages");
  declare.Flag("--json", options.json, "Print plan, progress, failures and summary as JSON lines");
  declare.Flag("-q,--quiet", options.quiet, "Print only what went wrong");
  declare.HelpFlag();
  declare.Version("rhohost " RHOHOST_VERSION);
}

void DeclareInfo(Command& declare, Options& options) {
  DeclareSettings(declare, options);
  declare.Flag("--json", options.json, "Show it as JSON");
  declare.Flag("-q,--quiet", options.quiet, "Print nothing besides");
  declare.HelpFlag();
}

void DeclareList(Command& declare, Options& options) {
  declare.Flag("--json", options.json, "Show them as JSON, with all settings");
  declare.Flag("-q,--quiet", options.quiet, "Print nothing besides");
  declare.HelpFlag();
}

void DeclareValidate(Command& declare, ValidateOptions& options) {
  declare.File(options.module);
  declare.Text("--only", "PATTERN", options.only, "Run only the checks that match, as in \"load.*\"; may be repeated");
  declare.Text("--skip", "PATTERN", options.skip, "Leave out the checks that match; may be repeated");
  declare.Flag("--list", options.isList, "List the checks, run none");
  declare.Flag("--json", options.json, "Show the results as JSON");
  declare.Value(
      "--junit", "FILE", "Also write the results to this file in the JUnit form",
      [&options](const char* option, const std::string& text) { options.junit = ReadFileName(option, text); });
  declare.Value("--html", "FILE", "Also write the results to this file as a page to read",
                [&options](const char* option, const std::string& text) { options.html = ReadFileName(option, text); });
  declare.Flag("-f,--force", options.force, "Replace an existing FILE");
  declare.Flag("--valgrind", options.valgrind, "Run the checks under valgrind; allow more time with --timeout");
  declare.Jobs(options.jobs, "Run this many checks at a time (default: one per usable processor)");
  declare.Value("--timeout", "SECONDS", "Time limit of each check (default: 30)",
                [&options](const char* option, const std::string& text) {
                  options.timeout = std::chrono::seconds(ReadCount(option, text, kMostSeconds));
                });
  declare.Flag("-q,--quiet", options.quiet, "Show only checks that fail");
  declare.HelpFlag();
}

/// Null when there is no such command.
const Command* FindCommand(const std::vector<Command>& commands, std::string_view name) {
  const auto found =
      std::find_if(commands.begin(), commands.end(), [name](const Command& command) { return command.Name() == name; });
  return found == commands.end() ? nullptr : &*found;
}

/// Prints the help of a command, or that of "encode" for "". Throws WrongUse for an unknown one.
void PrintHelp(const std::vector<Command>& commands, const std::string& topic) {
  const Command* const command = FindCommand(commands, topic.empty() ? "encode" : topic);
  if (command == nullptr) {
    throw WrongUse(fmt::format("no command \"{}\": the commands are encode, info, list, validate and help", topic));
  }
  Print(command->Help());
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, const char* const* argv) {
  Options options;
  std::string topic;
  std::vector<Command> commands;
  commands.reserve(5);
  DeclareEncode(commands.emplace_back("encode", kEncodeUsage, kEncodeNotes), options);
  DeclareInfo(commands.emplace_back("info", kInfoUsage, ""), options);
  DeclareList(commands.emplace_back("list", kListUsage, kListNotes), options);
  DeclareValidate(commands.emplace_back("validate", kValidateUsage, kValidateNotes), options.validate);
  // The command has no --help.
  commands.emplace_back("help", kEncodeUsage, "").File(topic);

  CommandOptions valueNames;
  for (const Command& command : commands) {
    valueNames[command.Name()] = command.ValueNames();
  }
  const OrderedArguments arguments = OrderArguments({argv + std::min(argc, 1), argv + argc}, valueNames, "encode");
  const std::string& chosen = arguments.command;
  if (chosen == "validate") {
    // The value without --jobs.
    options.validate.jobs = DefaultJobs();
  }
  if (const std::optional<std::string> text = FindCommand(commands, chosen)->Parse(arguments)) {
    Print(*text);
    return std::nullopt;
  }
  if (chosen == "help") {
    PrintHelp(commands, topic);
    return std::nullopt;
  }
  if (options.module.empty()) {
    options.module = kDefaultModule;
  }
  if (chosen == "info") {
    options.action = Action::kShowInfo;
  } else if (chosen == "list") {
    options.action = Action::kListModules;
  } else if (chosen == "validate") {
    options.action = Action::kValidate;
  } else {
    CompleteEncodeOptions(options);
  }
  return options;
}
