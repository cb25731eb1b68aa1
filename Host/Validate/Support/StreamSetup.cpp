#include "Host/Validate/Support/StreamSetup.h"

#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/OutputRecord.h"
#include "Host/Validate/Support/SettingValues.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <list>
#include <random>

namespace {

/// Bytes of input for a run, at most: settings that ask for more are refused.
constexpr std::size_t kMostBytes = std::size_t{1} << 26U;
/// The frame rates of film and television, per second.
constexpr std::array kFrameRates{23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0};

/// Whether the compressor can make packets of linear PCM; if so, chooses that type.
bool OffersLinearPcm(IAudioCompressor& compressor) {
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  return std::find(types.begin(), types.end(), IPacket::kPacketTypeLinearPCM) != types.end() &&
         compressor.SetOutputPacketType(IPacket::kPacketTypeLinearPCM) == 1;
}

/// Completes `setup` with what its settings come to in a new compressor, and sees that a run can begin. Throws Failure
/// or WrongUse when the compressor does not take them together.
void Complete(StreamSetup& setup, const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  // Before ApplyTo, which chooses the packet type by it.
  setup.isLinearPcm = OffersLinearPcm(*compressor);
  setup.ApplyTo(*compressor);
  // The format that the compressor expects of its input, after the settings have been validated.
  setup.format = ChooseFormat(*compressor, nullptr);
  // Names of layouts that the host does not know have no channel count to compute sizes by.
  if (KelGetChannelMode(setup.format.layout.c_str()) != compressor->GetChannelMode()) {
    throw Failure(fmt::format("the channel count of {} is unknown", setup.format.layout));
  }
  const std::size_t bytes = setup.format.BytesPerSampleFrame();
  const std::size_t sampleFrames = setup.SampleFramesPerPacket();
  if (bytes == 0 || sampleFrames == 0 || setup.SomeSampleFrames() > kMostBytes / bytes) {
    throw Failure(fmt::format("{} sample frames per packet, of {} bytes each", sampleFrames, bytes));
  }
  // A run is begun on trial, and abandoned with the compressor.
  KelAudio_t record = setup.InputRecord();
  if (const RhoStatus status = compressor->CompressFrameBegin(&record); status != kRhoStatusSuccess) {
    throw Failure(fmt::format("CompressFrameBegin answers {}", StatusText(status)));
  }
  setup.name =
      fmt::format("{} ({} Hz, {} bits, {}, {} packets per second, seed {})", setup.name, setup.format.sampleRate,
                  setup.format.bits, setup.format.layout, setup.framesPerSecond, Seed());
}

/// Calls `check` for those of the setups that the compressor takes. Skips the check when it takes none.
void ForEachPossible(std::vector<StreamSetup> setups, const CheckedModule& module,
                     const std::function<void(const StreamSetup&)>& check) {
  std::string refusal = "the compressor offers no settings";
  bool isTaken = false;
  for (StreamSetup& setup : setups) {
    try {
      Complete(setup, module);
    } catch (const std::runtime_error& failure) {
      // Failure or WrongUse. CheckFailed is not an exception of this kind, and passes through.
      refusal = fmt::format("{}: {}", setup.name, failure.what());
      continue;
    }
    isTaken = true;
    // Outside the try block: what the check itself throws is not a refusal.
    check(setup);
  }
  if (!isTaken) {
    throw CheckSkipped{refusal};
  }
}

}  // namespace

void StreamSetup::ApplySettingsTo(IAudioCompressor& compressor) const { settings.ApplyTo(compressor); }

void StreamSetup::ApplyHintsTo(IAudioCompressor& compressor) const {
  compressor.SetFileFormatHint(FourCharacterCode(" MKV"));
  compressor.SetStreamModeHint(kOutputStreamModeDefault);
  compressor.SetFrameRateHint(framesPerSecond);
  if (isLinearPcm) {
    compressor.SetOutputPacketType(IPacket::kPacketTypeLinearPCM);
  }
}

