#pragma once

/// Encodes one sound into one Matroska file, as a rule as one track, and verifies it on request. Prints nothing: the
/// objects hold what the caller may want to report.
///
///     const EncodingSetup setup(options, "PCMPlugin", settings);
///     FileEncoding encoding(setup, "song.wav", "song.mkv");   // everything is checked, nothing written yet
///     const EncodingResult result = encoding.Write(onProgress);

#include "Host/Audio/RawFormat.h"
#include "Host/Audio/SoundSource.h"
#include "Host/Encode/Encoder.h"
#include "Host/Encode/EncodingFormat.h"
#include "Host/Encode/RequestedSettings.h"
#include "Host/Plugin/Module.h"
#include "Host/System/OutputFile.h"
#include "Host/Transcode/ChannelSplit.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// How files are encoded, apart from the compressor's settings.
struct EncodingOptions {
  std::optional<double> testSignalSeconds;  ///< encode a built-in signal of this length instead of the input
  std::optional<RawFormat> raw;             ///< inputs are samples of this format without a header
  bool force = false;                       ///< replace an existing output
  bool allowTruncated = false;              ///< accept an input that is shorter than its header says
  bool noSync = false;                      ///< do not force outputs onto the disk before they take their names
  bool noTags = false;                      ///< leave tags, chapters and attachments out
  bool secondThread = false;                ///< use one for reading long sounds, and for reading back
  bool verify = false;                      ///< read each output back and compare it with what was encoded
  bool newTimes = false;                    ///< do not give outputs the modification times of their inputs
  bool hashAudio = false;                   ///< compute EncodingResult::audioHashes
  bool split = false;                       ///< channels that no layout takes become tracks of one channel
};

/// What all encodings of one run share; any number of threads may use it. `options` must outlive it.
struct EncodingSetup {
  /// Loads the module. Throws Failure.
  EncodingSetup(const EncodingOptions& encodingOptions, const std::string& modulePath, RequestedSettings requested)
      : options(encodingOptions), module(modulePath), settings(std::move(requested)) {}

  const EncodingOptions& options;
  Module module;
  RequestedSettings settings;
};

/// The result of one encoding, of all tracks together but for the sample frames.
struct EncodingResult {
  std::uint64_t sampleFrames = 0;
  std::uint64_t packets = 0;
  std::uint64_t clippedSamples = 0;
  std::vector<std::string> notes;          ///< SoundSource::Notes
  std::vector<std::uint64_t> audioHashes;  ///< XXH3 (64 bits) of the bytes of each track, if asked for
};

class FileEncoding {
 public:
  /// The whole sound is encoded in the first pass and, on request, verified in the second.
  enum class Pass { kEncoding, kVerifying };
  using OnProgress = std::function<void(Pass pass, std::uint64_t sampleFrames)>;

  /// Opens `input` (or the test signal of the options), chooses the settings for it, and begins a run of its own
  /// compressor. Throws Failure or WrongUse; WrongUse also for an output that is to be verified and cannot be read
  /// back. `setup` must outlive the object.
  FileEncoding(const EncodingSetup& setup, std::string input, std::string output);

  /// Encodes the whole sound into the output. On Failure an existing output is unchanged. If the options ask for it,
  /// the file is read back from the disk and compared with what was encoded before it takes its name. Calls
  /// `onProgress` with the sample frames done so far in each pass, once per block. Call it once.
  EncodingResult Write(const OnProgress& onProgress);

  /// After Write: the finished output, which has its name once somebody commits it.
  std::unique_ptr<OutputFile> TakeFile() { return std::move(m_file); }

  const std::string& Input() const { return Sound().name; }
  const std::string& Output() const { return m_output; }
  const SoundFormat& Sound() const { return m_source->Format(); }
  const EncodingFormat& Format() const { return m_format; }  ///< of each track

  /// The names of the tracks; empty where the sound is one track, which has none.
  const std::vector<std::string>& TrackNames() const { return m_trackNames; }
  IAudioCompressor& Compressor() const { return *m_tracks.front().compressor; }
  const Choices& Chosen() const { return m_choices; }
  bool IsToBeVerified() const { return m_isToBeVerified; }
  std::uint64_t SampleFramesPerPacket() const { return m_tracks.front().encoder->SampleFramesPerPacket(); }

  /// The tags, chapters and attachments that the output gets, and what it cannot keep.
  SoundMetadata OutputMetadata() const;

  /// The length of the output, where the length of the input is known beforehand.
  std::optional<std::uint64_t> SampleFrames() const;

  /// The fraction of the whole work that is done once `pass` has done `sampleFrames`: each pass counts as much as the
  /// other. Nothing where the length is unknown or 0; may exceed 1 where the input is longer than its header says.
  std::optional<double> FractionDone(Pass pass, std::uint64_t sampleFrames) const;

 private:
  struct Track {
    CompressorOwner compressor;
    std::unique_ptr<Encoder> encoder;
  };

  void OpenSource(const EncodingSetup& setup, IAudioCompressor& compressor);
  void AddTrack(const EncodingSetup& setup, CompressorOwner compressor, const Choices& choices);
  SoundFormat TrackSound() const;
  void EncodeTracks(const PacketOrder::Sink& sink, const std::function<void(std::uint64_t sampleFrames)>& onProgress);

  std::string m_input;
  std::string m_output;
  bool m_replaceExisting;
  Durability m_durability;
  bool m_isToBeVerified;
  bool m_hasSecondThread;
  double m_framesPerSecond;
  bool m_isToBeHashed;
  std::optional<timespec> m_modificationTime;  ///< for the output
  std::unique_ptr<SoundSource> m_source;
  Choices m_choices;
  EncodingFormat m_format;
  std::vector<std::string> m_trackNames;
  std::vector<Track> m_tracks;  ///< at least one
  EncodingResult m_result;
  std::unique_ptr<OutputFile> m_file;
};
