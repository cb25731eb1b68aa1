#include "Host/Audio/RawFormat.h"

#include "Host/Text/Numbers.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <algorithm>
#include <array>

namespace {

/// How --raw names a sample encoding, libsndfile's number for it, and the bytes of a sample.
struct Encoding {
  std::string_view name;
  int format;
  unsigned int sampleSize;
};

constexpr int kLittle = SF_ENDIAN_LITTLE;
constexpr int kBig = SF_ENDIAN_BIG;

constexpr std::array<Encoding, 14> kEncodings{{
    {"u8", SF_FORMAT_PCM_U8, 1},
    {"s8", SF_FORMAT_PCM_S8, 1},
    {"s16le", SF_FORMAT_PCM_16 | kLittle, 2},
    {"s16be", SF_FORMAT_PCM_16 | kBig, 2},
    {"s24le", SF_FORMAT_PCM_24 | kLittle, 3},
    {"s24be", SF_FORMAT_PCM_24 | kBig, 3},
    {"s32le", SF_FORMAT_PCM_32 | kLittle, 4},
    {"s32be", SF_FORMAT_PCM_32 | kBig, 4},
    {"f32le", SF_FORMAT_FLOAT | kLittle, 4},
    {"f32be", SF_FORMAT_FLOAT | kBig, 4},
    {"f64le", SF_FORMAT_DOUBLE | kLittle, 8},
    {"f64be", SF_FORMAT_DOUBLE | kBig, 8},
    {"alaw", SF_FORMAT_ALAW, 1},
    {"mulaw", SF_FORMAT_ULAW, 1},
}};

}  // namespace

std::optional<RawFormat> ParseRawFormat(std::string_view text) {
  // The limits keep all products of these numbers within the types that hold them.
  constexpr unsigned int kMostChannels = 256;
  constexpr unsigned int kHighestRate = 10'000'000;
  const std::size_t first = text.find(':');
  // A search from npos finds nothing, so a text without a colon has no second one either.
  const std::size_t second = text.find(':', first == std::string_view::npos ? first : first + 1);
  if (second == std::string_view::npos) {
    return std::nullopt;
  }
  const auto rate = ParseNumber<unsigned int>(text.substr(0, first));
  const auto channels = ParseNumber<unsigned int>(text.substr(second + 1));
  const std::string_view name = text.substr(first + 1, second - first - 1);
  const auto* const encoding =
      std::find_if(kEncodings.begin(), kEncodings.end(), [name](const Encoding& known) { return known.name == name; });
  if (!rate || *rate == 0 || *rate > kHighestRate || !channels || *channels == 0 || *channels > kMostChannels ||
      encoding == kEncodings.end()) {
    return std::nullopt;
  }
  return RawFormat{*rate, *channels, encoding->format | SF_FORMAT_RAW, encoding->sampleSize * *channels};
}

std::string RawFormatNames() {
  std::string names;
  for (const Encoding& encoding : kEncodings) {
    const bool isLast = &encoding == &kEncodings.back();
    names += fmt::format("{}{}", names.empty() ? "" : isLast ? " and " : ", ", encoding.name);
  }
  return names;
}
