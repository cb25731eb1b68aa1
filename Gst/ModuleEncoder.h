#pragma once

/// A compressor of a module with its settings and its run. Functions may be called by several threads; each of them
/// holds a lock, so that a sink must not block. All of them throw Failure or WrongUse with a text for the user.

#include "Host/Encode/Encoder.h"
#include "Host/Plugin/Module.h"
#include "Host/Settings/SettingValue.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>

/// A setting's value in the forms that properties need.
struct SettingState {
  SettingValue value;
  std::string text;  ///< UTF-8
  bool isSpecified = true;
};

/// The samples that a run is to take.
struct RunFormat {
  unsigned int sampleRate = 0;
  unsigned int bits = 0;
  unsigned int channels = 0;
  std::uint32_t speakers = 0;  ///< a WAV channel mask; 0 for channels without speakers
};

/// A packet of a run, with the sample frames of the input that it stands for.
struct RunPacket {
  std::span<const unsigned char> bytes;  ///< valid during the call that it is passed to
  std::uint64_t skippedFrames = 0;       ///< sample frames between the last packet and this one
  std::uint64_t sampleFrames = 0;
};

/// The compressor behind one element.
class ModuleEncoder {
 public:
  using Sink = std::function<void(const RunPacket&)>;

  /// `path` is that of a library or a bundle. Nothing is loaded before the first function needs it.
  explicit ModuleEncoder(std::string path) : m_path(std::move(path)) {}

  /// Loads the module and creates the compressor, unless that is done. Loading that failed is tried again.
  void Load();

  SettingState Get(const std::string& setting);

  /// Changes a setting; throws WrongUse for a value that it does not allow, and between Begin and Stop.
  void Set(const std::string& setting, const SettingValue& value);
  void SetText(const std::string& setting, const std::string& text);
  void SetIsSpecified(const std::string& setting, bool isSpecified);

  /// The value that was set, as text; nothing for a setting that was not set and thus follows the input.
  std::optional<std::string> Chosen(const std::string& setting);

  void SetFramesPerSecond(double framesPerSecond);

  /// Ends the last run without its remaining packets, gives the settings for sample rate, sample size and channels that
  /// were not chosen the values of `format`, and begins a run.
  void Begin(const RunFormat& format);

  /// Encodes whole sample frames; begins a run in the format of the last one if that has ended.
  void Encode(std::span<const unsigned char> bytes, const Sink& sink);

  /// Encodes what is left and ends the run. Returns the number of sample frames that no packet stands for. Without a
  /// run it does nothing.
  std::uint64_t Finish(const Sink& sink);

  /// Ends the run; what is left is lost.
  void Discard();

  /// Ends the run; what is left is lost. Settings can be changed until the next Begin.
  void Stop();

  /// Of a packet of the last run; the last packet may have fewer.
  std::uint64_t SampleFramesPerPacket();

 private:
  struct Loaded {
    explicit Loaded(const std::string& path) : module(path), compressor(module.CreateCompressor()) {}
    Module module;
    CompressorOwner compressor;
  };

  IAudioCompressor& Compressor();
  ISetting& Find(const std::string& setting);
  void Assign(const std::string& setting, const std::optional<SettingValue>& value);
  void BeginRun();
  void EndRun();
  /// Passes on a packet, never with more sample frames than the run was given.
  void PassOn(const EncodedPacket& packet, const Sink& sink);

  std::mutex m_mutex;
  std::string m_path;
  std::unique_ptr<Loaded> m_loaded;
  std::set<std::string> m_chosen;  ///< names of settings
  double m_framesPerSecond = EncoderOptions().framesPerSecond;
  EncodingFormat m_format;
  bool m_isStarted = false;  ///< whether settings cannot be changed
  std::unique_ptr<Encoder> m_run;
  std::uint64_t m_sampleFramesPerPacket = 0;
  std::uint64_t m_taken = 0;   ///< sample frames that the run was given
  std::uint64_t m_passed = 0;  ///< sample frames that its packets stand for
};
