#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Two lower-case digits per byte: HexText({{0x0A, 0xFF}}) == "0aff".
std::string HexText(std::span<const unsigned char> bytes);

/// The bytes that the hexadecimal digits, of either case, stand for; nothing when `text` is not pairs of them.
std::optional<std::vector<unsigned char>> ParseHex(std::string_view text);
