#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/MemoryUsage.h"
#include "Host/Validate/Support/Questions.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/StreamRun.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <list>
#include <memory>

namespace {

/// Something that a host does, after which no memory must be left.
struct Action {
  const char* name;
  void (*run)(const CheckedModule& module, const StreamSetup& setup, Bytes input);
};

/// Calls the operations that need no run, with accepted and with refused arguments. The answers do not matter.
void Ask(IAudioCompressor& compressor) {
  AskEverything(compressor);
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  compressor.SetOutputPacketType(types.empty() ? IPacket::kPacketTypeNone : types.front());
  for (const unsigned int format : {FourCharacterCode(" MKV"), FourCharacterCode("UNDF"), 0U}) {
    compressor.SetFileFormatHint(format);
  }
  compressor.SetStreamModeHint(kOutputStreamModeDefault);
  compressor.SetExtendedSettings(nullptr, 0);
}

/// Gives every setting each of its values, long texts, and indexes out of range, and copies it.
void UseSettings(IAudioCompressor& compressor) {
  for (const NamedSetting& named : ValueSettingsOf(compressor)) {
    for (const std::string& value : ValuesToTry(*named.setting)) {
      try {
        SetValueText(*named.setting, value);
      } catch (const WrongUse&) {
        continue;  // not together with the others
      }
      compressor.ValidateSettings();
    }
    named.setting->SetToolTipText("a text that is longer than what a string holds inside");
    named.setting->SetOptionalText("a text that is longer than what a string holds inside");
    named.setting->GetToolTipText();
    named.setting->GetOptionalText();
    MisuseSetting(*named.setting);
    const std::unique_ptr<ISetting> copy(named.setting->CreateCopy());
  }
}

/// Everything that a host does, refused calls and runs that are cancelled included.
constexpr std::array<Action, 9> kActions{
    Action{"creating and releasing a compressor",
           [](const CheckedModule& module, const StreamSetup&, Bytes) { module.CreateCompressor().reset(); }},
    {"refused creations", [](const CheckedModule& module, const StreamSetup&, Bytes) { module.Create(0, 0); }},
    {"asking a compressor",
     [](const CheckedModule& module, const StreamSetup&, Bytes) { Ask(*module.CreateCompressor()); }},
    {"using and copying settings",
     [](const CheckedModule& module, const StreamSetup&, Bytes) { UseSettings(*module.CreateCompressor()); }},
    {"a run",
     [](const CheckedModule& module, const StreamSetup& setup, Bytes input) {
       OutputRecord out(setup.format.sampleRate);
       RunInto(*setup.NewCompressor(module), setup, input, out);
     }},
    {"a run with nothing to flush",
     [](const CheckedModule& module, const StreamSetup& setup, Bytes input) {
       const std::size_t packet = setup.SampleFramesPerPacket() * setup.format.BytesPerSampleFrame();
       OutputRecord out(setup.format.sampleRate);
       RunInto(*setup.NewCompressor(module), setup, input.first(2 * packet), out);
     }},
    {"a run that is copied, refused calls, and not finished",
     [](const CheckedModule& module, const StreamSetup& setup, Bytes input) {
       const CompressorOwner compressor = setup.NewCompressor(module);
       StreamRun run(*compressor, setup);
       run.Give(input);
       CompressorOwner(compressor->CreateCopy()).reset();
       compressor->CompressFrame(nullptr, nullptr);
       KelAudio_t withoutData = setup.InputRecord(input);
       withoutData.data = nullptr;
       compressor->CompressFrame(&withoutData, &run.Output());
       run.Output().sampleRate = 0;
       compressor->CompressFrame(nullptr, &run.Output());
       compressor->SetFrameRateHint(0);
       compressor->CompressFrameBegin(nullptr);
       setup.ApplyHintsTo(*compressor);
       compressor->CompressFrameBegin(nullptr);
     }},
    {"a run that goes on after its end, and is copied then",
     [](const CheckedModule& module, const StreamSetup& setup, Bytes input) {
       const CompressorOwner compressor = setup.NewCompressor(module);
       StreamRun run(*compressor, setup);
       run.Flush();
       run.Give(input);
       CompressorOwner(compressor->CreateCopy()).reset();
       run.End();
     }},
    {"cloning and moving packets", [](const CheckedModule& module, const StreamSetup& setup, Bytes input) {
       OutputRecord out(setup.format.sampleRate);
       RunInto(*setup.NewCompressor(module), setup, input, out);
       if (out.packets != nullptr && out.packets->size() > 1) {
         const OwnedPacket copy(out.packets->clone());
         const OwnedPacket replaced(out.packets->replace(0, out.packets->get(1)->clone()));
         const OwnedPacket removed(out.packets->remove(1));
         out.packets->append(removed->clone());
         out.packets->get(out.packets->size());
         out.packets->remove(out.packets->size());
         out.packets->replace(out.packets->size(), removed.get());
         out.packets->clear();
       }
     }}};

/// Fails the check unless as many blocks and bytes are in use after `what` as before.
void ExpectNothingLeft(const MemoryUsage& before, const MemoryUsage& after, const std::string& what) {
  ExpectEqual(0, after.blocks - before.blocks, "blocks of memory that are never freed after {}", what);
  ExpectEqual(before.heap, after.heap, "bytes in use after {}", what);
}

/// No action leaves memory allocated, whatever the settings.
void LeavesNoMemory(const CheckedModule& module) {
  const auto runAll = [&module](bool isJudged) {
    ForEachSetup(module, [&](const StreamSetup& setup) {
      const std::vector<unsigned char> input = SomeInput(setup);
      for (const Action& action : kActions) {
        const std::string what = fmt::format("{}, with {}", action.name, setup.name);
        action.run(module, setup, input);
        // After the first time, since a module may keep memory that it allocates only once.
        const MemoryUsage before;
        action.run(module, setup, input);
        action.run(module, setup, input);
        const MemoryUsage after;
        if (isJudged) {
          ExpectNothingLeft(before, after, what);
        }
      }
    });
  };
  runAll(true);
  // All of it once more, compared as a whole: memory that grows in steps may have grown outside of the comparisons
  // above.
  const MemoryUsage before;
  runAll(false);
  const MemoryUsage after;
  ExpectNothingLeft(before, after, "all of it once more");
}

/// Seconds of processor time that this thread has used.
double ProcessorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The cost of each of many equal parts of some work must not grow: the cheapest of the last quarter costs at most a
/// few times what the cheapest of the first quarter does.
void ExpectEvenCost(const std::vector<double>& seconds, const char* work) {
  // Tolerates other work on the machine: a cost that grows with the length is far larger in the last quarter.
  constexpr double kFactor = 4;
  constexpr double kSlack = 0.001;
  const auto quarter = static_cast<std::ptrdiff_t>(seconds.size() / 4);
  const double first = *std::min_element(seconds.begin(), seconds.begin() + quarter);
  const double last = *std::min_element(seconds.end() - quarter, seconds.end());
  ExpectThat(last <= kFactor * first + kSlack, fmt::format("{:.2f} ms", 1000 * last),
             "{} to cost no more later than at first: {:.2f} ms of processor time", work, 1000 * first);
}

/// Takes all packets out from the front. Seconds for each thousand, the last ones first.
std::vector<double> Drain(IPacketBundle& bundle) {
  constexpr unsigned long kMany = 1000;
  std::vector<double> seconds;
  while (bundle.size() >= kMany) {
    const double start = ProcessorSeconds();
    for (unsigned long count = 0; count < kMany; ++count) {
      OwnedPacket(bundle.remove(0)).reset();
    }
    seconds.insert(seconds.begin(), ProcessorSeconds() - start);
  }
  return seconds;
}

/// Later parts of a run cost no more processor time and no more allocations than the first ones, whether or not the
/// host takes the packets out.
void CostsTheSameLater(const CheckedModule& module) {
  constexpr int kParts = 40;
  const StreamSetup setup = DefaultSetup(module);
  const CompressorOwner compressor = setup.NewCompressor(module);
  const std::size_t frame = setup.format.BytesPerSampleFrame();
  const std::vector<unsigned char> input = SomeInput(setup, std::size_t{2} * setup.format.sampleRate);
  std::vector<double> taken;
  std::vector<double> untaken;
  std::vector<double> drained;
  std::vector<long> allocations;
  for (const bool takesPackets : {true, false}) {
    OutputRecord out(setup.format.sampleRate);
    // Packets of 64 sample frames, so that a bundle from which nothing is taken becomes long.
    compressor->SetFrameRateHint(takesPackets ? setup.framesPerSecond : setup.format.sampleRate / 64.0);
    KelAudio_t record = setup.InputRecord();
    ExpectEqual(kRhoStatusSuccess, compressor->CompressFrameBegin(&record), "status of CompressFrameBegin");
    for (int part = 0; part < kParts; ++part) {
      const double start = ProcessorSeconds();
      const long counted = CountAllocations();
      for (Bytes left(input); !left.empty(); left = left.subspan(std::min(left.size(), 2048 * frame))) {
        record = setup.InputRecord(left.first(std::min(left.size(), 2048 * frame)));
        compressor->CompressFrame(&record, &out);
        if (takesPackets && out.packets != nullptr) {
          out.packets->clear();
        }
      }
      (takesPackets ? taken : untaken).push_back(ProcessorSeconds() - start);
      if (takesPackets) {
        allocations.push_back(CountAllocations() - counted);
      }
    }
    compressor->CompressFrame(nullptr, &out);
    compressor->CompressFrameEnd();
    if (!takesPackets && out.packets != nullptr) {
      drained = Drain(*out.packets);
    }
  }
  if (drained.size() >= 8) {
    ExpectEvenCost(drained, "taking packets out of a bundle, counted from the last packet to the first,");
  }
  ExpectEvenCost(taken, "two seconds of sound");
  ExpectEvenCost(untaken, "two seconds of sound whose packets are not taken out");
  ExpectThat(allocations.back() <= allocations.front() + 8 + allocations.front() / 8,
             fmt::to_string(allocations.back()), "no more allocations for two seconds of sound later than at first: {}",
             allocations.front());
}

/// Memory is taken for a packet, not for each sample: larger packets need no more allocations.
void AllocatesForPackets(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  std::vector<long> counts;
  for (const double divisor : {1.0, 8.0}) {
    StreamSetup larger = setup;
    larger.framesPerSecond = setup.framesPerSecond / divisor;
    const CompressorOwner compressor = larger.NewCompressor(module);
    const std::vector<unsigned char> input = SomeInput(larger);
    OutputRecord out(setup.format.sampleRate);
    RunInto(*compressor, larger, input, out);
    out.Clear();
    // The first run is not counted: it may allocate what the compressor keeps.
    const long before = CountAllocations();
    ExpectEqual(kRhoStatusSuccess, RunInto(*compressor, larger, input, out), "status of a run");
    counts.push_back(CountAllocations() - before);
  }
  ExpectThat(counts[1] <= 2 * counts[0] + 16, fmt::to_string(counts[1]),
             "as many allocations for as many packets of eight times the size: {}", counts[0]);
}

}  // namespace

std::span<const Check> CostChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"life.leaks",
       "Memory that is never freed runs out in a host that runs for weeks.",
       OnModule<LeavesNoMemory>,
       kHasSettings,
       {},
       true},
      {"life.even-cost",
       "A recording of hours must not become slower the longer it is.",
       OnModule<CostsTheSameLater>,
       kHasSettings,
       {},
       true},
      {"life.allocations",
       "Taking memory for every sample makes encoding many times slower.",
       OnModule<AllocatesForPackets>,
       kHasSettings,
       {},
       true},
  });
  return kChecks;
}
