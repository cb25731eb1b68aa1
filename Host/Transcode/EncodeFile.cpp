#include "Host/Transcode/EncodeFile.h"

#include "Host/Audio/ReadAhead.h"
#include "Host/Audio/SampleConverter.h"
#include "Host/Audio/SoundInput.h"
#include "Host/Audio/TestSignal.h"
#include "Host/Matroska/MatroskaWriter.h"
#include "Host/System/OutputFile.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Errors.h"
#include "Host/Transcode/AudioHash.h"
#include "Host/Transcode/Verification.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <deque>
#include <utility>

FileEncoding::FileEncoding(const EncodingSetup& setup, std::string input, std::string output)
    : m_input(std::move(input)),
      m_output(std::move(output)),
      m_replaceExisting(setup.options.force),
      m_durability(setup.options.noSync ? Durability::kLeftToSystem : Durability::kForced),
      m_isToBeVerified(setup.options.verify),
      m_hasSecondThread(setup.options.secondThread),
      m_framesPerSecond(setup.settings.FramesPerSecond()),
      m_isToBeHashed(setup.options.hashAudio) {
  // Checked first, before any work is done.
  if (m_isToBeVerified && IsWrittenDirectly(m_output)) {
    throw WrongUse(fmt::format("--verify: {} cannot be read back", m_output == "-" ? "standard output" : m_output));
  }
  CompressorOwner compressor = setup.module.CreateCompressor();
  m_choices = setup.settings.ApplyTo(*compressor);
  OpenSource(setup, *compressor);
  AddTrack(setup, std::move(compressor), m_choices);
  // A compressor holds the state of one run, so each track needs its own, with the same settings.
  while (m_tracks.size() < m_trackNames.size()) {
    compressor = setup.module.CreateCompressor();
    const Choices choices = setup.settings.ApplyTo(*compressor);
    AddTrack(setup, std::move(compressor), choices);
  }
}

