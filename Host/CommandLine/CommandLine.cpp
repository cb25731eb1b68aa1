#include "Host/CommandLine/CommandLine.h"

#include "Host/CommandLine/ArgumentOrder.h"
#include "Host/CommandLine/HelpTexts.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string_view>

namespace {

/// The longest time limit of a check: a day.
constexpr unsigned int kMostSeconds = 24 * 3600;

/// Help in groups, wrapped at 80 columns.
class HelpFormatter : public CLI::Formatter {
  static constexpr std::size_t kColumns = 80;
  // The description of an option begins here, on the next line if the names are too long.
  static constexpr std::size_t kTextColumn = 27;

  std::string make_help(const CLI::App* app, std::string /*name*/, CLI::AppFormatMode /*mode*/) const override {
    // Options in the group "" are hidden, as are the file arguments: the usage text names them.
    const std::string footer = app->get_footer();
    std::string text = app->get_description();
    for (const std::string& group : app->get_groups()) {
      const auto options =
          app->get_options([&group](const CLI::Option* option) { return option->get_group() == group; });
      text += group.empty() || options.empty() ? "" : make_group(group, false, options);
    }
    return text + (footer.empty() ? "" : "\n" + footer);
  }

  std::string make_group(std::string name, bool isPositional, std::vector<const CLI::Option*> options) const override {
    std::string text = "\n" + name + ":\n";
    for (const CLI::Option* const option : options) {
      text += make_option(option, isPositional);
    }
    return text;
  }

  /// "  -r, --rate HZ", and from kTextColumn on the description, broken at blanks.
  std::string make_option(const CLI::Option* option, bool /*isPositional*/) const override {
    const std::string type = option->get_type_name();
    std::string names = option->get_name(false, true);
    if (const std::size_t comma = names.find(','); comma != std::string::npos) {
      names.insert(comma + 1, " ");
    }
    std::string text;
    // A long name without a short one is indented, so that all long names begin in the same column.
    std::string line =
        fmt::format("  {}{}{}", names.starts_with("--") ? "    " : "", names, type.empty() ? "" : " " + type);
    if (line.size() + 2 > kTextColumn) {
      text = line + "\n";
      line.clear();
    }
    line.resize(kTextColumn - 1, ' ');
    std::istringstream words(option->get_description());
    for (std::string word; words >> word;) {
      if (line.size() + 1 + word.size() > kColumns) {
        text += line + "\n";
        line.assign(kTextColumn - 1, ' ');
      }
      line += " " + word;
    }
    return text + line + "\n";
  }
};

/// Declares the options of one command. A value is read as soon as it is parsed, so that the first wrong one is the
/// one that is named; of an option that is given twice the last value counts.
class Declaration {
 public:
  using Read = std::function<void(const char* option, const std::string& text)>;

  explicit Declaration(CLI::App& app) : m_app(app) {}

  /// The options that follow belong to this group of the help.
  void Group(const char* name) { m_group = name; }

  /// `names` are "-r,--rate", as CLI11 takes them; `type` is how the help names the value.
  void Value(const char* names, const char* type, const char* help, const Read& read) {
    // The long name is what messages call the option.
    const std::string name = std::string(names).substr(std::string_view(names).find("--"));
    m_app
        .add_option_function<std::string>(
            names, [read, name](const std::string& text) { read(name.c_str(), text); }, help)
        ->type_name(type)
        ->group(m_group)
        ->trigger_on_parse();
  }
  void FileName(const char* names, const char* type, std::string& fileName, const char* help) {
    Value(names, type, help,
          [&fileName](const char* option, const std::string& text) { fileName = ReadFileName(option, text); });
  }
  void Text(const char* names, const char* type, std::vector<std::string>& texts, const char* help) {
    Value(names, type, help, [&texts](const char*, const std::string& text) { texts.push_back(text); });
  }
  // An empty type name marks a flag (OptionsOf) and keeps CLI11 from showing one. A repeated flag is no error.
  void Flag(const char* names, bool& flag, const char* help) {
    m_app.add_flag(names, flag, help)
        ->type_name("")
        ->group(m_group)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  }
  template <class Number>
  void Jobs(Number& jobs, const char* help) {
    Value("-j,--jobs", "NUMBER", help,
          [&jobs](const char* option, const std::string& text) { jobs = ReadCount(option, text, kMostJobs); });
  }
  void Help() { m_app.set_help_flag("-h,--help", "Show this help and end")->type_name("")->group(m_group); }

