#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A character at the beginning of a text.
struct Utf8Character {
  char32_t codePoint = 0;
  std::size_t length = 0;  ///< in bytes
  bool isValid = true;     ///< false for a byte that begins no valid sequence: U+FFFD, length 1
};

/// Decodes the first character of `text`, which is not empty. Surrogates, overlong forms and code points beyond
/// U+10FFFF are invalid.
Utf8Character FirstCharacter(std::string_view text);

/// Whether all of `text` is valid UTF-8.
bool IsUtf8(std::string_view text);

/// Text of unknown encoding as UTF-8: unchanged if it is valid UTF-8, otherwise decoded as Latin-1, which older
/// programs write. The result is always valid.
///
///     ToUtf8("Caf\xC3\xA9") == "Caf\xC3\xA9"
///     ToUtf8("Caf\xE9") == "Caf\xC3\xA9"
std::string ToUtf8(std::string_view text);

/// The longest beginning of `text` that has at most `size` bytes and does not end inside a character. Invalid bytes
/// count as characters.
///
///     CutToBytes("Caf\xC3\xA9", 4) == "Caf"
std::string_view CutToBytes(std::string_view text, std::size_t size);

/// The longest beginning of `text` that takes at most `columns` columns of a terminal: two for wide characters, as in
/// Chinese, none for combining ones.
std::string_view CutToColumns(std::string_view text, std::size_t columns);

/// The columns that `text` takes on a terminal.
std::size_t CountColumns(std::string_view text);

/// `text` as a message quotes it: a text of more than 100 bytes is cut and ends with "...".
std::string Abbreviated(std::string_view text);
