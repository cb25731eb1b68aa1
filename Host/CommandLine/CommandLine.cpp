#include "Host/CommandLine/CommandLine.h"

#include "Host/CommandLine/HelpTexts.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/Plugin/Module.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned int kMostSeconds = 24 * 3600;

/// Help in groups, wrapped at 80 columns.
class HelpFormatter : public CLI::Formatter {
  static constexpr std::size_t kColumns = 80;
  static constexpr std::size_t kTextColumn = 27;

  std::string make_help(const CLI::App* app, std::string /*name*/, CLI::AppFormatMode /*mode*/) const override {
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

  std::string make_option(const CLI::Option* option, bool /*isPositional*/) const override {
    const std::string type = option->get_type_name();
    std::string names = option->get_name(false, true);
    if (const std::size_t comma = names.find(','); comma != std::string::npos) {
      names.insert(comma + 1, " ");
    }
    std::string text;
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
  void Flag(const char* names, bool& flag, const char* help) {
    m_app.add_flag(names, flag, help)->group(m_group)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  }
  template <class Number>
  void Jobs(Number& jobs, const char* help) {
    Value("-j,--jobs", "NUMBER", help,
          [&jobs](const char* option, const std::string& text) { jobs = ReadCount(option, text, kMostJobs); });
  }
  void Help() { m_app.set_help_flag("-h,--help", "Show this help and end")->group(m_group); }

 private:
  CLI::App& m_app;
  std::string m_group = "Options";
};

void DeclareSettings(Declaration& declare, Options& options) {
  declare.FileName("--module", "PATH", options.module, "Encoder module (default: the one beside this program)");
  declare.FileName("--preset", "FILE", options.preset, "Take the settings from this preset first");
  declare.Text("--set", "NAME=VALUE", options.assignments,
               "Set any setting, as \"rhohost info\" shows it; may be repeated");
}

void DeclareFormat(Declaration& declare, Options& options) {
  RequestedFormat& format = options.requestedFormat;
  declare.Value(
      "-r,--rate", "HZ", "Sample frames per second; others are converted (default: the input's)",
      [&format](const char* option, const std::string& text) { format.sampleRate = ReadWholeNumber(option, text); });
  declare.Value(
      "-b,--bits", "BITS", "Bits per sample (default: 24 for inputs of more than 16, else 16)",
      [&format](const char* option, const std::string& text) { format.bits = ReadWholeNumber(option, text); });
  declare.Value("-c,--channels", "LAYOUT", "Channel layout, as in 5.1 (default: by the input's channels)",
                [&format](const char*, const std::string& text) { format.layout = text; });
  declare.Value("--fps", "RATE", "Packets per second, as in 25, 29.97 or 30000/1001 (default: 30)",
                [&options](const char* option, const std::string& text) {
                  options.framesPerSecond = ReadFrameRate(option, text);
                });
}

void DeclareEncode(CLI::App& app, Options& options) {
  app.add_option("FILES", options.inputs)->group("");
  Declaration declare(app);
  declare.Group("Input");
  declare.Flag("--allow-truncated", options.allowTruncated, "Accept an input that is shorter than its header says");
  declare.Value("--test-signal", "SECONDS", "Encode a built-in signal of this length in place of INPUT",
                [&options](const char* option, const std::string& text) {
                  options.testSignalSeconds = ReadSeconds(option, text);
                });
  declare.Group("Output");
  declare.FileName("-o,--output", "FILE", options.output, "The output, in place of a second file name");
  declare.Flag("-f,--force", options.force, "Replace existing outputs");
  declare.Flag("--verify", options.verify, "Read each output back from the disk and compare it with what was encoded");
  declare.Group("Format and settings");
  DeclareFormat(declare, options);
  DeclareSettings(declare, options);
  declare.FileName("--save-preset", "FILE", options.savePreset,
                   "Save the settings in this preset; INPUT and OUTPUT may be left out");
  declare.Group("Many files");
  declare.FileName("--to", "FOLDER", options.folder, "Encode many files into this folder");
  declare.Jobs(options.jobs, "Encode this many files at a time (default: one per processor)");
  declare.Flag("--skip-existing", options.skipExisting,
               "Skip inputs whose output exists; count outputs that are older");
  declare.Group("Messages");
  declare.Flag("-n,--dry-run", options.dryRun, "Show what would be done, and write nothing");
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
  declare.Flag("-f,--force", options.force, "Replace an existing FILE");
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

/// Arranges the arguments for CLI11: the command in front, values apart from their options, and files named so that
/// CLI11 takes them for nothing else. Refuses options that do not exist or lack their value.
class Arguments {
 public:
  Arguments(const CLI::App& app, int argc, const char* const* argv)
      : m_app(app), m_left(argv + std::min(argc, 1), argv + argc) {
    std::reverse(m_left.begin(), m_left.end());
    while (!m_left.empty()) {
      AddNext();
    }
    for (const std::string& option : m_options) {
      if (Command().get_option_no_throw(option) == nullptr) {
        throw WrongUse(fmt::format("\"rhohost {}\" has no option {}", m_command, option));
      }
    }
  }

  const CLI::App& Command() const { return *FindCommand(m_app, m_command); }

  /// In reverse, as CLI11 takes them.
  std::vector<std::string> Reversed() const {
    std::vector<std::string> reversed(m_arguments.rbegin(), m_arguments.rend());
    reversed.push_back(m_command);
    return reversed;
  }

 private:
  std::string Next() {
    std::string next = std::move(m_left.back());
    m_left.pop_back();
    return next;
  }

  void AddNext() {
    std::string text = Next();
    if (m_areOptionsOver || text == "-" || !text.starts_with('-')) {
      AddFile(std::move(text));
    } else if (text == "--") {
      m_areOptionsOver = true;
      m_arguments.push_back(std::move(text));
    } else if (text.starts_with("--")) {
      AddLong(text);
    } else {
      AddShort(text);
    }
  }

  void AddFile(std::string text) {
    const bool isFirst = !std::exchange(m_hasFiles, true);
    if (isFirst && !m_areOptionsOver && FindCommand(m_app, text) != nullptr) {
      m_command = text;
      return;
    }
    // CLI11 takes "[A,B]" for a list, and "++" for the end of a subcommand.
    const bool isSpecial = text == "++" || (text.starts_with('[') && text.ends_with(']'));
    m_arguments.push_back(isSpecial ? "./" + text : std::move(text));
  }

  void AddLong(const std::string& text) {
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const CLI::Option& option = Find(name);
    if (TakesValue(option) && equals != std::string::npos) {
      m_arguments.push_back(name);
      m_arguments.push_back(text.substr(equals + 1));
      return;
    }
    m_arguments.push_back(text);
    if (TakesValue(option)) {
      AddValue(option, name);
    }
  }

  /// "-q", "-qf", "-j4", "-qj4" or "-qj" before "4"
  void AddShort(const std::string& text) {
    m_arguments.push_back(text);
    for (std::size_t index = 1; index < text.size(); ++index) {
      const std::string name{'-', text[index]};
      const CLI::Option& option = Find(name);
      if (TakesValue(option)) {
        if (index + 1 == text.size()) {
          AddValue(option, name);
        }
        return;
      }
    }
  }

  void AddValue(const CLI::Option& option, const std::string& name) {
    if (m_left.empty()) {
      throw WrongUse(fmt::format("{}: {} is missing", name, option.get_type_name()));
    }
    m_arguments.push_back(Next());
  }

  /// The option of any command: an option takes a value in all of them or in none.
  const CLI::Option& Find(const std::string& name) {
    m_options.push_back(name);
    for (const CLI::App* const command : m_app.get_subcommands({})) {
      if (const CLI::Option* const option = command->get_option_no_throw(name)) {
        return *option;
      }
    }
    throw WrongUse(name + ": there is no such option");
  }

  static bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

  const CLI::App& m_app;
  std::vector<std::string> m_left;  ///< in reverse
  std::vector<std::string> m_arguments;
  std::vector<std::string> m_options;
  std::string m_command = "encode";
  bool m_hasFiles = false;
  bool m_areOptionsOver = false;
};

void PrintHelp(const CLI::App& app, const std::string& topic) {
  const CLI::App* const command = FindCommand(app, topic.empty() ? "encode" : topic);
  if (command == nullptr) {
    throw WrongUse(fmt::format("there is no command \"{}\": encode, info, validate and help are", topic));
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
  const auto command = [&app](const char* name, const char* usage, const char* notes) {
    CLI::App* const added = app.add_subcommand(name, usage);
    added->footer(notes);
    return added;
  };
  DeclareEncode(*command("encode", kEncodeUsage, kEncodeNotes), options);
  CLI::App* const info = command("info", kInfoUsage, "");
  DeclareInfo(*info, options);
  CLI::App* const validate = command("validate", kValidateUsage, kValidateNotes);
  DeclareValidate(*validate, options.validate);
  CLI::App* const help = command("help", kEncodeUsage, "");
  help->add_option("COMMAND", topic);
  help->set_help_flag();

  const Arguments arguments(app, argc, argv);
  try {
    app.parse(arguments.Reversed());
  } catch (const CLI::CallForHelp&) {
    PrintHelp(app, arguments.Command().get_name());
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
    options.module = Module::DefaultPath();
  }
  if (info->parsed()) {
    options.action = Action::kShowInfo;
  } else if (validate->parsed()) {
    options.action = Action::kValidate;
  } else {
    CompleteEncodeOptions(options);
  }
  return options;
}
