#pragma once

/// The samples that a host hands to an encoder: how they are represented in memory, and what is known of the whole.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// How samples lie in memory, always in the machine's byte order.
enum class SampleType {
  kInt16,   ///< std::int16_t
  kInt32,   ///< std::int32_t, left-justified: a 24-bit sample fills the upper three bytes, the lowest is zero
  kFloat,   ///< float, full scale is -1 to 1
  kDouble,  ///< double, full scale is -1 to 1
};

/// Bytes of one sample.
constexpr std::size_t SizeOf(SampleType type) {
  switch (type) {
    case SampleType::kInt16:
      return sizeof(std::int16_t);
    case SampleType::kInt32:
      return sizeof(std::int32_t);
    case SampleType::kFloat:
      return sizeof(float);
    case SampleType::kDouble:
      break;
  }
  return sizeof(double);
}

struct SoundFormat {
  std::string name;             ///< how messages name the sound: its path, "standard input", "test signal"
  unsigned int sampleRate = 0;  ///< sample frames per second, at least 1
  unsigned int channels = 0;    ///< interleaved channels, at least 1
  SampleType sampleType = SampleType::kInt16;

  /// Bits that a sample needs to lose nothing: 16 for whatever has 16 or fewer (A-law and ADPCM too), 20, 24 or 32 for
  /// integers, 24 for float and what lossy formats decode to, 53 for double.
  unsigned int significantBits = 16;

  /// Which speakers the channels are for: bits of a WAV channel mask, lowest first, or 0 where the file says that they
  /// are for none. Nothing where the file does not say; then the layout follows from the number of channels.
  std::optional<std::uint32_t> speakers{};

  /// Sample frames in all; unknown for a pipe whose writer could not tell, and for a few compressed streams.
  std::optional<std::uint64_t> frames;
};

/// Some sample frames of a sound in its own format, channels interleaved. The maker of the block owns the memory.
struct SampleBlock {
  const void* samples = nullptr;  ///< frames × channels samples of the format's type, aligned for it
  std::size_t frames = 0;
};
