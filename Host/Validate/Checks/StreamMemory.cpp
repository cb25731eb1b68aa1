#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/GuardedBytes.h"
#include "Host/Validate/Support/MemoryUsage.h"
#include "Host/Validate/Support/StreamRun.h"
#include "Host/Validate/Support/StreamTimes.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace {

using OwnedBundle = std::unique_ptr<IPacketBundle, PacketDestroyer>;

/// The bundle of an output record, which the record gives up.
OwnedBundle TakeBundle(KelEncAudio_t& output) { return OwnedBundle(std::exchange(output.packets, nullptr)); }

/// Gives `input` to a run in two blocks, which leaves its packets in the bundle.
void GiveAll(StreamRun& run, const StreamSetup& setup, Bytes input) {
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  run.LeavePackets();
  run.Give(input.first(half));
  run.Give(input.subspan(half));
}

/// Encodes `input` in blocks that lie at `edge`.
void TryGuarded(CompressorOwner& compressor, const StreamSetup& setup, Bytes input, GuardedBytes::Edge edge) {
  const std::size_t full = setup.SampleFramesPerPacket();
  // Sizes around a packet: whole packets, less and more than one, and nothing.
  const Blocks blocks{full, 0, 1, full - 1, full + 1, 2 * full, 3};
  StreamRun run(*compressor, setup);
  for (std::size_t turn = 0; !input.empty(); ++turn) {
    const std::size_t sampleFrames = blocks[turn % blocks.size()];
    const std::size_t size = std::min(input.size(), sampleFrames * setup.format.BytesPerSampleFrame());
    const GuardedBytes block(input.first(size), edge);
    const std::string fault = block.FirstFault([&] { run.Give(block.Get()); });
    if (!fault.empty()) {
      // Nothing of it may be called any more.
      static_cast<void>(compressor.release());
      throw CheckFailed{fmt::format("nothing but reading from a block of {} bytes, with {}", size, setup.name), fault};
    }
    input = input.subspan(size);
  }
  run.Flush();
  run.End();
}

/// The compressor reads the blocks of its input and nothing beside them, and writes to none.
void ReadsInputOnly(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    for (const auto edge : {GuardedBytes::Edge::kBack, GuardedBytes::Edge::kFront}) {
      CompressorOwner compressor = setup.NewCompressor(module);
      TryGuarded(compressor, setup, input, edge);
    }
  });
}

/// Packets outlive the compressor, and the compressor does not need the packets that it has given away.
void GivesPacketsAway(const CheckedModule& module) {
  SpoilFreedMemory();
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);

  CompressorOwner compressor = setup.NewCompressor(module);
  auto run = std::make_unique<StreamRun>(*compressor, setup);
  GiveAll(*run, setup, input);
  run->Flush();
  run->End();
  const OwnedBundle bundle = TakeBundle(run->Output());
  run.reset();
  compressor.reset();
  const std::string after = "after the release of the compressor";
  ExpectSamePackets(expected, RecordsOf(bundle.get()), after);
  if (bundle != nullptr && bundle->size() != 0) {
    const OwnedPacket copy(bundle->get(0)->clone());
    const OwnedPacket original(bundle->remove(0));
    ExpectSamePackets({RecordOf(original.get())}, {RecordOf(copy.get())}, "in a clone");
  }

  // The other way round: the host destroys packets while the compressor lives on.
  compressor = setup.NewCompressor(module);
  std::vector<PacketRecord> packets;
  {
    StreamRun second(*compressor, setup);
    GiveAll(second, setup, input);
    Append(packets, RecordsOf(TakeBundle(second.Output()).get()));
    second.Flush();
    Append(packets, RecordsOf(TakeBundle(second.Output()).get()));
    second.End();
  }
  ExpectSamePackets(expected, packets, "from a record whose bundle is taken away after each call");
}

/// Packets that nobody takes out stay in the bundle, in order.
void LeavesPackets(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  GiveAll(run, setup, input);
  run.Flush();
  ExpectSamePackets(EncodeAtOnce(module, setup, input), RecordsOf(run.Output().packets),
                    "in a record that nothing is taken out of");
  run.End();
}

/// Memory does not grow between the tenth and the sixtieth second of a run, and the next run is as usual.
void RunsForAMinute(const CheckedModule& module) {
  constexpr unsigned int kSeconds = 60;
  constexpr unsigned int kWarm = 10;
  // Allows for a few buffers. A byte that is kept for each sample frame exceeds it many times.
  constexpr std::size_t kHeapSlack = std::size_t{32} * 1024;
  constexpr std::size_t kMappedSlack = std::size_t{1024} * 1024;
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> second = SomeInput(setup, setup.format.sampleRate);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  std::uint64_t position = 0;
  MemoryUsage warm;
  for (unsigned int elapsed = 0; elapsed < kSeconds; ++elapsed) {
    if (elapsed == kWarm) {
      warm = MemoryUsage();
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
  const MemoryUsage end;
  const auto expectFlat = [](std::size_t is, std::size_t was, std::size_t slack, const char* what) {
    ExpectThat(is <= was + slack, fmt::to_string(is), "{} bytes {} after a minute of sound as after ten seconds", was,
               what);
  };
  expectFlat(end.heap, warm.heap, kHeapSlack, "allocated");
  expectFlat(end.mapped, warm.mapped, kMappedSlack, "mapped");
  run.Flush();
  run.End();
  StreamRun next(*compressor, setup);
  std::vector<PacketRecord> packets = next.Give(second).packets;
  Append(packets, next.Flush().packets);
  next.End();
  ExpectSamePackets(EncodeAtOnce(module, setup, second), packets, "of a run after one of a minute");
}

}  // namespace

std::span<const Check> StreamMemoryChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"stream.input", "A read beyond the input, or a write into it, crashes hosts or spoils their sound.",
       OnModule<ReadsInputOnly>, kHasSettings},
      {"stream.output", "Hosts keep packets until they are written, also when the compressor is gone.",
       OnModule<GivesPacketsAway>, kHasSettings},
      {"stream.untaken", "Hosts may take packets out late; they pile up meanwhile.", OnModule<LeavesPackets>,
       kHasSettings},
      {"stream.minute", "Memory that grows with the length of the sound runs out in the middle of it.",
       OnModule<RunsForAMinute>, kHasSettings},
  });
  return kChecks;
}
