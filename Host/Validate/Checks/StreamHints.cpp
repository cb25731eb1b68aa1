#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/StreamRun.h"

#include <algorithm>
#include <array>
#include <limits>
#include <list>

namespace {

/// The file format of the hint: Matroska.
constexpr unsigned int kMatroskaCode = FourCharacterCode(" MKV");

using Hint = void (*)(IAudioCompressor&, const StreamSetup&);

/// What a host tells a compressor before a run.
constexpr std::array<Hint, 4> kHints{
    [](IAudioCompressor& compressor, const StreamSetup&) { compressor.SetFileFormatHint(kMatroskaCode); },
    [](IAudioCompressor& compressor, const StreamSetup&) { compressor.SetStreamModeHint(kOutputStreamModeDefault); },
    [](IAudioCompressor& compressor, const StreamSetup& setup) { compressor.SetFrameRateHint(setup.framesPerSecond); },
    [](IAudioCompressor& compressor, const StreamSetup& setup) { setup.ApplySettingsTo(compressor); }};

/// A packet type that is not among the possible ones is refused, and the one in use stays.
void ExpectTypeRefused(IAudioCompressor& compressor) {
  std::list<IPacket::TPacketType> possible;
  compressor.QueryPossiblePacketTypes(possible);
  for (const auto type :
       {IPacket::kPacketTypeNone, IPacket::kPacketTypeBundle, static_cast<IPacket::TPacketType>(999)}) {
    if (std::find(possible.begin(), possible.end(), type) == possible.end()) {
      const IPacket::TPacketType before = compressor.GetOutputPacketType();
      ExpectEqual(0U, compressor.SetOutputPacketType(type), "SetOutputPacketType({}), which is not possible",
                  unsigned{type});
      ExpectEqual(unsigned{before}, unsigned{compressor.GetOutputPacketType()},
                  "output packet type after {} was refused", unsigned{type});
    }
  }
}

/// Tries to begin a run with a hint that makes none possible. A compressor that has no use for the hint may begin it.
void TryFrameRate(IAudioCompressor& compressor, const StreamSetup& setup, double framesPerSecond) {
  compressor.SetFrameRateHint(framesPerSecond);
  KelAudio_t record = setup.InputRecord();
  if (compressor.CompressFrameBegin(&record) == kRhoStatusSuccess) {
    compressor.CompressFrameEnd();
  }
}

/// The packets do not depend on the order of hints and settings.
void TakesHintsInAnyOrder(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
    std::array<int, kHints.size()> order{0, 1, 2, 3};
    do {
      // The other operations of a new compressor are tried with its hints as they are.
      const CompressorOwner compressor = module.CreateCompressor();
      std::string text;
      for (const int index : order) {
        kHints[static_cast<std::size_t>(index)](*compressor, setup);
        text += std::string(text.empty() ? "" : ", ") +
                std::array{"file format", "stream mode", "frame rate", "settings"}[static_cast<std::size_t>(index)];
      }
      ExpectSamePackets(expected, Encode(*compressor, setup, input, {1000}),
                        "when a host tells the compressor, in this order, " + text + ": " + setup.name);
    } while (std::next_permutation(order.begin(), order.end()));
  });
}

/// A run after each refusal gives the expected packets.
void SurvivesRefusals(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  const CompressorOwner compressor = setup.NewCompressor(module);
  // The hints are set again: a compressor may keep one that it cannot use.
  const auto expectUsable = [&](const std::string& after) {
    setup.ApplyHintsTo(*compressor);
    ExpectSamePackets(expected, Encode(*compressor, setup, input, {1000}), "after " + after);
  };
  ExpectTypeRefused(*compressor);
  expectUsable("packet types that are not possible");
  for (const unsigned int code : {0U, FourCharacterCode("UNDF"), std::numeric_limits<unsigned int>::max()}) {
    if (compressor->IsFormatSupported(code) == 0) {
      compressor->SetFileFormatHint(code);
      expectUsable("the hint of a file format that is not supported");
    }
  }
  using Limits = std::numeric_limits<double>;
  for (const double framesPerSecond : {0.0, -25.0, Limits::infinity(), Limits::quiet_NaN()}) {
    TryFrameRate(*compressor, setup, framesPerSecond);
    expectUsable(fmt::format("a frame-rate hint of {}", framesPerSecond));
  }
  StreamRun run(*compressor, setup);
  run.Give(Bytes(input).first(setup.format.BytesPerSampleFrame()));
  const RhoStatus status = compressor->CompressFrame(nullptr, nullptr);
  Expect(status != kRhoStatusSuccess, "CompressFrame without an output record to answer a status that is no success",
         StatusText(status));
  run.End();
  expectUsable("CompressFrame without an output record");
}

}  // namespace

std::span<const Check> StreamHintChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"stream.hints", "Hosts tell settings and hints in an order of their own.", OnModule<TakesHintsInAnyOrder>,
       kHasSettings},
      {"stream.refusals", "Hosts ask for what is not possible and go on with something else.",
       OnModule<SurvivesRefusals>, kHasSettings},
  });
  return kChecks;
}
