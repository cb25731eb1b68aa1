#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/MemoryUsage.h"
#include "Host/Validate/Support/ProcessState.h"
#include "Host/Validate/Support/Situations.h"
#include "Host/Validate/Support/StreamRun.h"

#include <algorithm>
#include <array>

namespace {

/// Repeats an action a thousand times and expects no more memory and no more descriptors afterwards. A hundred times
/// before that are not counted: memory needs them to settle.
template <class Action>
void ExpectFlat(const Action& action) {
  constexpr int kTimes = 1000;
  constexpr std::size_t kHeapSlack = std::size_t{8} * kTimes;  // the smallest block takes more than that each time
  constexpr std::size_t kMappedSlack = std::size_t{1024} * 1024;
  for (int time = 0; time < kTimes / 10; ++time) {
    action();
  }
  const MemoryUsage before;
  const std::size_t descriptorsBefore = Descriptors().size();
  for (int time = 0; time < kTimes; ++time) {
    action();
  }
  const MemoryUsage after;
  const auto expectAtMost = [](std::size_t is, std::size_t was, std::size_t slack, const char* what) {
    ExpectThat(is <= was + slack, fmt::to_string(is), "{} {} as before, a thousand times later", was, what);
  };
  expectAtMost(after.heap, before.heap, kHeapSlack, "bytes allocated");
  expectAtMost(after.mapped, before.mapped, kMappedSlack, "bytes mapped");
  expectAtMost(Descriptors().size(), descriptorsBefore, 0, "open descriptors");
}

/// A thousand compressors, one after the other.
void CreatesAThousand(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    ExpectFlat([&] { module.CreateCompressor(info).reset(); });
  }
}

/// A thousand runs of one compressor.
void RunsAThousandTimes(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const CompressorOwner compressor = setup.NewCompressor(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  ExpectFlat([&] {
    OutputRecord out(setup.format.sampleRate);
    ExpectEqual(kRhoStatusSuccess, RunInto(*compressor, setup, input, out), "status of a run");
  });
}

/// A copy of the compressor. Fails the check for null.
CompressorOwner CopyOf(IAudioCompressor& compressor) {
  CompressorOwner copy(compressor.CreateCopy());
  Expect(copy != nullptr, "a copy from CreateCopy", "null");
  return copy;
}

/// A compressor, a copy of it and a copy of the copy finish the same run and are released, in each order.
void CopiesEndInAnyOrder(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  std::array<std::size_t, 3> order{0, 1, 2};
  do {
    std::array<CompressorOwner, 3> compressors;
    compressors[0] = setup.NewCompressor(module);
    StreamRun run(*compressors[0], setup);
    const std::vector<PacketRecord> begun = run.Give(Bytes(input).first(half)).packets;
    compressors[1] = CopyOf(*compressors[0]);
    compressors[2] = CopyOf(*compressors[1]);
    for (const std::size_t index : order) {
      StreamRun rest(*compressors[index], run);
      std::vector<PacketRecord> packets = begun;
      Append(packets, rest.Give(Bytes(input).subspan(half)).packets);
      Append(packets, rest.Flush().packets);
      rest.End();
      ExpectSamePackets(expected, packets, fmt::format("of a run continued by copy {} of the compressor", index));
      compressors[index].reset();
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

/// The packets do not depend on the contents of fresh memory: the check runs once for each of kMemoryContents.
void IsInitialised(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const CompressorOwner compressor = setup.NewCompressor(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  for (int time = 0; time < 2; ++time) {
    for (const StreamCall& call : EncodeCalls(*compressor, setup, input, {1000})) {
      for (const PacketRecord& packet : call.packets) {
        MustAgree(PacketTextWithDigest(packet) + '\n');
      }
      MustAgree(fmt::format("time {}, duration {}, {} sample frames\n", call.output.time, call.output.duration,
                            call.output.sampleCount));
    }
  }
}

/// One call of a run by its letter, whatever it answers.
void Call(char letter, IAudioCompressor& compressor, KelAudio_t in, KelEncAudio_t& out) {
  switch (letter) {
    case 'b':
      compressor.CompressFrameBegin(nullptr);
      break;
    case 'c':
      compressor.CompressFrame(&in, &out);
      break;
    case 'f':
      compressor.CompressFrame(nullptr, &out);
      break;
    case 'n':
      compressor.CompressFrame(nullptr, nullptr);
      break;
    default:
      compressor.CompressFrameEnd();
      break;
  }
}

/// The calls of a run in a wrong order do no harm: a run after them gives the expected packets.
void TakesCallsInAnyOrder(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  // begin, compress, flush, flush into nothing, end
  for (const std::string_view calls :
       {"c",   "f",   "n",   "e",    "ee", "cfe",  "bb",     "be",  "bcb",   "bce",   "bcec",
        "bff", "bfc", "bfb", "bfbc", "bn", "bcnn", "bcfeef", "fbc", "ebcfc", "bcbcbc"}) {
    const CompressorOwner compressor = setup.NewCompressor(module);
    OutputRecord out(setup.format.sampleRate);
    for (const char letter : calls) {
      Call(letter, *compressor, setup.InputRecord(input), out);
    }
    compressor->CompressFrameEnd();
    ExpectSamePackets(expected, Encode(*compressor, setup, input, {1000}),
                      fmt::format("of a run after the calls \"{}\"", calls));
  }
}

/// Release returns success in every state of a compressor.
void ReleasesWithSuccess(const CheckedModule& module) {
  ExpectEqual(kRhoStatusSuccess, module.CreateCompressor().release()->Release(), "status of Release");
  ForEachSituation(module, [](IAudioCompressor& compressor, const std::string& when) {
    ExpectEqual(kRhoStatusSuccess, CopyOf(compressor).release()->Release(), "status of Release of a copy, {}", when);
  });
}

/// Environments in which glibc leaves fresh memory as it is, or fills it with one of two patterns.
constexpr std::array<const char*, 3> kMemoryContents{"", "GLIBC_TUNABLES=glibc.malloc.perturb=85",
                                                     "GLIBC_TUNABLES=glibc.malloc.perturb=170"};

}  // namespace

std::span<const Check> LifeChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"life.thousand-creations", "A host makes a compressor for each file of a batch, and runs for weeks.",
       OnModule<CreatesAThousand>, kHasCompressors},
      {"life.thousand-runs", "A host encodes many pieces with one compressor, and runs for weeks.",
       OnModule<RunsAThousandTimes>, kHasSettings},
      {"life.release", "A host that is told that a release failed does not know what it still owns.",
       OnModule<ReleasesWithSuccess>, kHasSettings},
      {"life.copies-in-any-order", "A host copies a compressor, and releases original and copies in any order.",
       OnModule<CopiesEndInAnyOrder>, kHasSettings},
      {"life.initialised", "What depends on the content of fresh memory is different each time.",
       OnModule<IsInitialised>, kHasSettings, kMemoryContents},
      {"life.calls-in-any-order", "A host that cancels, retries or errs must get a status, and the next run be sound.",
       OnModule<TakesCallsInAnyOrder>, kHasSettings},
  });
  return kChecks;
}
