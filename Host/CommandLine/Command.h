#pragma once

#include "Host/CommandLine/ArgumentOrder.h"
#include "Host/CommandLine/OptionValues.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// A command of the command line: its options and its help. A value is read as soon as it is parsed, so that the first
/// wrong one is the one that is named; of an option that is given twice the last value counts.
///
/// CLI11 is told of an option only where it is used or shown: it compares each new option with all that it knows, which
/// would be a sixth of the instructions that encode a second of sound.
///
/// All texts and references must outlive the command.
class Command {
 public:
  using Read = std::function<void(const char* option, const std::string& text)>;

  /// The help shows `usage` before the options and `notes` after them.
  Command(const char* name, const char* usage, const char* notes) : m_name(name), m_usage(usage), m_notes(notes) {}

  std::string_view Name() const { return m_name; }

  /// The options that follow belong to this group of the help.
  void Group(const char* name) { m_group = name; }

  /// `names` are "-r,--rate", as CLI11 takes them; `type` is how the help names the value.
  void Value(const char* names, const char* type, const char* help, const Read& read);
  void FileName(const char* names, const char* type, std::string& fileName, const char* help);
  void Text(const char* names, const char* type, std::vector<std::string>& texts, const char* help);
  template <class Number>
  void Jobs(Number& jobs, const char* help) {
    Value("-j,--jobs", "NUMBER", help,
          [&jobs](const char* option, const std::string& text) { jobs = ReadCount(option, text, kMostJobs); });
  }

  /// A repeated flag is not an error.
  void Flag(const char* names, bool& flag, const char* help);
  /// Makes `flag` false. The help does not show it.
  void HiddenOpposite(const char* names, bool& flag);
  void Version(const char* text);
  void HelpFlag();

  /// The arguments that are not options: any number of file names, or one.
  void Files(std::vector<std::string>& files);
  void File(std::string& file);

  /// The options with the names of their values, as OrderArguments takes them.
  CommandOptions::mapped_type ValueNames() const;

  /// Reads the arguments into what the options refer to. Returns the text that they ask for instead, which is the help
  /// or the version. Throws WrongUse.
  std::optional<std::string> Parse(const OrderedArguments& arguments) const;

  std::string Help() const;

 private:
  struct Option {
    const char* names;
    const char* type;   // of the value; empty for a flag
    const char* group;  // empty for what the help does not show
    std::function<CLI::Option*(CLI::App& app)> declare;

    /// Each of `names`. File arguments have none.
    std::vector<std::string_view> Names() const;
    /// Whether CLI11 needs it to read these arguments.
    bool IsUsed(const OrderedArguments& arguments) const;
  };

  /// Tells `app` of the options that are used in `arguments`, or of all.
  void Declare(CLI::App& app, const OrderedArguments* arguments) const;

  const char* m_name;
  const char* m_usage;
  const char* m_notes;
  const char* m_group = "Options";
  std::vector<Option> m_options;
};
