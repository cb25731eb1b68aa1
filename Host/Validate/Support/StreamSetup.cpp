#include "Host/Validate/Support/StreamSetup.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/Subject.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <list>
#include <random>

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 26U;
constexpr std::array kFrameRates{23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0};

bool OffersLinearPcm(IAudioCompressor& compressor) {
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  return std::find(types.begin(), types.end(), IPacket::kPacketTypeLinearPCM) != types.end() &&
         compressor.SetOutputPacketType(IPacket::kPacketTypeLinearPCM) == 1;
}

/// Completes `setup` with what its settings come to in a new compressor, and sees that a run can begin. Throws Failure
/// or WrongUse when the compressor does not take them together.
void Complete(StreamSetup& setup, const CheckedModule& module) {
  const CompressorOwner compressor = NewCompressor(module);
  setup.isLinearPcm = OffersLinearPcm(*compressor);
  setup.ApplyTo(*compressor);
  setup.format = ChooseFormat(*compressor, {}, nullptr);
  if (KelGetChannelMode(setup.format.layout.c_str()) != compressor->GetChannelMode()) {
    throw Failure("how many channels " + setup.format.layout + " has is not told");
  }
  const std::size_t bytes = setup.format.BytesPerSampleFrame();
  const std::size_t sampleFrames = setup.SampleFramesPerPacket();
  if (bytes == 0 || sampleFrames == 0 || setup.SomeSampleFrames() > kMostBytes / bytes) {
    throw Failure(std::to_string(sampleFrames) + " sample frames a packet, of " + std::to_string(bytes) +
                  " bytes each");
  }
  KelAudio_t record = setup.InputRecord();
  if (const RhoStatus status = compressor->CompressFrameBegin(&record); status != kRhoStatusSuccess) {
    throw Failure("CompressFrameBegin answers " + StatusText(status));
  }
  setup.name += " (" + NumberText(setup.format.sampleRate) + " Hz, " + NumberText(setup.format.bits) + " bits, " +
                setup.format.layout + ", " + NumberText(setup.framesPerSecond) + " packets a second, seed " +
                NumberText(Seed()) + ')';
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
  CompressorOwner compressor = ::NewCompressor(module);
  ApplyTo(*compressor);
  return compressor;
}

KelAudio_t StreamSetup::InputRecord() const {
  KelAudio_t record{};
  record.timeScale = format.sampleRate;
  record.format = format.sampleType;
  record.channels = format.channels;
  record.sampleRate = format.sampleRate;
  return record;
}

std::size_t StreamSetup::SampleFramesPerPacket() const {
  return static_cast<std::size_t>(std::floor(format.sampleRate / framesPerSecond + 0.5));
}

std::size_t StreamSetup::SomeSampleFrames() const { return 4 * SampleFramesPerPacket() + SampleFramesPerPacket() / 3; }

StreamSetup DefaultSetup(const CheckedModule& module) {
  StreamSetup setup{.name = "the default settings", .settings = {}, .format = {}};
  SettingsOf(*NewCompressor(module));
  try {
    Complete(setup, module);
  } catch (const std::runtime_error& refusal) {
    throw CheckSkipped{refusal.what()};
  }
  return setup;
}

void ForEachSetup(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check) {
  constexpr unsigned int kRandomOnes = 50;
  std::mt19937_64 random(Seed());
  std::string refusal;
  bool isTaken = false;
  for (const Combination& combination : CombinationsOf(*NewCompressor(module), kRandomOnes)) {
    StreamSetup setup{.name = combination.name,
                      .settings = combination,
                      .framesPerSecond = kFrameRates[random() % kFrameRates.size()],
                      .format = {}};
    try {
      Complete(setup, module);
    } catch (const std::runtime_error& failure) {
      refusal = combination.name + ": " + failure.what();
      continue;
    }
    isTaken = true;
    check(setup);
  }
  if (!isTaken) {
    throw CheckSkipped{refusal};
  }
}

void OnlyForLinearPcm(const StreamSetup& setup) {
  if (!setup.isLinearPcm) {
    throw CheckSkipped{"packets are not of linear PCM (type 24)"};
  }
}

std::string StatusText(RhoStatus status) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "status %08X", status);
  return text.data();
}
