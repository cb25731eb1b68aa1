#pragma once

#include <string>
#include <string_view>

/// Text of unknown origin as UTF-8: unchanged when it is UTF-8 already, otherwise each byte is taken for the character
/// of that number (Latin-1), as older programs write them. The result is always valid.
///
///     ToUtf8("Caf\xC3\xA9") == "Caf\xC3\xA9"
///     ToUtf8("Caf\xE9") == "Caf\xC3\xA9"
std::string ToUtf8(std::string_view text);

/// Whether all of `text` is UTF-8, without surrogates and overlong forms.
bool IsUtf8(std::string_view text);
