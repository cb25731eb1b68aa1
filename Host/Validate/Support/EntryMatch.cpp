#include "Host/Validate/Support/EntryMatch.h"

#include "RHOAPI/RhoapiSettingsInterface.h"

#include <algorithm>
#include <set>

namespace {

/// How well a text matches an entry, worst first. kPrefix: either one begins with the other, letter case ignored.
enum class Likeness { kNone, kPrefix, kOtherCase, kEqual };

/// The text with `change`, tolower or toupper, applied to each byte. The cast is needed: negative values other than EOF
/// are undefined for both.
std::string Changed(std::string text, int (*change)(int)) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [change](char character) { return static_cast<char>(change(static_cast<unsigned char>(character))); });
  return text;
}

Likeness Compare(const std::string& entry, const std::string& text) {
  const std::string lowerEntry = Changed(entry, tolower);
  const std::string lowerText = Changed(text, tolower);
  if (lowerEntry == lowerText) {
    return entry == text ? Likeness::kEqual : Likeness::kOtherCase;
  }
  return lowerEntry.starts_with(lowerText) || lowerText.starts_with(lowerEntry) ? Likeness::kPrefix : Likeness::kNone;
}

/// The best match of the text among the entries.
Likeness BestOf(const std::vector<std::string>& entries, const std::string& text) {
  Likeness best = Likeness::kNone;
  for (const std::string& entry : entries) {
    best = std::max(best, Compare(entry, text));
  }
  return best;
}

}  // namespace

std::vector<std::string> EntriesOf(IEnumSetting& setting) {
  std::vector<std::string> entries;
  for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
    entries.emplace_back(setting.GetAllowableValue(index));
  }
  return entries;
}

std::vector<std::string> MatchesOf(const std::vector<std::string>& entries, const std::string& text) {
  std::vector<std::string> matches;
  if (const Likeness best = BestOf(entries, text); best != Likeness::kNone) {
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(matches),
                 [&](const std::string& entry) { return Compare(entry, text) == best; });
  }
  return matches;
}

std::size_t MatchOf(const std::vector<std::string>& entries, const std::string& text) {
  const Likeness best = BestOf(entries, text);
  const auto matches = [&](const std::string& entry) { return Compare(entry, text) == best; };
  if (best == Likeness::kNone) {
    return entries.size();
  }
  if (best == Likeness::kPrefix) {
    // As RhoapiSettings.h does: of several entries with the prefix, the last one is selected.
    const auto last = std::find_if(entries.rbegin(), entries.rend(), matches);
    return static_cast<std::size_t>(entries.rend() - last) - 1;
  }
  return static_cast<std::size_t>(std::find_if(entries.begin(), entries.end(), matches) - entries.begin());
}

std::vector<std::string> TextsToMatch(const std::vector<std::string>& entries) {
  // "\xE9" is a lone byte of Latin-1, negative where char is signed.
  std::set<std::string> texts{"", "?", "?? no such entry ??", "\xE9", std::string(1000, 'x')};
  for (const std::string& entry : entries) {
    for (const std::string& spelled : {entry, Changed(entry, tolower), Changed(entry, toupper)}) {
      for (std::size_t size = 0; size <= spelled.size(); ++size) {
        texts.insert({spelled.substr(0, size), spelled.substr(0, size) + '~'});
      }
      texts.insert(
          {spelled + " x", spelled + '0', ' ' + spelled, '0' + spelled, spelled.substr(spelled.empty() ? 0 : 1)});
    }
  }
  return {texts.begin(), texts.end()};
}