void StreamSetup::ApplyTo(IAudioCompressor& compressor) const {
  ApplySettingsTo(compressor);
  ApplyHintsTo(compressor);
}

CompressorOwner StreamSetup::NewCompressor(const CheckedModule& module) const {
  CompressorOwner compressor = module.CreateCompressor();
  ApplyTo(*compressor);
  return compressor;
}

KelAudio_t StreamSetup::InputRecord(std::span<const unsigned char> bytes) const {
  KelAudio_t record{};
  record.timeScale = format.sampleRate;
  record.format = format.sampleType;
  record.channels = format.channels;
  record.sampleRate = format.sampleRate;
  record.dataSize = static_cast<unsigned int>(bytes.size());
  record.sampleCount = record.dataSize / format.BytesPerSampleFrame();
  record.duration = record.sampleCount;
  record.reserved1 = record.reserved2 = OutputRecord::kUntouched;
  // Safe: a compressor only reads its input, and the check stream.input makes sure.
  record.data = const_cast<unsigned char*>(bytes.data());
  return record;
}

std::size_t StreamSetup::SampleFramesPerPacket() const {
  // To the nearest whole number, halves up.
  return static_cast<std::size_t>(std::floor(format.sampleRate / framesPerSecond + 0.5));
}

std::size_t StreamSetup::SomeSampleFrames() const { return 4 * SampleFramesPerPacket() + SampleFramesPerPacket() / 3; }

StreamSetup DefaultSetup(const CheckedModule& module) {
  // No settings: the compressor keeps its own.
  StreamSetup setup{.name = "the default settings", .settings = {}, .format = {}};
  try {
    Complete(setup, module);
  } catch (const std::runtime_error& refusal) {
    throw CheckSkipped{refusal.what()};
  }
  return setup;
}

void ForEachSetup(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check) {
  constexpr unsigned int kRandomOnes = 50;
  // A generator of its own: the frame rates do not depend on how many values the settings have.
  std::mt19937_64 random(Seed());
  std::vector<StreamSetup> setups;
  for (const Combination& combination : CombinationsOf(*module.CreateCompressor(), kRandomOnes)) {
    setups.push_back({.name = combination.name,
                      .settings = combination,
                      .framesPerSecond = kFrameRates[random() % kFrameRates.size()],
                      .format = {}});
  }
  ForEachPossible(std::move(setups), module, check);
}

void ForEachRate(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check) {
  const CompressorOwner compressor = module.CreateCompressor();
  // Never empty: at least the lowest and the highest settings are among them.
  std::vector<Combination> others = CombinationsOf(*compressor, 10);
  std::size_t turn = 0;
  std::vector<StreamSetup> setups;
  ISetting* const rateSetting = compressor->GetSampleRateSetting();
  if (rateSetting == nullptr) {
    throw CheckSkipped{"the compressor has no sample rate setting"};
  }
  for (const std::string& rate : ValuesToTry(*rateSetting)) {
    for (const double framesPerSecond : kFrameRates) {
      Combination combination = others[turn++ % others.size()];
      // The sample rate of the combination gives way to the one that is tried.
      std::erase_if(combination.values,
                    [&](const auto& value) { return value.first == rateSetting->GetPresetLabel(); });
      combination.values.emplace_back(rateSetting->GetPresetLabel(), rate);
      setups.push_back(
          {.name = "each rate", .settings = std::move(combination), .framesPerSecond = framesPerSecond, .format = {}});
    }
  }
  ForEachPossible(std::move(setups), module, check);
}

void OnlyForLinearPcm(const StreamSetup& setup) {
  if (!setup.isLinearPcm) {
    throw CheckSkipped{"packets are not of linear PCM (type 24)"};
  }
}

std::string StatusText(RhoStatus status) { return fmt::format("status {:08X}", status); }
