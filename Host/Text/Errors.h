#pragma once

/// Exceptions that end the program or one piece of its work. The text is for the user: it names the file, the action
/// that failed and the reason, without the program's name and without a full stop.

#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

/// The work failed: exit code 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The program was used wrongly: exit code 2.
class WrongUse : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The Failure of a system call on a file, with its errno: "PATH: cannot ACTION: No space left on device".
inline Failure SystemFailure(std::string_view path, std::string_view action, int error) {
  std::string text(path);
  text.append(": cannot ").append(action).append(": ").append(std::generic_category().message(error));
  return Failure{text};
}
