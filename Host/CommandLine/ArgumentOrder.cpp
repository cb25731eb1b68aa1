#include "Host/CommandLine/ArgumentOrder.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <utility>

namespace {

/// Reads the arguments from front to back, once. The arguments must outlive the object.
class ArgumentOrder {
 public:
  ArgumentOrder(const std::vector<std::string>& arguments, const CommandOptions& commands, std::string defaultCommand)
      : m_next(arguments.begin()), m_end(arguments.end()), m_commands(commands) {
    m_ordered.command = std::move(defaultCommand);
  }

  /// To be called once.
  OrderedArguments Order() {
    while (m_next != m_end) {
      AddNext();
    }
    // Only now: the command may stand behind its options.
    for (const std::string& option : m_ordered.options) {
      if (!m_commands.at(m_ordered.command).contains(option)) {
        throw WrongUse(fmt::format("\"rhohost {}\" has no option {}", m_ordered.command, option));
      }
    }
    return std::move(m_ordered);
  }

 private:
  void AddNext() {
    const std::string& text = *m_next++;
    // "-" alone is a standard stream.
    if (m_areOptionsOver || text == "-" || !text.starts_with('-')) {
      AddFile(text);
    } else if (text == "--") {
      m_areOptionsOver = true;
      m_ordered.arguments.push_back(text);
    } else if (text.starts_with("--")) {
      AddLong(text);
    } else {
      AddShort(text);
    }
  }

  void AddFile(const std::string& text) {
    // After "--" everything is a file, even what has the name of a command.
    const bool isFirst = !std::exchange(m_hasFiles, true);
    if (isFirst && !m_areOptionsOver && m_commands.contains(text)) {
      m_ordered.command = text;
      return;
    }
    // CLI11 takes "[A,B]" for a list.
    const bool isList = text.starts_with('[') && text.ends_with(']');
    m_ordered.arguments.push_back(isList ? "./" + text : text);
  }

  /// "--quiet", "--jobs=4", or "--jobs" in front of "4"
  void AddLong(const std::string& text) {
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const std::string_view valueName = ValueName(name);
    if (valueName.empty() && equals != std::string::npos) {
      throw WrongUse(fmt::format("{}: takes no value", name));
    }
    if (equals == std::string::npos) {
      m_ordered.arguments.push_back(text);
      AddValue(name, valueName);
    } else {
      m_ordered.arguments.push_back(name);
      m_ordered.arguments.push_back(text.substr(equals + 1));
    }
  }

  /// "-q", "-qf", "-j4", "-qj4", or "-qj" in front of "4"
  void AddShort(const std::string& text) {
    m_ordered.arguments.push_back(text);
    for (std::size_t index = 1; index < text.size(); ++index) {
      const std::string name{'-', text[index]};
      const std::string_view valueName = ValueName(name);
      // The rest of the argument is the value, as CLI11 reads it too.
      if (!valueName.empty() && index + 1 < text.size()) {
        return;
      }
      AddValue(name, valueName);
    }
  }

  /// Takes the next argument as the option's value, whatever it looks like. A flag has an empty `valueName`.
  void AddValue(const std::string& name, std::string_view valueName) {
    if (valueName.empty()) {
      return;
    }
    if (m_next == m_end) {
      throw WrongUse(fmt::format("{}: {} is missing", name, valueName));
    }
    m_ordered.arguments.push_back(*m_next++);
  }

  /// The name of the option's value, empty for a flag, by any command that has it: they all agree. Throws WrongUse if
  /// none has it. Remembers the option for the check in Order.
  std::string_view ValueName(const std::string& option) {
    m_ordered.options.push_back(option);
    for (const auto& [command, options] : m_commands) {
      if (const auto found = options.find(option); found != options.end()) {
        return found->second;
      }
    }
    throw WrongUse(option + ": no such option");
  }

  std::vector<std::string>::const_iterator m_next;
  std::vector<std::string>::const_iterator m_end;
  const CommandOptions& m_commands;
  OrderedArguments m_ordered;
  bool m_hasFiles = false;
  bool m_areOptionsOver = false;
};

}  // namespace

OrderedArguments OrderArguments(const std::vector<std::string>& arguments, const CommandOptions& commands,
                                const std::string& defaultCommand) {
  return ArgumentOrder(arguments, commands, defaultCommand).Order();
}
