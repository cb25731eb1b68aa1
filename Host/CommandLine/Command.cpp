#include "Host/CommandLine/Command.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <sstream>

namespace {

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

}  // namespace

void Command::Value(const char* names, const char* type, const char* help, const Read& read) {
  m_options.push_back({names, type, m_group, [names, help, read](CLI::App& app) {
                         // The long name is what messages call the option.
                         const std::string name = std::string(names).substr(std::string_view(names).find("--"));
                         return app
                             .add_option_function<std::string>(
                                 names, [read, name](const std::string& text) { read(name.c_str(), text); }, help)
                             ->trigger_on_parse();
                       }});
}

void Command::FileName(const char* names, const char* type, std::string& fileName, const char* help) {
  Value(names, type, help,
        [&fileName](const char* option, const std::string& text) { fileName = ReadFileName(option, text); });
}

void Command::Text(const char* names, const char* type, std::vector<std::string>& texts, const char* help) {
  Value(names, type, help, [&texts](const char*, const std::string& text) { texts.push_back(text); });
}

void Command::Flag(const char* names, bool& flag, const char* help) {
  m_options.push_back({names, "", m_group, [names, &flag, help](CLI::App& app) {
                         return app.add_flag(names, flag, help)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
                       }});
}

void Command::HiddenOpposite(const char* names, bool& flag) {
  m_options.push_back({names, "", "", [names, &flag](CLI::App& app) {
                         return app.add_flag_callback(names, [&flag] { flag = false; });
                       }});
}

void Command::Version(const char* text) {
  m_options.push_back({"--version", "", m_group, [text](CLI::App& app) {
                         return app.set_version_flag("--version", text, "Show the version and end");
                       }});
}

void Command::HelpFlag() {
  m_options.push_back({"-h,--help", "", m_group,
                       [](CLI::App& app) { return app.set_help_flag("-h,--help", "Show this help and end"); }});
}

void Command::Files(std::vector<std::string>& files) {
  m_options.push_back({"FILES", "FILES", "", [&files](CLI::App& app) { return app.add_option("FILES", files); }});
}

void Command::File(std::string& file) {
  m_options.push_back({"FILE", "FILE", "", [&file](CLI::App& app) { return app.add_option("FILE", file); }});
}

CommandOptions::mapped_type Command::ValueNames() const {
  CommandOptions::mapped_type valueNames;
  for (const Option& option : m_options) {
    for (const std::string_view name : option.Names()) {
      valueNames[name] = option.type;
    }
  }
  return valueNames;
}

std::optional<std::string> Command::Parse(const OrderedArguments& arguments) const {
  CLI::App app(m_usage, m_name);
  Declare(app, &arguments);
  // CLI11 takes a vector of arguments in reverse order.
  std::vector<std::string> reversed(arguments.arguments.rbegin(), arguments.arguments.rend());
  try {
    app.parse(reversed);
    return std::nullopt;
  } catch (const CLI::CallForHelp&) {
    // CLI11 throws for --help and --version, which are not errors.
    return Help();
  } catch (const CLI::CallForVersion& version) {
    return std::string(version.what()) + "\n";
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
  }
}

std::string Command::Help() const {
  // The usage text is the description: HelpFormatter shows it before the options, the notes after them.
  CLI::App app(m_usage, m_name);
  app.footer(m_notes);
  app.formatter(std::make_shared<HelpFormatter>());
  Declare(app, nullptr);
  return app.help();
}

std::vector<std::string_view> Command::Option::Names() const {
  std::vector<std::string_view> each;
  std::string_view rest = names;
  while (rest.starts_with('-')) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    each.push_back(rest.substr(0, comma));
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return each;
}

bool Command::Option::IsUsed(const OrderedArguments& arguments) const {
  const std::vector<std::string_view> own = Names();
  return own.empty() ||
         std::find_first_of(own.begin(), own.end(), arguments.options.begin(), arguments.options.end()) != own.end();
}

void Command::Declare(CLI::App& app, const OrderedArguments* arguments) const {
  // The one that an App has from the start.
  app.set_help_flag();
  for (const Option& option : m_options) {
    if (arguments == nullptr || option.IsUsed(*arguments)) {
      // An empty type name keeps CLI11 from showing one.
      option.declare(app)->type_name(option.type)->group(option.group);
    }
  }
}
