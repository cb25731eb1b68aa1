#include "Host/Validate/Checks/AllocationChecks.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/HeldMemory.h"
#include "Host/Validate/Support/ProcessState.h"
#include "Host/Validate/Support/TestRun.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

/// Does it a thousand times, after what it takes for memory to settle.
template <class Action>
void ExpectFlat(const Action& action) {
  constexpr int kTimes = 1000;
  constexpr std::size_t kHeapSlack = std::size_t{8} * kTimes;  // the smallest block takes more than that each time
  constexpr std::size_t kMappedSlack = std::size_t{1024} * 1024;
  for (int time = 0; time < kTimes / 10; ++time) {
    action();
  }
  const HeldMemory before;
  const std::size_t descriptorsBefore = Descriptors().size();
  for (int time = 0; time < kTimes; ++time) {
    action();
  }
  const HeldMemory after;
  const auto expectAtMost = [](std::size_t is, std::size_t was, std::size_t slack, const char* what) {
    Expect(is <= was + slack, std::to_string(was) + what + " as before, a thousand times later", std::to_string(is));
  };
  expectAtMost(after.heap, before.heap, kHeapSlack, " bytes allocated");
  expectAtMost(after.mapped, before.mapped, kMappedSlack, " bytes mapped");
  expectAtMost(Descriptors().size(), descriptorsBefore, 0, " open descriptors");
}

void CreatesAThousand(const std::string& path) {
  const CheckedModule module(path);
  for (const CompressorInfo& info : module.Infos()) {
    ExpectFlat([&] { module.CreateCompressor(info).reset(); });
  }
}

void RunsAThousandTimes(const std::string& path) {
  const CheckedModule module(path);
  const CompressorOwner compressor = module.CreateCompressor();
  const TestInput input(*compressor);
  ExpectFlat([&] {
    OutputRecord out(input.SampleRate());
    ExpectSuccess(input.RunInto(*compressor, out), "a run");
  });
}

CompressorOwner CopyOf(IAudioCompressor& compressor) {
  CompressorOwner copy(compressor.CreateCopy());
  Expect(copy != nullptr, "a copy", "null");
  return copy;
}

void Begin(IAudioCompressor& compressor, const TestInput& input, KelEncAudio_t& out) {
  compressor.ValidateSettings();
  ExpectSuccess(compressor.CompressFrameBegin(nullptr), "the beginning of a run");
  ExpectSuccess(input.CompressInto(compressor, out), "the first buffer of a run");
}

/// The rest of a run in progress.
std::string Finish(IAudioCompressor& compressor, const TestInput& input) {
  OutputRecord out(input.SampleRate());
  ExpectSuccess(input.CompressInto(compressor, out), "a buffer");
  ExpectSuccess(compressor.CompressFrame(nullptr, &out), "a flush");
  ExpectSuccess(compressor.CompressFrameEnd(), "the end of a run");
  return PacketsText(out);
}

