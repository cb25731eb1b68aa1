#pragma once

/// The program's work: from a sound to a finished file. Says nothing to anyone; what there is to tell, the object
/// knows.
///
///     const EncodingSetup setup(options, Module::DefaultPath(), settings);
///     FileEncoding encoding(setup, "song.wav", "song.mkv");   // everything is checked, nothing written yet
///     const EncodingResult result = encoding.Write(onProgress);

#include "Host/Audio/SoundSource.h"
#include "Host/Encode/Encoder.h"
#include "Host/Encode/FormatChoice.h"
#include "Host/Encode/RequestedSettings.h"
#include "Host/Plugin/Module.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// How files are encoded, beside the compressor's settings.
struct EncodingOptions {
  std::optional<double> testSignalSeconds;  ///< encode a built-in signal of this length in place of the input
  double framesPerSecond = 30.0;            ///< packets a second, at least 1
  bool force = false;                       ///< replace an existing output
  bool allowTruncated = false;              ///< encode what there is of an input that is shorter than its header says
  bool verify = false;                      ///< read each output back and compare it with what the module gave
};

/// What the encodings of one run share, on any number of threads. `options` must outlive it.
struct EncodingSetup {
  /// Loads the module. Throws Failure.
  EncodingSetup(const EncodingOptions& encodingOptions, const std::string& modulePath, RequestedSettings requested)
      : options(encodingOptions), module(modulePath), settings(std::move(requested)) {}

  const EncodingOptions& options;
  Module module;
  RequestedSettings settings;
};

/// What an encoding has come to.
struct EncodingResult {
  std::uint64_t sampleFrames = 0;
  std::uint64_t packets = 0;
  std::uint64_t clippedSamples = 0;
  std::vector<std::string> notes;  ///< SoundSource::Notes
};

class FileEncoding {
 public:
  /// What is done with the sound: all of it is encoded, and then, if that is wanted, all of it verified.
  enum class Pass { kEncoding, kVerifying };
  using OnProgress = std::function<void(Pass pass, std::uint64_t sampleFrames)>;

  /// Opens `input` (or the test signal of the options), chooses the settings for it, and begins the run of a compressor
  /// of its own. Throws Failure or WrongUse; the latter also for an output that is to be verified and cannot be read
  /// back. `setup` must outlive the object.
  FileEncoding(const EncodingSetup& setup, std::string input, std::string output);

  /// Encodes the whole sound into the output, which Failure leaves as it was. If the options want it verified, what has
  /// been written is read back from the disk first, and must be what the module gave. Calls `onProgress` with the
  /// sample frames done in each pass, for each block. To be called once.
  EncodingResult Write(const OnProgress& onProgress);

  const std::string& Input() const { return Sound().name; }
  const std::string& Output() const { return m_output; }
  const SoundFormat& Sound() const { return m_source->Format(); }
  const EncodingFormat& Format() const { return m_format; }
  IAudioCompressor& Compressor() const { return *m_compressor; }
  bool IsToBeVerified() const { return m_isToBeVerified; }
  std::uint64_t SampleFramesPerPacket() const { return m_encoder->SampleFramesPerPacket(); }

  /// The length of what will be written, where the input tells its own beforehand.
  std::optional<std::uint64_t> SampleFrames() const;

 private:
  void OpenSource(const EncodingSetup& setup);

  std::string m_input;
  std::string m_output;
  bool m_replaceExisting;
  bool m_isToBeVerified;
  CompressorOwner m_compressor;
  std::unique_ptr<SoundSource> m_source;
  EncodingFormat m_format;
  std::unique_ptr<Encoder> m_encoder;
};
