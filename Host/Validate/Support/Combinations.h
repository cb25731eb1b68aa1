#pragma once

/// Combinations of settings to try a compressor with: all at their lowest, all at their highest, and random ones.

#include <string>
#include <utility>
#include <vector>

class IAudioCompressor;

struct Combination {
  std::string name;                                         ///< "random settings 17", for reports
  std::vector<std::pair<std::string, std::string>> values;  ///< setting and value

  /// Sets what of it the compressor takes, and validates the settings. The same values give every new compressor of one
  /// module the same settings.
  void ApplyTo(IAudioCompressor& compressor) const;

  /// Whether all its settings have their values.
  bool IsIn(IAudioCompressor& compressor) const;
};

/// The lowest, the highest, and `randomOnes` random ones. Files are left as they are: they might be written to.
std::vector<Combination> CombinationsOf(IAudioCompressor& compressor, unsigned int randomOnes);
