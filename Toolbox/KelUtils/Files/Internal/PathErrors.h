#pragma once

/// Errors with fixed texts that several topics throw.

#include <stdexcept>
#include <string>

/// The text: COMPLAINT "PATH".
inline std::runtime_error PathError(const char* complaint, const std::string& path) {
  return std::runtime_error(std::string(complaint).append(" \"").append(path).append("\""));
}

/// The documented text for a file that cannot be opened.
inline std::runtime_error FailedToOpen(const std::string& path) {
  return std::runtime_error("failed to open \"" + path + "\", check read/write privileges.");
}
