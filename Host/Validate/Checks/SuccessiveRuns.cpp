#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/Questions.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/StreamRun.h"

#include <algorithm>
#include <array>
#include <memory>

namespace {

/// A run beside others, block by block.
struct SideRun {
  SideRun(const CheckedModule& module, const StreamSetup& setup, std::size_t sampleFramesPerBlock)
      : input(SomeInput(setup)),
        expected(EncodeAtOnce(module, setup, input)),
        compressor(setup.NewCompressor(module)),
        run(*compressor, setup),
        left(input),
        blockSize(sampleFramesPerBlock * setup.format.BytesPerSampleFrame()) {}
  SideRun(const SideRun&) = delete;
  SideRun& operator=(const SideRun&) = delete;

  /// Takes the next step. False when there is none.
  bool Step() {
    const bool isFlush = left.empty();
    const Bytes block = left.first(std::min(left.size(), blockSize));
    left = left.subspan(block.size());
    Append(packets, (isFlush ? run.Flush() : run.Give(block)).packets);
    return !isFlush;
  }

  std::vector<unsigned char> input;
  std::vector<PacketRecord> expected;
  CompressorOwner compressor;
  StreamRun run;
  std::vector<PacketRecord> packets;
  Bytes left;
  std::size_t blockSize;
};

/// The lowest and the highest settings that the compressor takes, and one of the random ones.
std::vector<StreamSetup> DifferentSetups(const CheckedModule& module) {
  std::vector<StreamSetup> setups;
  ForEachSetup(module, [&setups](const StreamSetup& setup) {
    if (setups.size() < 3) {
      setups.push_back(setup);
    }
  });
  return setups;
}

/// After the flush neither another flush nor more input returns packets.
void EndsWithTheFlush(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  run.Give(input);
  const StreamCall flush = run.Flush();
  for (const char* const what : {"a second flush", "input after the flush"}) {
    // 'a' begins "a second flush".
    const StreamCall call = *what == 'a' ? run.Flush() : run.Give(input);
    ExpectEqual(0U, call.packets.size(), "packets from {}", what);
    ExpectThat(!setup.isLinearPcm || call.output == flush.output,
               fmt::format("time {}, sample count {}", call.output.time, call.output.sampleCount),
               "an output record unchanged by {}", what);
  }
  run.End();
}

/// A second run with the same compressor gives the same packets.
void RunsAgain(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const CompressorOwner compressor = setup.NewCompressor(module);
    const std::vector<PacketRecord> first = Encode(*compressor, setup, input, {1000});
    ExpectSamePackets(first, Encode(*compressor, setup, input, {1000}),
                      "of a second run of the same input, with " + setup.name);
  });
}

/// A run that the host cancelled leaves nothing behind in the next one.
void BeginsAfterUnfinishedRun(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  for (const bool isEnded : {true, false}) {
    {
      StreamRun run(*compressor, setup);
      run.Give(input);
      if (isEnded) {
        run.End();
      }
    }
    ExpectSamePackets(EncodeAtOnce(module, setup, input), Encode(*compressor, setup, input, {1000}),
                      fmt::format("of a new run after one that was not flushed{}", isEnded ? "" : " nor ended"));
  }
}

/// Runs of several compressors that take turns, two for each setup, give the same packets as each alone.
void RunsSideBySide(const CheckedModule& module) {
  const std::vector<StreamSetup> setups = DifferentSetups(module);
  std::vector<std::unique_ptr<SideRun>> runs;
  std::size_t sampleFrames = 500;
  for (const StreamSetup& setup : setups) {
    for (int twin = 0; twin < 2; ++twin) {
      // Blocks of different sizes, so that the runs drift apart and reach their ends at different times.
      runs.push_back(std::make_unique<SideRun>(module, setup, sampleFrames += 111));
    }
  }
  std::vector<SideRun*> running(runs.size());
  std::transform(runs.begin(), runs.end(), running.begin(), [](const auto& run) { return run.get(); });
  while (!running.empty()) {
    std::erase_if(running, [](SideRun* run) { return !run->Step(); });
  }
  for (std::size_t index = 0; index < runs.size(); ++index) {
    ExpectSamePackets(runs[index]->expected, runs[index]->packets,
                      fmt::format("beside {} other runs as alone, with {}", runs.size() - 1, setups[index / 2].name));
  }
}

