#include "Host/CommandLine/EncodingTexts.h"

#include "Host/Audio/SampleConverter.h"
#include "Host/CommandLine/Progress.h"
#include "Host/Text/Messages.h"
#include "Host/Text/Numbers.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace {

/// "PCM, 48000 Hz, 24 bits, Stereo", and the tracks with their names, unless they are too many to read.
std::string FormatText(const std::string& compressor, const EncodingFormat& format,
                       const std::vector<std::string>& trackNames) {
  constexpr std::size_t kMostNames = 16;
  std::string tracks = trackNames.empty() ? "" : fmt::format(" in {} tracks", trackNames.size());
  if (!trackNames.empty() && trackNames.size() <= kMostNames) {
    tracks += fmt::format(" ({})", fmt::join(trackNames, ", "));
  }
  return fmt::format("{}, {} Hz, {} bits, {}{}", compressor, format.sampleRate, format.bits, format.layout,
                     WithoutControls(tracks));
}

/// "resampled from 44100 to 48000 Hz, dithered to 16 bits"; empty for an exact conversion.
std::string ConversionText(const Conversion& conversion, const EncodingFormat& format) {
  std::string text;
  if (conversion.resampledFrom) {
    text = fmt::format("resampled from {} to {} Hz", *conversion.resampledFrom, format.sampleRate);
  }
  if (conversion.ditheredFrom) {
    text += fmt::format("{}dithered to {} bits", text.empty() ? "" : ", ", format.bits);
  }
  return text;
}

/// The tags, chapters and attachments that are kept, and on a line of its own those that are not. Begins with a line
/// feed.
std::string MetadataText(const SoundMetadata& metadata) {
  std::vector<std::string> kept;
  if (!metadata.title.empty()) {
    kept.emplace_back("TITLE");
  }
  for (const SoundMetadata::Tag& tag : metadata.tags) {
    kept.push_back(tag.name);
  }
  if (!metadata.chapters.empty()) {
    kept.push_back(CountText(metadata.chapters.size(), "chapter", "chapters"));
  }
  for (const SoundMetadata::Attachment& attachment : metadata.attachments) {
    kept.push_back(fmt::format("{} ({})", attachment.name, CountText(attachment.bytes.size(), "byte", "bytes")));
  }
  return fmt::format("\nmetadata: {}{}{}",
                     kept.empty() ? "none" : WithoutControls(fmt::format("{}", fmt::join(kept, ", "))),
                     metadata.omitted.empty() ? "" : "\nnot kept: ",
                     WithoutControls(fmt::format("{}", fmt::join(metadata.omitted, ", "))));
}

}  // namespace

Conversion ConversionOf(const FileEncoding& encoding) {
  const SoundFormat& sound = encoding.Sound();
  const EncodingFormat& format = encoding.Format();
  Conversion conversion;
  if (!SampleConverter::IsExact(sound, format.sampleRate, format.bits)) {
    conversion.ditheredFrom = sound.significantBits;
  }
  if (sound.sampleRate != format.sampleRate) {
    conversion.resampledFrom = sound.sampleRate;
  }
  return conversion;
}

EncodedFile DescribeEncoded(const FileEncoding& encoding, const EncodingResult& result, double seconds) {
  return {.input = encoding.Input(),
          .output = encoding.Output(),
          .compressor = encoding.Compressor().GetName(),
          .format = encoding.Format(),
          .trackNames = encoding.TrackNames(),
          .conversion = ConversionOf(encoding),
          .sampleFrames = result.sampleFrames,
          .packets = result.packets,
          .clippedSamples = result.clippedSamples,
          .notes = result.notes,
          .isVerified = encoding.IsToBeVerified(),
          .audioHashes = result.audioHashes,
          .seconds = seconds};
}

std::string PlanText(const FileEncoding& encoding) {
  const SoundFormat& sound = encoding.Sound();
  const std::string conversion = ConversionText(ConversionOf(encoding), encoding.Format());
  return fmt::format(
      "input: {}, {} Hz, {}, {} significant bits, {}\n"
      "conversion: {}\n"
      "encoding: {}, {} bytes per second, {} sample frames per packet{}\n"
      "output: {}, Matroska{}\n",
      WithoutControls(encoding.Input()), sound.sampleRate, CountText(sound.channels, "channel", "channels"),
      sound.significantBits, sound.frames ? TimeText(*sound.frames, sound.sampleRate) : "length unknown",
      conversion.empty() ? "none, samples stay as they are" : conversion,
      FormatText(encoding.Compressor().GetName(), encoding.Format(), encoding.TrackNames()),
      encoding.Compressor().GetDataRate() * std::max<std::size_t>(1, encoding.TrackNames().size()),
      encoding.SampleFramesPerPacket(), MetadataText(encoding.OutputMetadata()), WithoutControls(encoding.Output()),
      encoding.IsToBeVerified() ? ", to be verified" : "");
}

std::string SummaryText(const EncodedFile& file) {
  const std::string conversion = ConversionText(file.conversion, file.format);
  const std::string notes = NotesText(file);
  return fmt::format("{}: {}, {} in {}, {}{:.0f} x real time{}{}", file.output == "-" ? "standard output" : file.output,
                     FormatText(file.compressor, file.format, file.trackNames),
                     TimeText(file.sampleFrames, file.format.sampleRate), CountText(file.packets, "packet", "packets"),
                     file.isVerified ? "verified, " : "", file.seconds > 0 ? file.SoundSeconds() / file.seconds : 0,
                     conversion.empty() ? "" : "; " + conversion, notes.empty() ? "" : "; " + notes);
}

std::string NotesText(const EncodedFile& file) {
  std::string text;
  if (file.clippedSamples != 0) {
    text = CountText(file.clippedSamples, "sample was", "samples were") + " beyond full scale and clipped";
  }
  for (const std::string& note : file.notes) {
    text += (text.empty() ? "" : "; ") + note;
  }
  return text;
}
