#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Two digits a byte, in lower case: HexText({{0x0A, 0xFF}}) == "0aff".
std::string HexText(std::span<const unsigned char> bytes);

/// The bytes that `text` stands for; nothing when it is not pairs of hexadecimal digits, of either case.
std::optional<std::vector<unsigned char>> ParseHex(std::string_view text);
