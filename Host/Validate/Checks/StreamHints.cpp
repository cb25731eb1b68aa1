#include "Host/Validate/Checks/StreamCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/Subject.h"

#include <algorithm>
#include <array>
#include <limits>
#include <list>

namespace {

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
      const std::string call = "SetOutputPacketType(" + std::to_string(type) + "), which is not possible, ";
      const unsigned int answer = compressor.SetOutputPacketType(type);
      Expect(answer == 0, call + "to answer 0", std::to_string(answer));
      Expect(compressor.GetOutputPacketType() == before, call + "to leave " + std::to_string(before),
             std::to_string(compressor.GetOutputPacketType()));
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

}  // namespace

void CheckHints(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
    std::array<int, kHints.size()> order{0, 1, 2, 3};
    do {
      // The other operations of a new compressor are tried with its hints as they are.
      const CompressorOwner compressor = NewCompressor(module);
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

void CheckRefusals(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  const CompressorOwner compressor = setup.NewCompressor(module);
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
    expectUsable("a frame-rate hint of " + std::to_string(framesPerSecond));
  }
  StreamRun run(*compressor, setup);
  run.Give(Bytes(input).first(setup.format.BytesPerSampleFrame()));
  const RhoStatus status = compressor->CompressFrame(nullptr, nullptr);
  Expect(status != kRhoStatusSuccess, "CompressFrame without an output record to answer a status that is no success",
         StatusText(status));
  run.End();
  expectUsable("CompressFrame without an output record");
}
