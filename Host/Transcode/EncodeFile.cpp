#include "Host/Transcode/EncodeFile.h"

#include "Host/Audio/ReadAhead.h"
#include "Host/Audio/SampleConverter.h"
#include "Host/Audio/SoundInput.h"
#include "Host/Audio/TestSignal.h"
#include "Host/Matroska/MatroskaWriter.h"
#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "Host/Transcode/AudioHash.h"
#include "Host/Transcode/Verification.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>
#include <utility>

FileEncoding::FileEncoding(const EncodingSetup& setup, std::string input, std::string output)
    : m_input(std::move(input)),
      m_output(std::move(output)),
      m_replaceExisting(setup.options.force),
      m_durability(setup.options.noSync ? Durability::kLeftToSystem : Durability::kForced),
      m_isToBeVerified(setup.options.verify),
      m_framesPerSecond(setup.settings.FramesPerSecond()),
      m_isToBeHashed(setup.options.hashAudio),
      m_compressor(setup.module.CreateCompressor()) {
  if (m_isToBeVerified && IsWrittenDirectly(m_output)) {
    throw WrongUse(fmt::format("--verify: {} cannot be read back", m_output == "-" ? "standard output" : m_output));
  }
  OpenSource(setup);
  m_encoder = std::make_unique<Encoder>(*m_compressor, m_format,
                                        EncoderOptions{.framesPerSecond = setup.settings.FramesPerSecond(),
                                                       .fileFormat = FourCharacterCode(" MKV"),
                                                       .packetType = IPacket::kPacketTypeLinearPCM});
}

void FileEncoding::OpenSource(const EncodingSetup& setup) {
  m_choices = setup.settings.ApplyTo(*m_compressor);
  if (const std::optional<double> seconds = setup.options.testSignalSeconds) {
    m_format = ChooseFormat(*m_compressor, nullptr);
    m_source = std::make_unique<TestSignal>(m_format.sampleRate, m_format.channels, *seconds);
    return;
  }
  struct stat status {};
  if (!setup.options.newTimes && m_input != "-" && stat(m_input.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    m_modificationTime = status.st_mtim;
  }
  m_source = OpenSound(m_input, setup.options.allowTruncated ? Truncation::kAllowed : Truncation::kRefused,
                       setup.options.noTags ? MetadataUse::kIgnored : MetadataUse::kRead, setup.options.raw);
  // A thread for a short or an uncompressed sound would cost more than it earns (for WAV, a tenth of the whole time); a
  // pipe may keep it waiting for ever.
  constexpr unsigned int kShortestSeconds = 10;
  if (setup.options.readAhead && m_source->IsDecoding() &&
      Sound().frames.value_or(0) / Sound().sampleRate >= kShortestSeconds &&
      std::filesystem::is_regular_file(m_input)) {
    m_source = std::make_unique<ReadAhead>(std::move(m_source));
  }
  m_format = ChooseFormat(*m_compressor, &Sound(), m_choices, setup.settings.Suggestions());
}

std::optional<std::uint64_t> FileEncoding::SampleFrames() const {
  if (const SoundFormat& sound = Sound(); sound.frames) {
    return SampleConverter::OutputFrames(*sound.frames, sound.sampleRate, m_format.sampleRate);
  }
  return std::nullopt;
}

SoundMetadata FileEncoding::OutputMetadata() const {
  SoundMetadata metadata = m_source->Metadata();
  if (const std::optional<std::uint64_t> inputTime = metadata.timeReference) {
    // Readers count it in sample frames of the file that it stands in.
    const std::uint64_t time = SampleConverter::OutputFrames(*inputTime, Sound().sampleRate, m_format.sampleRate);
    metadata.AddText("TIME_REFERENCE", fmt::format("{}", time));
    metadata.AddText("TIMECODE", TimeCodeText(time, m_format.sampleRate, m_framesPerSecond));
  }
  return metadata;
}

EncodingResult FileEncoding::Write(const OnProgress& onProgress) {
  SampleConverter converter(Sound(), m_format.sampleRate, m_format.bits);
  m_file = std::make_unique<OutputFile>(m_output, m_replaceExisting, m_durability);
  OutputFile& file = *m_file;
  MatroskaWriter writer(file, {.sampleRate = m_format.sampleRate,
                               .channels = m_format.channels,
                               .bitsPerSample = m_format.bits,
                               .sampleFramesPerPacket = static_cast<unsigned int>(SampleFramesPerPacket()),
                               .sampleFrames = SampleFrames(),
                               .application = "rhohost " RHOHOST_VERSION,
                               .metadata = OutputMetadata()});
  Verification verification(m_format);
  AudioHash hash;
  const auto write = [this, &writer, &verification, &hash](const EncodedPacket& packet) {
    writer.WritePacket(packet.bytes, packet.time, packet.sampleFrames);
    if (m_isToBeVerified) {
      verification.Add(packet);
    }
    if (m_isToBeHashed) {
      hash.Add(packet.bytes);
    }
  };
  for (SampleBlock block = m_source->Read(); block.frames != 0; block = m_source->Read()) {
    m_encoder->Encode(converter.Convert(block), write);
    onProgress(Pass::kEncoding, m_encoder->EncodedSampleFrames());
  }
  m_encoder->Encode(converter.Finish(), write);
  m_encoder->Finish(write);
  writer.Finish();
  if (m_isToBeVerified) {
    file.Sync();
    verification.Compare(file, [&onProgress](std::uint64_t done) { onProgress(Pass::kVerifying, done); });
  }
  std::vector<std::string> notes = m_source->Notes();
  if (const std::vector<std::string>& omitted = m_source->Metadata().omitted; !omitted.empty()) {
    notes.push_back(fmt::format("not kept: {}", fmt::join(omitted, ", ")));
  }
  if (m_modificationTime) {
    file.SetModificationTime(*m_modificationTime);
  }
  return {m_encoder->EncodedSampleFrames(), m_encoder->Packets(), converter.ClippedSamples(), std::move(notes),
          m_isToBeHashed ? std::optional(hash.Value()) : std::nullopt};
}