 private:
  CLI::App& m_app;
  std::string m_group = "Options";
};

/// The options of "encode" and "info" that load a module and change its settings.
void DeclareSettings(Declaration& declare, Options& options) {
  declare.FileName("--module", "MODULE", options.module,
                   "Encoder module: a path with a slash, or a name that \"rhohost list\" shows (default: PCMPlugin)");
  declare.FileName("--preset", "FILE", options.request.preset, "Take the settings from this preset first");
  declare.Text("--set", "NAME=VALUE", options.request.assignments,
               "Set any setting, as \"rhohost info\" shows it; may be repeated");
}

void DeclareFormat(Declaration& declare, Options& options) {
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

void DeclareEncode(CLI::App& app, Options& options) {
  // Inputs and, in an encoding of one file, the output: CompleteEncodeOptions tells them apart.
  app.add_option("FILES", options.selection.inputs)->group("");
  Declaration declare(app);
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
  app.add_flag_callback(
         "--preserve-times", [&options] { options.newTimes = false; }, "")
      ->type_name("")
      ->group("");
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
  declare.Jobs(options.jobs, "Encode this many files at a time (default: one per processor)");
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
  declare.Help();
  app.set_version_flag("--version", "rhohost " RHOHOST_VERSION, "Show the version and end")->group("Messages");
}

void DeclareInfo(CLI::App& app, Options& options) {
  Declaration declare(app);
  DeclareSettings(declare, options);
  declare.Flag("--json", options.json, "Show it as JSON");
  declare.Flag("-q,--quiet", options.quiet, "Print nothing besides");
  declare.Help();
}

void DeclareList(CLI::App& app, Options& options) {
  Declaration declare(app);
  declare.Flag("--json", options.json, "Show them as JSON, with all settings");
  declare.Flag("-q,--quiet", options.quiet, "Print nothing besides");
  declare.Help();
}

void DeclareValidate(CLI::App& app, ValidateOptions& options) {
  app.add_option("MODULE", options.module)->group("");
  Declaration declare(app);
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
  // The value without --jobs.
  options.jobs = DefaultJobs();
  declare.Jobs(options.jobs, "Run this many checks at a time (default: one per processor)");
  declare.Value("--timeout", "SECONDS", "Time limit of each check (default: 30)",
                [&options](const char* option, const std::string& text) {
                  options.timeout = std::chrono::seconds(ReadCount(option, text, kMostSeconds));
                });
  declare.Flag("-q,--quiet", options.quiet, "Show only checks that fail");
  declare.Help();
}

/// Null when there is no such command.
const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
  const auto commands = app.get_subcommands([&name](const CLI::App* command) { return command->get_name() == name; });
  return commands.empty() ? nullptr : commands.front();
}

/// The options of all commands, as OrderArguments takes them.
CommandOptions OptionsOf(const CLI::App& app) {
  CommandOptions commands;
  for (const CLI::App* const command : app.get_subcommands({})) {
    auto& options = commands[command->get_name()];
    for (const CLI::Option* const option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        options["--" + name] = option->get_type_name();
      }
      for (const std::string& name : option->get_snames()) {
        options["-" + name] = option->get_type_name();
      }
    }
  }
  return commands;
}

/// Prints the help of a command, or that of "encode" for "". Throws WrongUse for an unknown one.
void PrintHelp(const CLI::App& app, const std::string& topic) {
  const CLI::App* const command = FindCommand(app, topic.empty() ? "encode" : topic);
  if (command == nullptr) {
    throw WrongUse(fmt::format("there is no command \"{}\": encode, info, list, validate and help are", topic));
  }
  Print(command->help());
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, const char* const* argv) {
  CLI::App app("", "rhohost");
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(1);
  Options options;
  std::string topic;
  // The usage text is the description: HelpFormatter shows it before the options, the notes after them.
  const auto command = [&app](const char* name, const char* usage, const char* notes) {
    CLI::App* const added = app.add_subcommand(name, usage);
    added->footer(notes);
    return added;
  };
  DeclareEncode(*command("encode", kEncodeUsage, kEncodeNotes), options);
  CLI::App* const info = command("info", kInfoUsage, "");
  DeclareInfo(*info, options);
  CLI::App* const list = command("list", kListUsage, kListNotes);
  DeclareList(*list, options);
  CLI::App* const validate = command("validate", kValidateUsage, kValidateNotes);
  DeclareValidate(*validate, options.validate);
  CLI::App* const help = command("help", kEncodeUsage, "");
  help->add_option("COMMAND", topic);
  // Without an argument: the command has no --help.
  help->set_help_flag();

  std::vector<std::string> arguments =
      OrderArguments({argv + std::min(argc, 1), argv + argc}, OptionsOf(app), "encode");
  // OrderArguments has put the command in front. CLI11 takes a vector of arguments in reverse order.
  const std::string chosen = arguments.front();
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    // CLI11 throws for --help and --version, which are no errors.
    PrintHelp(app, chosen);
    return std::nullopt;
  } catch (const CLI::CallForVersion& version) {
    Print(std::string(version.what()) + "\n");
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
  }
  if (help->parsed()) {
    PrintHelp(app, topic);
    return std::nullopt;
  }
  if (options.module.empty()) {
    options.module = kDefaultModule;
  }
  if (info->parsed()) {
    options.action = Action::kShowInfo;
  } else if (list->parsed()) {
    options.action = Action::kListModules;
  } else if (validate->parsed()) {
    options.action = Action::kValidate;
  } else {
    CompleteEncodeOptions(options);
  }
  return options;
}