/// Opens the input, or the test signal in the compressor's own format, and chooses the names of tracks.
void FileEncoding::OpenSource(const EncodingSetup& setup, IAudioCompressor& compressor) {
  if (const std::optional<double> seconds = setup.options.testSignalSeconds) {
    m_format = ChooseFormat(compressor, nullptr);
    m_source = std::make_unique<TestSignal>(m_format.sampleRate, m_format.channels, *seconds);
    return;
  }
  // A failure of stat is ignored: OpenSound reports what is wrong with the file.
  struct stat status {};
  const bool isFile = m_input != "-" && stat(m_input.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  if (isFile && !setup.options.newTimes) {
    m_modificationTime = status.st_mtim;
  }
  m_source = OpenSound(m_input, setup.options.allowTruncated ? Truncation::kAllowed : Truncation::kRefused,
                       setup.options.noTags ? MetadataUse::kIgnored : MetadataUse::kRead, setup.options.raw);
  // With a second thread, ten minutes of WAV take 61 ms instead of 79. For a short sound it would cost more than it
  // earns; a pipe may keep it waiting for ever.
  constexpr unsigned int kShortestSeconds = 10;
  if (setup.options.secondThread && isFile && Sound().frames.value_or(0) / Sound().sampleRate >= kShortestSeconds) {
    m_source = std::make_unique<ReadAhead>(std::move(m_source));
  }
  // Channels are split only where the user has chosen no channel mode and no layout takes them all.
  if (setup.options.split && !m_choices.Contains(compressor.GetChannelModeSetting()) &&
      !HasLayoutFor(compressor, Sound())) {
    m_trackNames = ChannelNames(Sound(), m_source->Metadata());
  }
}

/// Chooses the format for a track and begins the run of its compressor. All tracks get the same format, since all have
/// one channel of the same sound, or there is one track.
void FileEncoding::AddTrack(const EncodingSetup& setup, CompressorOwner compressor, const Choices& choices) {
  const SoundFormat sound = TrackSound();
  m_format = ChooseFormat(*compressor, setup.options.testSignalSeconds ? nullptr : &sound, choices,
                          setup.settings.Suggestions());
  auto encoder = std::make_unique<Encoder>(*compressor, m_format,
                                           EncoderOptions{.framesPerSecond = m_framesPerSecond,
                                                          .fileFormat = FourCharacterCode(" MKV"),
                                                          .packetType = IPacket::kPacketTypeLinearPCM});
  m_tracks.push_back({std::move(compressor), std::move(encoder)});
}

/// The sound as the encoder of one track gets it: the whole sound, or one channel without a speaker.
SoundFormat FileEncoding::TrackSound() const {
  SoundFormat sound = Sound();
  if (!m_trackNames.empty()) {
    sound.channels = 1;
    sound.speakers.reset();
  }
  return sound;
}

std::optional<std::uint64_t> FileEncoding::SampleFrames() const {
  if (const SoundFormat& sound = Sound(); sound.frames) {
    return SampleConverter::OutputFrames(*sound.frames, sound.sampleRate, m_format.sampleRate);
  }
  return std::nullopt;
}

std::optional<double> FileEncoding::FractionDone(Pass pass, std::uint64_t sampleFrames) const {
  const std::uint64_t whole = SampleFrames().value_or(0);
  if (whole == 0) {
    return std::nullopt;
  }
  const double passDone = static_cast<double>(sampleFrames) / static_cast<double>(whole);
  return m_isToBeVerified ? (pass == Pass::kVerifying ? 1 + passDone : passDone) / 2 : passDone;
}

SoundMetadata FileEncoding::OutputMetadata() const {
  SoundMetadata metadata = m_source->Metadata();
  if (const std::optional<std::uint64_t> inputTime = metadata.timeReference) {
    // Readers count the time reference in sample frames of the output.
    const std::uint64_t time = SampleConverter::OutputFrames(*inputTime, Sound().sampleRate, m_format.sampleRate);
    metadata.AddText("TIME_REFERENCE", fmt::format("{}", time));
    metadata.AddText("TIMECODE", TimeCodeText(time, m_format.sampleRate, m_framesPerSecond));
  }
  return metadata;
}

EncodingResult FileEncoding::Write(const OnProgress& onProgress) {
  m_file = std::make_unique<OutputFile>(m_output, m_replaceExisting, m_durability);
  OutputFile& file = *m_file;
  MatroskaWriter writer(file, {.sampleRate = m_format.sampleRate,
                               .channels = m_format.channels,
                               .bitsPerSample = m_format.bits,
                               .sampleFramesPerPacket = static_cast<unsigned int>(SampleFramesPerPacket()),
                               .sampleFrames = SampleFrames(),
                               .trackNames = m_trackNames.empty() ? std::vector<std::string>{""} : m_trackNames,
                               .application = "rhohost " RHOHOST_VERSION,
                               .metadata = OutputMetadata()});
  Verification verification(m_format, m_tracks.size());
  // A deque, since AudioHash can be neither copied nor moved.
  std::deque<AudioHash> hashes(m_isToBeHashed ? m_tracks.size() : 0);
  EncodeTracks(
      [&](std::size_t track, const EncodedPacket& packet) {
        writer.WritePacket(packet.bytes, packet.time, packet.sampleFrames, track);
        if (m_isToBeVerified) {
          verification.Add(packet);
        }
        if (m_isToBeHashed) {
          hashes[track].Add(packet.bytes);
        }
      },
      [&onProgress](std::uint64_t done) { onProgress(Pass::kEncoding, done); });
  writer.Finish();
  if (m_isToBeVerified) {
    // The comparison must read from the disk, not from the system's memory.
    file.Sync();
    verification.Compare(file, m_hasSecondThread,
                         [&onProgress](std::uint64_t done) { onProgress(Pass::kVerifying, done); });
  }
  if (m_modificationTime) {
    file.SetModificationTime(*m_modificationTime);
  }
  // The notes are complete only after the last read.
  m_result.notes = m_source->Notes();
  if (const std::vector<std::string>& omitted = m_source->Metadata().omitted; !omitted.empty()) {
    m_result.notes.push_back(fmt::format("not kept: {}", fmt::join(omitted, ", ")));
  }
  for (const AudioHash& hash : hashes) {
    m_result.audioHashes.push_back(hash.Value());
  }
  return std::move(m_result);
}

/// Reads the source to its end and gives each track its channel, or the only track all of them. `sink` gets the
/// packets in the order of time.
void FileEncoding::EncodeTracks(const PacketOrder::Sink& sink,
                                const std::function<void(std::uint64_t sampleFrames)>& onProgress) {
  const SoundFormat sound = TrackSound();
  std::deque<SampleConverter> converters;
  for (std::size_t track = 0; track < m_tracks.size(); ++track) {
    converters.emplace_back(sound, m_format.sampleRate, m_format.bits);
  }
  PacketOrder order(m_tracks.size(), sink);
  const auto forEachTrack = [this, &order](const auto& step) {
    for (std::size_t track = 0; track < m_tracks.size(); ++track) {
      step(track, [&order, track](const EncodedPacket& packet) { order.Add(track, packet); });
    }
    // All tracks have got the same sample frames, so no earlier packet can follow.
    order.Flush();
  };
  std::vector<unsigned char> channelMemory;
  SampleMemory blockMemory;
  for (SampleBlock block = m_source->Read(blockMemory); block.frames != 0; block = m_source->Read(blockMemory)) {
    forEachTrack([&](std::size_t track, const Encoder::PacketSink& write) {
      const SampleBlock part = m_trackNames.empty() ? block : TakeChannel(block, Sound(), track, channelMemory);
      m_tracks[track].encoder->Encode(converters[track].Convert(part), write);
    });
    onProgress(m_tracks.front().encoder->EncodedSampleFrames());
  }
  forEachTrack([&](std::size_t track, const Encoder::PacketSink& write) {
    // The converter first: a change of rate holds sample frames back.
    m_tracks[track].encoder->Encode(converters[track].Finish(), write);
    m_tracks[track].encoder->Finish(write);
  });
  m_result.sampleFrames = m_tracks.front().encoder->EncodedSampleFrames();
  for (std::size_t track = 0; track < m_tracks.size(); ++track) {
    m_result.packets += m_tracks[track].encoder->Packets();
    m_result.clippedSamples += converters[track].ClippedSamples();
  }
}
