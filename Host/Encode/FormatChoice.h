#pragma once

/// Which sample rate, sample size and channel layout an encoding has. What is possible is asked of the compressor's
/// setting objects; this file only knows how to choose among it.

#include "Host/Encode/SoundFormat.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <optional>
#include <string>

/// What the user asked for; empty where the choice is left to the program.
struct RequestedFormat {
  std::optional<unsigned int> sampleRate;
  std::optional<unsigned int> bits;
  std::optional<std::string> layout;
};

/// The settings as they have come to stand.
struct EncodingFormat {
  unsigned int sampleRate = 0;
  unsigned int bits = 0;
  unsigned int channels = 0;
  std::string layout;                              ///< name of the channel layout, as in "5.1"
  EAudioFormatType sampleType = kAudioFormatNone;  ///< how input records name samples of that size

  unsigned int BytesPerSampleFrame() const { return bits / 8 * channels; }
};

/// Chooses a format for `source`, puts it into the compressor's settings and validates them. Where nothing is wished
/// for: the source's rate, 24 bits if it has more than 16 significant ones and else 16, and the default layout of its
/// number of channels. Without a source (null): what the settings hold.
///
/// A value that the compressor does not allow is refused with its setting's label, the value and the values allowed,
/// and where there is one, a hint: "Sample Rate: allowed are 8000, [...] and 96000, not 192000 Hz: try --rate 96000".
/// So is a layout whose number of channels is not the source's, since channels are never mixed. Throws WrongUse when
/// the value was wished for; Failure when it is the source's, whose name then goes in front, and when the compressor
/// lacks a setting or does not keep to what it allows.
EncodingFormat ChooseFormat(IAudioCompressor& compressor, const RequestedFormat& requested, const SoundFormat* source);
