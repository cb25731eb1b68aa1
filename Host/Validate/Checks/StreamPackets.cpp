#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/StreamTimes.h"

#include <algorithm>
#include <array>
#include <functional>
#include <random>

namespace {

/// Sizes from nothing to more than a packet, in no order.
Blocks RandomBlocks(const StreamSetup& setup) {
  std::mt19937_64 random(Seed());
  // At least one block that is not empty, or a run would never end.
  Blocks blocks{1};
  for (int i = 0; i < 50; ++i) {
    blocks.push_back(random() % (2 * setup.SampleFramesPerPacket()));
  }
  return blocks;
}

/// Calls `check` for each setup whose packets are of linear PCM. Skips the check when there is none.
void ForEachLinearPcmSetup(const CheckedModule& module, const std::function<void(const StreamSetup&)>& check) {
  ForEachSetup(module, [&check](const StreamSetup& setup) {
    OnlyForLinearPcm(setup);
    check(setup);
  });
}

/// The packets do not depend on the blocks in which the input comes.
void TakesBlocksOfAnySize(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
    for (const auto& [blocks, text] : {std::pair<Blocks, std::string>{{1}, "1 sample frame"},
                                       {{997}, "997 sample frames"},
                                       // Empty blocks are calls with a data size of 0.
                                       {{0, 300, 0, 0}, "0 and 300 sample frames"},
                                       {{16384}, "16384 sample frames"},
                                       {RandomBlocks(setup), "random sizes"}}) {
      ExpectSamePackets(expected, Encode(*setup.NewCompressor(module), setup, input, blocks),
                        "in blocks of " + text + " as in one, with " + setup.name);
    }
  });
}

/// The payloads of linear PCM, one after the other, are the input.
void KeepsBytes(const CheckedModule& module) {
  ForEachLinearPcmSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    std::vector<unsigned char> output;
    for (const PacketRecord& packet : Encode(*setup.NewCompressor(module), setup, input, {1000})) {
      output.insert(output.end(), packet.payload.begin(), packet.payload.end());
    }
    const auto [differing, same] = std::mismatch(input.begin(), input.end(), output.begin(), output.end());
    // A stream that is too short or too long is left to the comparison of the sizes.
    if (differing != input.end() && same != output.end()) {
      ExpectEqual(*differing, *same, "byte {} of the stream as it was put in, with {}", differing - input.begin(),
                  setup.name);
    }
    ExpectEqual(input.size(), output.size(), "bytes of payload in all with {}", setup.name);
  });
}

/// The packets are in order. For linear PCM, times and counts continue without gaps, call by call.
void CountsTime(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const Blocks blocks = RandomBlocks(setup);
    ExpectInOrder(Encode(*setup.NewCompressor(module), setup, input, blocks), setup);
    if (setup.isLinearPcm) {
      std::uint64_t position = 0;
      for (const StreamCall& call : EncodeCalls(*setup.NewCompressor(module), setup, input, blocks)) {
        ExpectContinues(call, setup, position);
      }
      ExpectEqual(setup.SomeSampleFrames(), position, "sample frames in all with {}", setup.name);
    }
  });
}

/// Each packet of linear PCM has the sample frames of one video frame, the last one what is left.
void SizesPackets(const CheckedModule& module) {
  ForEachRate(module, [&module](const StreamSetup& setup) {
    OnlyForLinearPcm(setup);
    std::uint64_t left = setup.SomeSampleFrames();
    for (const PacketRecord& packet :
         Encode(*setup.NewCompressor(module), setup, SomeInput(setup), RandomBlocks(setup))) {
      const std::uint64_t expected = std::min<std::uint64_t>(left, setup.SampleFramesPerPacket());
      ExpectEqual(expected, SampleFramesOf(packet, setup), "sample frames of the packet at time {} with {}",
                  packet.time, setup.name);
      left -= expected;
    }
  });
}

/// The flush returns what is left: one packet, or none if the input ends with a full packet.
void FlushesTheRest(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  OnlyForLinearPcm(setup);
  const std::size_t full = setup.SampleFramesPerPacket();
  for (const std::size_t sampleFrames : {std::size_t{0}, std::size_t{1}, full - 1, full, full + 1, 3 * full}) {
    const std::vector<StreamCall> calls =
        EncodeCalls(*setup.NewCompressor(module), setup, SomeInput(setup, sampleFrames), {full / 2 + 1});
    constexpr auto kWhere = "{} after {} sample frames, in packets of {}";
    std::uint64_t before = 0;
    for (std::size_t index = 0; index + 1 < calls.size(); ++index) {
      for (const PacketRecord& packet : calls[index].packets) {
        before += SampleFramesOf(packet, setup);
      }
    }
    ExpectEqual(sampleFrames / full * full, before, kWhere, "sample frames before the flush", sampleFrames, full);
    ExpectEqual(sampleFrames % full == 0 ? 0U : 1U, calls.back().packets.size(), kWhere, "packets from the flush",
                sampleFrames, full);
    if (!calls.back().packets.empty()) {
      ExpectEqual(sampleFrames % full, SampleFramesOf(calls.back().packets.front(), setup), kWhere,
                  "sample frames in the packet of the flush", sampleFrames, full);
    }
  }
}

}  // namespace

std::span<const Check> StreamPacketChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"stream.block-sizes", "Hosts cut their input as it comes; the encoding must not depend on where.",
       OnModule<TakesBlocksOfAnySize>, kHasSettings},
      {"stream.bytes", "Packets of linear PCM whose bytes differ from the input's are another sound.",
       OnModule<KeepsBytes>, kHasSettings},
      {"stream.times", "Sound whose times jump or drift is out of step with the picture.", OnModule<CountsTime>,
       kHasSettings},
      {"stream.packet-sizes", "Hosts write one packet of linear PCM for each video frame.", OnModule<SizesPackets>,
       kHasSettings},
      {"stream.flush", "What the flush loses is missing at the end of every file.", OnModule<FlushesTheRest>,
       kHasSettings},
  });
  return kChecks;
}