void CopiesGoInAnyOrder(const std::string& path) {
  const CheckedModule module(path);
  std::array<std::size_t, 3> order{0, 1, 2};
  std::string first;
  do {
    std::array<CompressorOwner, 3> compressors;
    compressors[0] = module.CreateCompressor();
    const TestInput input(*compressors[0]);
    OutputRecord out(input.SampleRate());
    Begin(*compressors[0], input, out);
    compressors[1] = CopyOf(*compressors[0]);
    compressors[2] = CopyOf(*compressors[1]);
    for (const std::size_t index : order) {
      const std::string rest = Finish(*compressors[index], input);
      first = first.empty() ? rest : first;
      Expect(rest == first, "each copy to continue the run with\n" + first, rest);
      compressors[index].reset();
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

void LeavesItsOutput(const std::string& path) {
  const CheckedModule module(path);
  CompressorOwner compressor = module.CreateCompressor();
  const TestInput input(*compressor);
  OutputRecord out(input.SampleRate());
  Begin(*compressor, input, out);
  for (int time = 0; time < 100 && out.packets == nullptr; ++time) {
    ExpectSuccess(input.CompressInto(*compressor, out), "a buffer");
  }
  const std::string before = PacketsText(out);
  compressor.reset();
  Expect(PacketsText(out) == before, "the packets as they were:\n" + before, PacketsText(out));
  if (out.packets != nullptr) {
    OutputRecord copy(input.SampleRate());
    copy.packets = static_cast<IPacketBundle*>(out.packets->clone());
    Expect(PacketsText(copy) == before, "a clone of the packets:\n" + before, PacketsText(copy));
  }
}

void IsSettledFromTheStart(const std::string& path) {
  const CheckedModule module(path);
  const CompressorOwner compressor = module.CreateCompressor();
  const TestInput input(*compressor);
  for (int time = 0; time < 2; ++time) {
    OutputRecord out(input.SampleRate());
    ExpectSuccess(input.RunInto(*compressor, out), "a run");
    MustAgree(PacketsText(out) + "time " + std::to_string(out.time) + ", duration " + std::to_string(out.duration) +
              ", " + std::to_string(out.sampleCount) + " sample frames\n");
  }
}

/// One call of a run by its letter, whatever it answers.
void Call(char letter, IAudioCompressor& compressor, const TestInput& input, KelEncAudio_t& out) {
  switch (letter) {
    case 'b':
      compressor.CompressFrameBegin(nullptr);
      break;
    case 'c':
      input.CompressInto(compressor, out);
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

void BearsAnyOrder(const std::string& path) {
  const CheckedModule module(path);
  const CompressorOwner reference = module.CreateCompressor();
  const TestInput input(*reference);
  const std::string expected = input.Run(*reference);
  // begin, compress, flush, flush into nothing, end
  for (const std::string_view calls :
       {"c",   "f",   "n",   "e",    "ee", "cfe",  "bb",     "be",  "bcb",   "bce",   "bcec",
        "bff", "bfc", "bfb", "bfbc", "bn", "bcnn", "bcfeef", "fbc", "ebcfc", "bcbcbc"}) {
    const CompressorOwner compressor = module.CreateCompressor();
    OutputRecord out(input.SampleRate());
    for (const char letter : calls) {
      Call(letter, *compressor, input, out);
    }
    compressor->CompressFrameEnd();
    const std::string came = input.Run(*compressor);
    Expect(came == expected, "the usual run after the calls \"" + std::string(calls) + "\":\n" + expected, came);
  }
}

constexpr std::array<const char*, 2> kMemoryContents{"GLIBC_TUNABLES=glibc.malloc.perturb=85",
                                                     "GLIBC_TUNABLES=glibc.malloc.perturb=170"};

constexpr auto kChecks = std::to_array<Check>({
    {"life.thousand-creations", "A host makes a compressor for each file of a batch, and runs for weeks.",
     CreatesAThousand},
    {"life.thousand-runs", "A host encodes many pieces with one compressor, and runs for weeks.", RunsAThousandTimes},
    {"life.copies-in-any-order", "A host copies a compressor, and lets go of original and copies as it pleases.",
     CopiesGoInAnyOrder},
    {"life.output-outlives", "A user cancels: the compressor goes in mid-stream, while its packets are being written.",
     LeavesItsOutput},
    {"life.whatever-memory-held", "What depends on what lay in memory before comes out differently each time.",
     IsSettledFromTheStart, kMemoryContents},
    {"life.calls-in-any-order", "A host that cancels, retries or errs must get a status, and the next run be sound.",
     BearsAnyOrder},
    {"life.no-memory-to-create",
     "A host in want of memory must be told so, not be taken down with its user's work.",
     CreatesWithoutMemory,
     {},
     true},
    {"life.no-memory-to-copy",
     "A host in want of memory must be told so, not be taken down with its user's work.",
     CopiesWithoutMemory,
     {},
     true},
    {"life.no-memory-to-run",
     "A host in want of memory must be told so, and be able to encode when it has some again.",
     RunsWithoutMemory,
     {},
     true},
});

}  // namespace

std::span<const Check> LifeChecks() { return kChecks; }
