#pragma once

/// Texts about the encoding of one file.

#include "Host/Encode/EncodingFormat.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class FileEncoding;
struct EncodingResult;

/// How the samples are converted; empty when they do not change.
struct Conversion {
  std::optional<unsigned int> resampledFrom;  ///< the input's sample rate
  std::optional<unsigned int> ditheredFrom;   ///< the significant bits of the input, or of what it was resampled to
};

/// A file that has been encoded.
struct EncodedFile {
  std::string input;
  std::string output;
  std::string compressor;               ///< name
  EncodingFormat format;                ///< of each track
  std::vector<std::string> trackNames;  ///< FileEncoding::TrackNames
  Conversion conversion;
  std::uint64_t sampleFrames = 0;
  std::uint64_t packets = 0;
  std::uint64_t clippedSamples = 0;
  std::vector<std::string> notes;  ///< SoundSource::Notes
  bool isVerified = false;
  std::vector<std::uint64_t> audioHashes;  ///< EncodingResult::audioHashes
  double seconds = 0;                      ///< that the encoding took

  double SoundSeconds() const { return static_cast<double>(sampleFrames) / format.sampleRate; }
};

Conversion ConversionOf(const FileEncoding& encoding);

EncodedFile DescribeEncoded(const FileEncoding& encoding, const EncodingResult& result, double seconds);

/// The plan of an encoding in lines: input, conversion, encoding, metadata and output.
std::string PlanText(const FileEncoding& encoding);

/// One line without a line feed: output, format, length, speed, conversions and what NotesText says.
std::string SummaryText(const EncodedFile& file);

/// Losses and gaps, as in "3 samples were beyond full scale and clipped"; empty when there are none.
std::string NotesText(const EncodedFile& file);
