#pragma once

/// How the entries of an enumeration are found by text: the rule that IEnumSetting::SetValue states.

#include <string>
#include <vector>

class IEnumSetting;

std::vector<std::string> EntriesOf(IEnumSetting& setting);

/// The entries that `text` may select: all that equal it, else all that equal it but for letter case, else all that
/// have it as prefix or are a prefix of it, letter case ignored. Empty when nothing matches. First and last tell which
/// one it is where the rule for several is known: the first of equal ones, the last by prefix.
std::vector<std::string> MatchesOf(const std::vector<std::string>& entries, const std::string& text);

/// The one of them that the settings of RhoapiSettings.h select; an index, or the number of entries for none.
std::size_t MatchOf(const std::vector<std::string>& entries, const std::string& text);

/// Texts that tell right from wrong matching: the entries in each letter case, shortened, with more behind them, with
/// something else in front, the empty text, and one like no entry.
std::vector<std::string> TextsToMatch(const std::vector<std::string>& entries);
