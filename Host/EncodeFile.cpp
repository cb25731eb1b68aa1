#include "Host/EncodeFile.h"

#include "Host/Encoder.h"
#include "Host/Errors.h"
#include "Host/FormatChoice.h"
#include "Host/MatroskaWriter.h"
#include "Host/Module.h"
#include "Host/OutputFile.h"
#include "Host/Preset.h"
#include "Host/Progress.h"
#include "Host/SampleConverter.h"
#include "Host/SettingCommands.h"
#include "Host/SoundInput.h"
#include "Host/TestSignal.h"

#include <memory>

namespace {

/// Where the samples come from: a file, or the built-in signal.
struct Source {
  std::unique_ptr<SoundInput> file;
  std::unique_ptr<TestSignal> signal;

  const SoundFormat& Format() const { return file != nullptr ? file->Format() : signal->Format(); }
  SoundTags Tags() const { return file != nullptr ? file->Tags() : SoundTags(); }
  SampleBlock Read() const { return file != nullptr ? file->Read() : signal->Read(); }
  std::string MissingText() const { return file != nullptr ? file->MissingText() : std::string(); }
};

/// The source, and the settings of `compressor` chosen for it.
std::pair<Source, EncodingFormat> OpenSource(const Options& options, IAudioCompressor& compressor) {
  const FormatWishes wishes = ApplySettings(options, compressor);
  Source source;
  if (options.testSignalSeconds) {
    EncodingFormat format = ChooseFormat(compressor, wishes, nullptr);
    source.signal = std::make_unique<TestSignal>(format.sampleRate, format.channels, *options.testSignalSeconds);
    return {std::move(source), std::move(format)};
  }
  source.file =
      std::make_unique<SoundInput>(options.input, options.allowTruncated ? Truncation::kAllowed : Truncation::kRefused);
  EncodingFormat format = ChooseFormat(compressor, wishes, &source.file->Format());
  return {std::move(source), std::move(format)};
}

MatroskaDescription Describe(const Source& source, const EncodingFormat& format, const Encoder& encoder) {
  MatroskaDescription description{.sampleRate = format.sampleRate,
                                  .channels = format.channels,
                                  .bitsPerSample = format.bits,
                                  .sampleFramesPerPacket = static_cast<unsigned int>(encoder.SampleFramesPerPacket()),
                                  .sampleFrames = {},
                                  .application = "rhohost " RHOHOST_VERSION,
                                  .tags = source.Tags()};
  if (const SoundFormat& sound = source.Format(); sound.frames) {
    description.sampleFrames = SampleConverter::OutputFrames(*sound.frames, sound.sampleRate, format.sampleRate);
  }
  return description;
}

std::string NumberText(std::uint64_t number, const char* singular, const char* plural) {
  return std::to_string(number) + " " + (number == 1 ? singular : plural);
}

std::string FormatText(IAudioCompressor& compressor, const EncodingFormat& format) {
  return std::string(compressor.GetName()) + ", " + std::to_string(format.sampleRate) + " Hz, " +
         std::to_string(format.bits) + " bits, " + format.layout;
}

void ShowPlan(const Options& options, IAudioCompressor& compressor, const Source& source, const EncodingFormat& format,
              const Encoder& encoder) {
  const SoundFormat& sound = source.Format();
  const SampleConverter converter(sound, format.sampleRate, format.bits);
  std::string text = "input: " + sound.name + ", " + std::to_string(sound.sampleRate) + " Hz, " +
                     NumberText(sound.channels, "channel", "channels") + ", " + std::to_string(sound.significantBits) +
                     " significant bits, " +
                     (sound.frames ? TimeText(*sound.frames, sound.sampleRate) : "length unknown") + "\n";
  text += "conversion: ";
  if (converter.IsExact()) {
    text += "none, samples stay as they are\n";
  } else if (sound.sampleRate == format.sampleRate) {
    text += "to " + std::to_string(format.bits) + " bits with dither\n";
  } else {
    text += "from " + std::to_string(sound.sampleRate) + " to " + std::to_string(format.sampleRate) + " Hz, to " +
            std::to_string(format.bits) + " bits with dither\n";
  }
  text += "encoding: " + FormatText(compressor, format) + ", " + std::to_string(compressor.GetDataRate()) +
          " bytes per second, " + std::to_string(encoder.SampleFramesPerPacket()) + " sample frames per packet\n";
  text += "output: " + options.output + ", Matroska\n";
  Print(text);
}

void TellSummary(const Options& options, const std::string& formatText, const EncodingFormat& format,
                 const Encoder& encoder, const Progress& progress, std::uint64_t clipped, const std::string& missing) {
  const std::uint64_t sampleFrames = encoder.EncodedSampleFrames();
  std::string text =
      (options.output == "-" ? "standard output" : options.output) + ": " + formatText + ", " +
      TimeText(sampleFrames, format.sampleRate) + " in " + NumberText(encoder.Packets(), "packet", "packets") + ", " +
      std::to_string(static_cast<unsigned long long>(progress.TimesRealTime(sampleFrames))) + " x real time";
  if (clipped != 0) {
    text += "; " + NumberText(clipped, "sample was", "samples were") + " beyond full scale and clipped";
  }
  if (!missing.empty()) {
    text += "; " + missing;
  }
  Tell(text);
}

void CheckTarget(const Options& options) {
  if (!options.testSignalSeconds && IsSameFile(options.input, options.output)) {
    throw Failure(options.output + ": the output would overwrite the input");
  }
  CheckOutputTarget(options.output, options.force);
  CheckPresetTarget(options);
}

}  // namespace

void EncodeFile(const Options& options) {
  const Module module(options.module);
  const CompressorOwner compressor = module.CreateCompressor();
  CheckTarget(options);

  const auto [source, format] = OpenSource(options, *compressor);
  Encoder encoder(*compressor, format, options.framesPerSecond);
  encoder.Begin();
  if (options.dryRun) {
    ShowPlan(options, *compressor, source, format, encoder);
    return;
  }

  if (!options.savePreset.empty()) {
    SavePreset(options.savePreset, *compressor, options.force);
  }
  const MatroskaDescription description = Describe(source, format, encoder);
  SampleConverter converter(source.Format(), format.sampleRate, format.bits);
  OutputFile file(options.output, options.force);
  MatroskaWriter writer(file, description);
  const auto write = [&writer](const EncodedPacket& packet) {
    writer.WritePacket(packet.bytes.data(), packet.bytes.size(), packet.time, packet.sampleFrames);
  };
  Progress progress(!options.quiet, description.sampleFrames, format.sampleRate);
  for (SampleBlock block = source.Read(); block.frames != 0; block = source.Read()) {
    encoder.Encode(converter.Convert(block), write);
    progress.Update(encoder.EncodedSampleFrames());
  }
  encoder.Encode(converter.Finish(), write);
  encoder.Finish(write);
  writer.Finish();
  file.Commit();
  if (!options.quiet) {
    progress.Clear();
    TellSummary(options, FormatText(*compressor, format), format, encoder, progress, converter.ClippedSamples(),
                source.MissingText());
  }
}
