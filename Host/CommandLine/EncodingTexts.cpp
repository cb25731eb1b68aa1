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
  return std::string(encoding.Compressor().GetName()) + ", " + std::to_string(format.sampleRate) + " Hz, " +
         std::to_string(format.bits) + " bits, " + format.layout;
}

std::string ConversionText(const SoundFormat& sound, const EncodingFormat& format) {
  if (SampleConverter::IsExact(sound, format.sampleRate, format.bits)) {
    return "none, samples stay as they are";
  }
  const std::string rates =
      sound.sampleRate == format.sampleRate
          ? ""
          : "from " + std::to_string(sound.sampleRate) + " to " + std::to_string(format.sampleRate) + " Hz, ";
  return rates + "to " + std::to_string(format.bits) + " bits with dither";
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

std::string PlanText(const FileEncoding& encoding) {
  const SoundFormat& sound = encoding.Sound();
  return "input: " + WithoutControls(encoding.Input()) + ", " + std::to_string(sound.sampleRate) + " Hz, " +
         CountText(sound.channels, "channel", "channels") + ", " + std::to_string(sound.significantBits) +
         " significant bits, " + (sound.frames ? TimeText(*sound.frames, sound.sampleRate) : "length unknown") +
         "\nconversion: " + ConversionText(sound, encoding.Format()) + "\nencoding: " + FormatText(encoding) + ", " +
         std::to_string(encoding.Compressor().GetDataRate()) + " bytes per second, " +
         std::to_string(encoding.SampleFramesPerPacket()) + " sample frames per packet" +
         MetadataText(encoding.OutputMetadata()) + "\noutput: " + WithoutControls(encoding.Output()) + ", Matroska" +
         (encoding.IsToBeVerified() ? ", to be verified\n" : "\n");
}

std::string SummaryText(const FileEncoding& encoding, const EncodingResult& result, double timesRealTime) {
  const std::string notes = NotesText(result);
  return (encoding.Output() == "-" ? "standard output" : encoding.Output()) + ": " + FormatText(encoding) + ", " +
         TimeText(result.sampleFrames, encoding.Format().sampleRate) + " in " +
         CountText(result.packets, "packet", "packets") + (encoding.IsToBeVerified() ? ", verified, " : ", ") +
         std::to_string(static_cast<unsigned long long>(timesRealTime)) + " x real time" +
         (notes.empty() ? "" : "; " + notes);
}

std::string NotesText(const EncodingResult& result) {
  std::string text;
  if (result.clippedSamples != 0) {
    text = CountText(result.clippedSamples, "sample was", "samples were") + " beyond full scale and clipped";
  }
  for (const std::string& note : result.notes) {
    text += (text.empty() ? "" : "; ") + note;
  }
  return text;
}

std::string CountText(unsigned long long number, const char* singular, const char* plural) {
  return std::to_string(number) + " " + (number == 1 ? singular : plural);
}
