#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The options of each command: "--rate" and "-r" with the name of their value, "HZ", or nothing for a flag. An option
/// takes a value in all commands that have it, or in none.
using CommandOptions = std::map<std::string_view, std::map<std::string_view, std::string_view>>;

/// Arguments in the order that CLI11 understands.
struct OrderedArguments {
  std::string command;
  std::vector<std::string> arguments;  ///< options and their values as separate arguments, and file names
  std::vector<std::string> options;    ///< the names of the options among them, such as "--rate"
};

/// Orders the arguments for CLI11, and writes file names so that it takes them for nothing else.
///
/// The command is the first argument that is neither an option nor the value of one; `defaultCommand` where that is no
/// command's name. What follows "--" is neither a command nor an option.
///   {"--quiet", "validate", "--jobs=4", "m.so"} -> "validate" with {"--quiet", "--jobs", "4", "m.so"}
///
/// Throws WrongUse for an option that the command does not have, and for a value that is missing.
OrderedArguments OrderArguments(const std::vector<std::string>& arguments, const CommandOptions& commands,
                                const std::string& defaultCommand);
