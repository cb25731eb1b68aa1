#pragma once

/// Numbers as text, in plain notation whatever the locale: what options and settings are written in.

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// The number that `text` is as a whole; nothing when it is none or does not fit.
///   ParseNumber<unsigned int>("48000") == 48000; nothing for "", " 1", "+1", "-1", "0x10" and "4294967296"
template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && read == end ? std::optional(number) : std::nullopt;
}

/// The shortest text that ParseNumber turns into the same number again.
///   NumberText(0.1) == "0.1"
template <class Number>
std::string NumberText(Number number) {
  std::array<char, 64> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), error == std::errc() ? end : buffer.data()};
}
