#include "Host/CommandLine/EncodingTexts.h"

#include "Host/Audio/SampleConverter.h"
#include "Host/CommandLine/Progress.h"
#include "Host/Text/Messages.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>

#include <vector>

namespace {

std::string FormatText(const FileEncoding& encoding) {
  const EncodingFormat& format = encoding.Format();
  return fmt::format("{}, {} Hz, {} bits, {}", encoding.Compressor().GetName(), format.sampleRate, format.bits,
                     format.layout);
}

void Append(std::string& list, const std::string& item) {
  if (!item.empty()) {
    list += (list.empty() ? "" : "; ") + item;
  }
}

/// What is kept of the tags, chapters and attachments, and on a line of its own what is not.
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
  return {.isResampled = sound.sampleRate != format.sampleRate,
          .isDithered = !SampleConverter::IsExact(sound, format.sampleRate, format.bits)};
}

std::string ConversionText(const FileEncoding& encoding) {
  const Conversion conversion = ConversionOf(encoding);
  std::string text;
  if (conversion.isResampled) {
    text = fmt::format("resampled from {} to {} Hz", encoding.Sound().sampleRate, encoding.Format().sampleRate);
  }
  if (conversion.isDithered) {
    text += fmt::format("{}dithered to {} bits", text.empty() ? "" : ", ", encoding.Format().bits);
  }
  return text;
}

std::string PlanText(const FileEncoding& encoding) {
  const SoundFormat& sound = encoding.Sound();
  const std::string conversion = ConversionText(encoding);
  return fmt::format(
      "input: {}, {} Hz, {}, {} significant bits, {}\n"
      "conversion: {}\n"
      "encoding: {}, {} bytes per second, {} sample frames per packet{}\n"
      "output: {}, Matroska{}\n",
      WithoutControls(encoding.Input()), sound.sampleRate, CountText(sound.channels, "channel", "channels"),
      sound.significantBits, sound.frames ? TimeText(*sound.frames, sound.sampleRate) : "length unknown",
      conversion.empty() ? "none, samples stay as they are" : conversion, FormatText(encoding),
      encoding.Compressor().GetDataRate(), encoding.SampleFramesPerPacket(), MetadataText(encoding.OutputMetadata()),
      WithoutControls(encoding.Output()), encoding.IsToBeVerified() ? ", to be verified" : "");
}

std::string SummaryText(const FileEncoding& encoding, const EncodingResult& result, double timesRealTime) {
  std::string text = fmt::format(
      "{}: {}, {} in {}{}, {} x real time", encoding.Output() == "-" ? "standard output" : encoding.Output(),
      FormatText(encoding), TimeText(result.sampleFrames, encoding.Format().sampleRate),
      CountText(result.packets, "packet", "packets"), encoding.IsToBeVerified() ? ", verified" : "",
      static_cast<unsigned long long>(timesRealTime));
  Append(text, ConversionText(encoding));
  Append(text, NotesText(result));
  return text;
}

std::string NotesText(const EncodingResult& result) {
  std::string text;
  if (result.clippedSamples != 0) {
    text = CountText(result.clippedSamples, "sample was", "samples were") + " beyond full scale and clipped";
  }
  for (const std::string& note : result.notes) {
    Append(text, note);
  }
  return text;
}

std::string CountText(unsigned long long number, const char* singular, const char* plural) {
  return fmt::format("{} {}", number, number == 1 ? singular : plural);
}
