#pragma once

/// Numbers as text, independent of the locale.

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// The number that all of `text` represents; nothing when it is not a number or out of range.
///   ParseNumber<unsigned int>("48000") == 48000; nothing for "", " 1", "+1", "-1", "0x10" and "4294967296"
template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && read == end ? std::optional(number) : std::nullopt;
}

/// The shortest text that ParseNumber converts back into the same number.
///   NumberText(0.1) == "0.1"
template <class Number>
std::string NumberText(Number number) {
  std::array<char, 64> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), error == std::errc() ? end : buffer.data()};
}

/// A number of things: CountText(1, "file", "files") == "1 file", CountText(3, "file", "files") == "3 files".
inline std::string CountText(unsigned long long number, std::string_view singular, std::string_view plural) {
  return NumberText(number).append(" ").append(number == 1 ? singular : plural);
}
