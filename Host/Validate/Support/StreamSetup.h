#pragma once

/// What a compressor is set to before its runs: settings, hints and packet type, the same each time.

#include "Host/Encode/EncodingFormat.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Combinations.h"

#include <functional>
#include <span>
#include <string>

struct StreamSetup {
  std::string name;  ///< for reports: "random settings 7 (8000 Hz, 16 bits, Mono, 24 packets a second, seed 4711)"
  Combination settings;
  double framesPerSecond = 30;
  EncodingFormat format;
  /// Packets are to be of linear PCM: they carry the input's bytes unchanged, each those of one video frame.
  bool isLinearPcm = false;

  void ApplySettingsTo(IAudioCompressor& compressor) const;
  void ApplyHintsTo(IAudioCompressor& compressor) const;
  /// Both, in that order.
  void ApplyTo(IAudioCompressor& compressor) const;
  /// A new compressor set up like this.
  CompressorOwner NewCompressor(const CheckedModule& module) const;

  /// A record that describes these bytes as input; by default none. The record is plain for both directions: a
  /// compressor only reads its input.
  KelAudio_t InputRecord(std::span<const unsigned char> bytes = {}) const;

  /// `size` without a trailing part of a sample frame.
  std::size_t WholeBytes(std::size_t size) const { return size - size % format.BytesPerSampleFrame(); }

  /// Sample frames of a packet of linear PCM, but for a shorter last one.
  std::size_t SampleFramesPerPacket() const;
  /// Enough sample frames for some packets and a part of one.
  std::size_t SomeSampleFrames() const;
};

/// What a compressor is set to by itself. Skips the check when it does not take input by that.
StreamSetup DefaultSetup(const CheckedModule& module);

/// Every combination of a sample rate that the compressor offers and a usual frame rate, with its other settings in
/// turn, by what it says of itself. Skips the check when it takes none.
void ForEachRate(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check);

/// Calls `check` for the lowest settings, the highest and fifty random ones, those that the compressor takes together.
/// Skips the check when it takes none.
void ForEachSetup(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check);

/// Skips the check unless packets are of linear PCM.
void OnlyForLinearPcm(const StreamSetup& setup);

/// A status as people look it up: "status 80010002".
std::string StatusText(RhoStatus status);
