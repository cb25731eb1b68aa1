#include "Host/Validate/Checks/StreamCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/StreamTimes.h"
#include "Host/Validate/Support/Subject.h"

#include <algorithm>
#include <random>

namespace {

/// Sizes from nothing to more than a packet, in no order.
Blocks RandomBlocks(const StreamSetup& setup) {
  std::mt19937_64 random(Seed());
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

}  // namespace

void CheckBlockSizes(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
    for (const auto& [blocks, text] : {std::pair<Blocks, std::string>{{1}, "1 sample frame"},
                                       {{997}, "997 sample frames"},
                                       {{0, 300, 0, 0}, "0 and 300 sample frames"},
                                       {{16384}, "16384 sample frames"},
                                       {RandomBlocks(setup), "random sizes"}}) {
      ExpectSamePackets(expected, Encode(*setup.NewCompressor(module), setup, input, blocks),
                        "in blocks of " + text + " as in one, with " + setup.name);
    }
  });
}

void CheckBytes(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachLinearPcmSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    std::vector<unsigned char> output;
    for (const PacketRecord& packet : Encode(*setup.NewCompressor(module), setup, input, {1000})) {
      output.insert(output.end(), packet.payload.begin(), packet.payload.end());
    }
    const auto [differing, same] = std::mismatch(input.begin(), input.end(), output.begin(), output.end());
    if (differing != input.end() && same != output.end()) {
      ExpectNumber(
          *differing, *same,
          "byte " + std::to_string(differing - input.begin()) + " of the stream as it was put in, with " + setup.name);
    }
    ExpectNumber(input.size(), output.size(), "bytes of payload in all with " + setup.name);
  });
}

void CheckTimes(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const Blocks blocks = RandomBlocks(setup);
    ExpectInOrder(Encode(*setup.NewCompressor(module), setup, input, blocks), setup);
    if (setup.isLinearPcm) {
      std::uint64_t position = 0;
      for (const StreamCall& call : EncodeCalls(*setup.NewCompressor(module), setup, input, blocks)) {
        ExpectContinues(call, setup, position);
      }
      ExpectNumber(setup.SomeSampleFrames(), position, "sample frames in all with " + setup.name);
    }
  });
}

void CheckPacketSizes(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachLinearPcmSetup(module, [&module](const StreamSetup& setup) {
    std::uint64_t left = setup.SomeSampleFrames();
    for (const PacketRecord& packet :
         Encode(*setup.NewCompressor(module), setup, SomeInput(setup), RandomBlocks(setup))) {
      const std::uint64_t expected = std::min<std::uint64_t>(left, setup.SampleFramesPerPacket());
      ExpectNumber(expected, SampleFramesOf(packet, setup),
                   "sample frames of the packet at time " + std::to_string(packet.time) + " with " + setup.name);
      left -= expected;
    }
  });
}

void CheckFlush(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const StreamSetup setup = DefaultSetup(module);
  OnlyForLinearPcm(setup);
  const std::size_t full = setup.SampleFramesPerPacket();
  for (const std::size_t sampleFrames : {std::size_t{0}, std::size_t{1}, full - 1, full, full + 1, 3 * full}) {
    const std::vector<StreamCall> calls =
        EncodeCalls(*setup.NewCompressor(module), setup, SomeInput(setup, sampleFrames), {full / 2 + 1});
    const std::string after = std::to_string(sampleFrames) + " sample frames, in packets of " + std::to_string(full);
    std::uint64_t before = 0;
    for (std::size_t index = 0; index + 1 < calls.size(); ++index) {
      for (const PacketRecord& packet : calls[index].packets) {
        before += SampleFramesOf(packet, setup);
      }
    }
    ExpectNumber(sampleFrames / full * full, before, "sample frames in packets before the flush after " + after);
    ExpectNumber(sampleFrames % full == 0 ? 0 : 1, calls.back().packets.size(),
                 "packets from the flush after " + after);
    if (!calls.back().packets.empty()) {
      ExpectNumber(sampleFrames % full, SampleFramesOf(calls.back().packets.front(), setup),
                   "sample frames in the flush's packet after " + after);
    }
  }
}
