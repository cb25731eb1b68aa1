#pragma once

/// The sample rate, sample size and channel layout of an encoding.

#include "Host/Encode/SoundFormat.h"
#include "Host/Settings/Preset.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <string>

/// A format as a compressor's settings hold it.
struct EncodingFormat {
  unsigned int sampleRate = 0;  ///< sample frames per second
  unsigned int bits = 0;        ///< per sample
  unsigned int channels = 0;
  std::string layout;                              ///< name of the channel layout, as in "5.1"
  EAudioFormatType sampleType = kAudioFormatNone;  ///< how input records name samples of that size

  unsigned int BytesPerSampleFrame() const { return bits / 8 * channels; }
};

/// What messages put in front of a value that they suggest; a command line names its option.
struct SuggestionPrefixes {
  const char* sampleRate = "try ";
  const char* bits = "try ";
  const char* layout = "try ";
  const char* split = "";  ///< for channels that no layout takes; a whole suggestion
};

/// Whether the compressor allows the layout that follows from the channels of `source`.
bool HasLayoutFor(IAudioCompressor& compressor, const SoundFormat& source);

/// Completes the compressor's settings for `source` and validates them. Settings that are not among the choices follow
/// from the source: its rate, 24 bits if it has more than 16 significant ones and else 16, and the default layout of
/// its number of channels. Without a source (null) the settings keep their values.
///
/// A source that states which speakers its channels are for must have the default layout, or the layout must be among
/// the choices. Channels are never mixed: a layout whose number of channels is not the source's is refused. Throws
/// Failure that begins with the source's name for a property of the source that the compressor does not allow: "in.wav:
/// Sample Rate: allowed are 8000, [...] and 96000, not 192000 Hz: try 96000"; WrongUse for a chosen layout that does
/// not fit the source; Failure if the compressor lacks one of the three settings or does not keep to a value that it
/// allows.
EncodingFormat ChooseFormat(IAudioCompressor& compressor, const SoundFormat* source, const Choices& choices = {},
                            const SuggestionPrefixes& suggestions = {});
