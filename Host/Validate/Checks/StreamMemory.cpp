#include "Host/Validate/Checks/StreamCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/GuardedBytes.h"
#include "Host/Validate/Support/HeldMemory.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/StreamTimes.h"
#include "Host/Validate/Support/Subject.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace {

using OwnedBundle = std::unique_ptr<IPacketBundle, PacketDestroyer>;

/// The bundle of an output record, which the record gives up.
OwnedBundle TakeBundle(KelEncAudio_t& output) { return OwnedBundle(std::exchange(output.packets, nullptr)); }

std::vector<PacketRecord> RecordsOf(const IPacketBundle* bundle) {
  std::vector<PacketRecord> packets;
  for (unsigned long index = 0; bundle != nullptr && index < bundle->size(); ++index) {
    packets.push_back(RecordOf(bundle->get(index)));
  }
  return packets;
}

/// Gives `input` to a run in two blocks, which leaves its packets in the bundle.
void GiveAll(StreamRun& run, Bytes input, std::size_t bytesPerSampleFrame) {
  const std::size_t half = input.size() / bytesPerSampleFrame / 2 * bytesPerSampleFrame;
  run.LeavePackets();
  run.Give(input.first(half));
  run.Give(input.subspan(half));
}

/// Encodes `input` in blocks that lie at `edge`.
void TryGuarded(CompressorOwner& compressor, const StreamSetup& setup, Bytes input, GuardedBytes::Edge edge) {
  const std::size_t full = setup.SampleFramesPerPacket();
  const Blocks blocks{full, 0, 1, full - 1, full + 1, 2 * full, 3};
  StreamRun run(*compressor, setup);
  for (std::size_t turn = 0; !input.empty(); ++turn) {
    const std::size_t sampleFrames = blocks[turn % blocks.size()];
    const std::size_t size = std::min(input.size(), sampleFrames * setup.format.BytesPerSampleFrame());
    const GuardedBytes block(input.first(size), edge);
    const std::string fault = block.WhatIsDoneWrong([&] { run.Give(block.Get()); });
    if (!fault.empty()) {
      // Nothing of it may be called any more.
      static_cast<void>(compressor.release());
      throw CheckFailed{"a block of " + std::to_string(size) + " bytes to be read and nothing else, with " + setup.name,
                        fault};
    }
    input = input.subspan(size);
  }
  run.Flush();
  run.End();
}

}  // namespace

void CheckInput(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    for (const auto edge : {GuardedBytes::Edge::kBack, GuardedBytes::Edge::kFront}) {
      CompressorOwner compressor = setup.NewCompressor(module);
      TryGuarded(compressor, setup, input, edge);
    }
  });
}

void CheckOutput(const std::string& path) {
  SpoilFreedMemory();
  const CheckedModule module = LoadModule(path);
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);

  CompressorOwner compressor = setup.NewCompressor(module);
  auto run = std::make_unique<StreamRun>(*compressor, setup);
  GiveAll(*run, input, setup.format.BytesPerSampleFrame());
  run->Flush();
  run->End();
  const OwnedBundle bundle = TakeBundle(run->Output());
  run.reset();
  compressor.reset();
  const std::string after = "after the compressor's end";
  ExpectSamePackets(expected, RecordsOf(bundle.get()), after);
  if (bundle != nullptr && bundle->size() != 0) {
    const OwnedPacket copy(bundle->get(0)->clone());
    const OwnedPacket original(bundle->remove(0));
    ExpectSamePackets({RecordOf(original.get())}, {RecordOf(copy.get())}, "in a clone");
  }

  // And the other way round: the host ends packets while the compressor lives on.
  compressor = setup.NewCompressor(module);
  std::vector<PacketRecord> packets;
  {
    StreamRun second(*compressor, setup);
    GiveAll(second, input, setup.format.BytesPerSampleFrame());
    Append(packets, RecordsOf(TakeBundle(second.Output()).get()));
    second.Flush();
    Append(packets, RecordsOf(TakeBundle(second.Output()).get()));
    second.End();
  }
  ExpectSamePackets(expected, packets, "from a record whose bundle is taken away after each call");
}

void CheckUntaken(const std::string& path) {
  const CheckedModule module = LoadModule(path);
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  GiveAll(run, input, setup.format.BytesPerSampleFrame());
  run.Flush();
  ExpectSamePackets(EncodeAtOnce(module, setup, input), RecordsOf(run.Output().packets),
                    "in a record that nothing is taken out of");
  run.End();
}

void CheckMinute(const std::string& path) {
  constexpr unsigned int kSeconds = 60;
  constexpr unsigned int kWarm = 10;
  constexpr std::size_t kHeapSlack = std::size_t{32} * 1024;
  constexpr std::size_t kMappedSlack = std::size_t{1024} * 1024;
  const CheckedModule module = LoadModule(path);
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> second = SomeInput(setup, setup.format.sampleRate);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  std::uint64_t position = 0;
  HeldMemory warm;
  for (unsigned int elapsed = 0; elapsed < kSeconds; ++elapsed) {
    if (elapsed == kWarm) {
      warm = HeldMemory();
    }
    for (Bytes left = second; !left.empty();) {
      const std::size_t size = std::min(left.size(), std::size_t{1024} * setup.format.BytesPerSampleFrame());
      const StreamCall call = run.Give(left.first(size));
      if (setup.isLinearPcm) {
        ExpectContinues(call, setup, position);
      }
      left = left.subspan(size);
    }
  }
  const HeldMemory end;
  const auto expectFlat = [](std::size_t is, std::size_t was, std::size_t slack, const std::string& what) {
    Expect(is <= was + slack, std::to_string(was) + what + " after a minute of sound as after ten seconds",
           std::to_string(is));
  };
  expectFlat(end.heap, warm.heap, kHeapSlack, " bytes allocated");
  expectFlat(end.mapped, warm.mapped, kMappedSlack, " bytes mapped");
  run.Flush();
  run.End();
}