/// A copy made in the middle of a run continues it, and so does the original: independently of each other.
void CopiesContinueRuns(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  const Bytes rest = Bytes(input).subspan(half);

  CompressorOwner original = setup.NewCompressor(module);
  StreamRun run(*original, setup);
  std::vector<PacketRecord> packets = run.Give(Bytes(input).first(half)).packets;
  const CompressorOwner copy(original->CreateCopy());
  Expect(copy != nullptr, "a copy from CreateCopy during a run", "null");
  StreamRun copiedRun(*copy, run);
  std::vector<PacketRecord> copied = packets;
  Append(packets, run.Give(rest).packets);
  Append(packets, run.Flush().packets);
  run.End();
  // The copy goes on without the original.
  original.reset();
  Append(copied, copiedRun.Give(rest).packets);
  Append(copied, copiedRun.Flush().packets);
  copiedRun.End();
  ExpectSamePackets(expected, packets, "of a run whose compressor is copied half-way");
  ExpectSamePackets(expected, copied, "of a run that a copy of the compressor continues half-way");
}

/// Between two blocks a host asks the compressor and its settings everything, validates them, tells hints once more and
/// makes copies. Nothing of that changes the stream or the settings.
void AnswersDuringRuns(const CheckedModule& module) {
  ForEachSetup(module, [&module](const StreamSetup& setup) {
    const std::vector<unsigned char> input = SomeInput(setup);
    const CompressorOwner compressor = setup.NewCompressor(module);
    const std::vector<NamedSetting> settings = SettingsOf(*compressor);
    const std::vector<SettingState> states = StatesOf(settings);
    StreamRun run(*compressor, setup);
    std::vector<PacketRecord> packets;
    for (Bytes left = input; !left.empty();) {
      const Bytes block = left.first(std::min(left.size(), setup.WholeBytes(input.size() / 7) + setup.WholeBytes(100)));
      left = left.subspan(block.size());
      Append(packets, run.Give(block).packets);
      AskEverything(*compressor);
      compressor->ValidateSettings();
      setup.ApplyHintsTo(*compressor);
      CompressorOwner(compressor->CreateCopy()).reset();
      for (const NamedSetting& named : settings) {
        const std::unique_ptr<ISetting> copy(named.setting->CreateCopy());
      }
      ExpectSameStates(states, StatesOf(settings), "a block of a run, with " + setup.name);
    }
    Append(packets, run.Flush().packets);
    run.End();
    ExpectSamePackets(EncodeAtOnce(module, setup, input), packets,
                      "of a run during which a host asks and copies, with " + setup.name);
  });
}

}  // namespace

std::span<const Check> StreamRunChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"stream.after-flush", "Packets after the end of the stream would be heard as an echo of it.",
       OnModule<EndsWithTheFlush>, kHasSettings},
      {"stream.second-run", "A host that encodes files one after another uses one compressor.", OnModule<RunsAgain>,
       kHasSettings},
      {"stream.unfinished-run", "After a cancelled encoding the next one must not begin with its remains.",
       OnModule<BeginsAfterUnfinishedRun>, kHasSettings},
      {"stream.interleaved", "Hosts encode several files at a time; hidden shared state mixes them up.",
       OnModule<RunsSideBySide>, kHasSettings},
      {"stream.questions", "A host shows what a compressor says while it encodes; that must not change the stream.",
       OnModule<AnswersDuringRuns>, kHasSettings},
      {"stream.run-copies", "A copy made during a run continues from the same point, independently.",
       OnModule<CopiesContinueRuns>, kHasSettings},
  });
  return kChecks;
}
