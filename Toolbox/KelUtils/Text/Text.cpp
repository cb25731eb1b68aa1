#include "Toolbox/KelUtils/Text/Text.h"

#include "Toolbox/KelUtils/Platform/Internal/Platform.h"
#include "Toolbox/KelUtils/Text/Internal/LowerByte.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

// Whether the bytes at `at`, at least as many as `what` has, begin with it. For short texts a loop is faster than a
// call of memcmp.
bool BeginsWith(const char* at, const std::string& what) {
  constexpr std::size_t kShort = 16;
  if (what.size() > kShort) {
    return std::memcmp(at, what.data(), what.size()) == 0;
  }
  const auto same = [](char left, char right) { return left == right; };
  return std::equal(what.begin(), what.end(), at, same);
}

// The first occurrence of `what`, which is not empty, in begin to end; `end` when there is none.
//
// Searching for the first byte alone is fastest while most of the places found are matches. After several that are not,
// FindBytes searches the rest: it takes longer to start but is linear for every text.
const char* FindText(const char* begin, const char* end, const std::string& what) {
  constexpr int kAttempts = 16;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const auto left = static_cast<std::size_t>(end - begin);
    if (left < what.size()) {
      return end;
    }
    if (*begin != what.front()) {
      // `what` fits only in front of its own length before the end.
      begin = static_cast<const char*>(std::memchr(begin, what.front(), left - what.size() + 1));
      if (begin == nullptr) {
        return end;
      }
    }
    if (BeginsWith(begin, what)) {
      return begin;
    }
    ++begin;
  }
  const std::size_t found = FindBytes({begin, static_cast<std::size_t>(end - begin)}, what);
  return found == std::string_view::npos ? end : begin + found;
}

/// Bit 0x20 alone distinguishes the case of ASCII letters. The range excludes other pairs that differ in it, such as
/// "[" and "{".
bool EqualButForAsciiCase(char left, char right) {
  constexpr unsigned int kCaseBit = 0x20;
  const unsigned int folded = static_cast<unsigned char>(left) | kCaseBit;
  return left == right || (folded >= 'a' && folded <= 'z' && folded == (static_cast<unsigned char>(right) | kCaseBit));
}

}  // namespace

std::string KelReplace(std::string const& text, std::string const& what, std::string const& with) {
  const char* rest = text.data();
  const char* const end = rest + text.size();
  const char* match = what.empty() ? end : FindText(rest, end, what);
  if (match == end) {
    return text;
  }
  // Unused capacity costs nothing, while a result that outgrows its capacity is copied.
  std::string replaced;
  replaced.reserve(text.size() + text.size() / 8);
  for (; match != end; match = FindText(rest, end, what)) {
    if (match != rest) {
      replaced.append(rest, match);
    }
    replaced.append(with);
    rest = match + what.size();
  }
  return replaced.append(rest, end);
}

std::string KelToLowerCase(char const* begin, char const* end) {
  if (begin == nullptr || begin >= end) {
    return {};
  }
  std::string lower(begin, end);
  std::transform(lower.begin(), lower.end(), lower.begin(), LowerByte);
  return lower;
}

std::string KelToLowerCase(std::string const& text) { return KelToLowerCase(text.data(), text.data() + text.size()); }

std::string KelToLowerCase(char const* text) {
  const std::string_view view = OrEmpty(text);
  return KelToLowerCase(view.data(), view.data() + view.size());
}

template <>
bool KelStrMatchTail<char>(char const* text, char const* tail, bool ignoreCase) {
  const std::string_view whole = OrEmpty(text);
  const std::string_view wanted = OrEmpty(tail);
  if (wanted.size() > whole.size()) {
    return false;
  }
  const std::string_view last = whole.substr(whole.size() - wanted.size());
  return last == wanted || (ignoreCase && std::equal(last.begin(), last.end(), wanted.begin(), EqualButForAsciiCase));
}

template <>
int KelConvertToScalar<int>(char const* text) {
  // strtol limits to the range of long, which may be wider than int.
  const long number = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
  return static_cast<int>(std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}
