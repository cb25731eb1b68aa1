
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/FailingAllocations.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/StreamRun.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <dlfcn.h>
#include <array>
#include <memory>
#include <new>

namespace {

/// FailingAllocations.h, found in this process.
class Memory {
 public:
  Memory()
      : m_fail(reinterpret_cast<decltype(&FailAllocation)>(dlsym(RTLD_DEFAULT, "FailAllocation"))),
        m_counted(reinterpret_cast<decltype(&CountedAllocations)>(dlsym(RTLD_DEFAULT, "CountedAllocations"))),
        m_held(reinterpret_cast<decltype(&HeldAllocations)>(dlsym(RTLD_DEFAULT, "HeldAllocations"))) {
    if (m_fail == nullptr || m_counted == nullptr || m_held == nullptr) {
      throw CheckSkipped{"FailingAllocations.so cannot be loaded into this process"};
    }
  }

  void Fail(long n, bool andAllBehindIt) const { m_fail(n, andAllBehindIt ? 1 : 0); }
  long Counted() const { return m_counted(); }
  long Held() const { return m_held(); }

 private:
  decltype(&FailAllocation) m_fail;
  decltype(&CountedAllocations) m_counted;
  decltype(&HeldAllocations) m_held;
};

/// Which allocations fail: none, one, or that one and all after it.
struct Failing {
  long n = 0;
  bool andAllBehindIt = false;

  std::string Text() const {
    return n == 0 ? "" : fmt::format(" when allocation {}{} fails", n, andAllBehindIt ? " and each one after it" : "");
  }
};

/// Makes an object of class Attempt and calls its Try() with one allocation failing, its Judge(failing) when memory is
/// there again, and then expects that no memory is left allocated; first without a failure, then for one allocation
/// after the other, until Try() gets by with fewer. What Try() throws other than std::bad_alloc fails the check.
template <class MakeAttempt>
void FailEach(const MakeAttempt& makeAttempt) {
  // Bounds the time of the check for a module that allocates very often.
  constexpr long kMost = 2000;
  const Memory memory;
  for (const bool andAllBehindIt : {false, true}) {
    bool isThrough = false;
    for (Failing failing{0, andAllBehindIt}; !isThrough && failing.n <= kMost; ++failing.n) {
      const long before = memory.Held();
      {
        auto attempt = makeAttempt();
        memory.Fail(failing.n, andAllBehindIt);
        try {
          attempt.Try();
        } catch (const std::bad_alloc&) {
          attempt.hasThrown = true;
        } catch (...) {
          memory.Fail(0, false);
          throw;
        }
        // Fewer allocations than the one that was to fail: nothing has failed, and nothing is left to try.
        isThrough = failing.n != 0 && memory.Counted() < failing.n;
        memory.Fail(0, false);
        attempt.Judge(failing);
      }
      const long left = memory.Held() - before;
      ExpectEqual(0, left, "blocks of memory that are never freed{}", failing.Text());
    }
  }
}

/// The module's own object, without a CompressorUnderTest in front, which would allocate.
struct CreateAttempt {
  const CheckedModule& module;
  const CompressorInfo& info;
  CompressorOwner compressor = nullptr;
  bool hasThrown = false;

  void Try() { compressor.reset(module.Create(info.manufacturer, info.codec)); }
  void Judge(const Failing& failing) const {
    ExpectThat(!hasThrown, "std::bad_alloc", "a compressor or null from CreateAudioCompressor{}", failing.Text());
  }
};

/// A copy of a compressor in the middle of a run.
struct CopyAttempt {
  IAudioCompressor& compressor;
  CompressorOwner copy = nullptr;
  bool hasThrown = false;

  void Try() { copy.reset(compressor.CreateCopy()); }
  void Judge(const Failing& failing) const {
    ExpectThat(!hasThrown, "std::bad_alloc", "a copy or null from CreateCopy{}", failing.Text());
  }
};

/// A whole run. It may report a failure or throw, but not report success with wrong packets.
struct RunAttempt {
  CompressorOwner compressor;
  const StreamSetup& setup;
  Bytes input;
  const std::vector<PacketRecord>& expected;
  std::unique_ptr<OutputRecord> out = std::make_unique<OutputRecord>(setup.format.sampleRate);
  RhoStatus status = kRhoStatusSuccess;
  bool hasThrown = false;

  void Try() { status = RunInto(*compressor, setup, input, *out); }
  void Judge(const Failing& failing) {
    if (!hasThrown && status == kRhoStatusSuccess) {
      ExpectSamePackets(expected, RecordsOf(out->packets), "of a run that reports success" + failing.Text());
    }
    compressor->CompressFrameEnd();
    ExpectSamePackets(expected, Encode(*compressor, setup, input, {input.size()}),
                      "of a run after one" + failing.Text());
  }
};

/// CompressFrameBegin in the middle of a run, with another hint. When it is refused, the run goes on.
struct BeginAttempt {
  CompressorOwner compressor;
  const StreamSetup& setup;
  Bytes input;
  const std::vector<PacketRecord>& expected;
  std::size_t half = setup.WholeBytes(input.size() / 2);
  StreamRun run{*compressor, setup};
  std::vector<PacketRecord> packets = run.Give(input.first(half)).packets;
  RhoStatus status = kRhoStatusSuccess;
  bool hasThrown = false;

  void Try() {
    compressor->SetFrameRateHint(setup.framesPerSecond / 2);
    KelAudio_t record = setup.InputRecord();
    status = compressor->CompressFrameBegin(&record);
  }
  void Judge(const Failing& failing) {
    ExpectThat(!hasThrown, "std::bad_alloc", "a status from CompressFrameBegin{}", failing.Text());
    if (status != kRhoStatusSuccess) {
      ExpectThat(status == kRhoStatusNoObject, StatusText(status), "{} from CompressFrameBegin{}",
                 StatusText(kRhoStatusNoObject), failing.Text());
      Append(packets, run.Give(input.subspan(half)).packets);
      Append(packets, run.Flush().packets);
      ExpectSamePackets(expected, packets, "of a run that another CompressFrameBegin interrupts" + failing.Text());
    }
  }
};

/// ValidateSettings when all settings have changed.
struct ValidateAttempt {
  CompressorOwner compressor;
  std::vector<NamedSetting> settings = ValueSettingsOf(*compressor);
  std::vector<SettingState> before = Changed();
  bool hasThrown = false;

  std::vector<SettingState> Changed() const {
    for (const NamedSetting& named : settings) {
      ChangeValue(*named.setting);
    }
    return StatesOf(settings);
  }
  void Try() { compressor->ValidateSettings(); }
  void Judge(const Failing& failing) {
    if (hasThrown) {
      ExpectSameStates(before, StatesOf(settings), "ValidateSettings" + failing.Text());
    }
    compressor->ValidateSettings();
    const std::vector<SettingState> after = StatesOf(settings);
    compressor->ValidateSettings();
    ExpectSameStates(after, StatesOf(settings), "a second ValidateSettings, after one" + failing.Text());
  }
};

/// The texts and the copy of a setting. A text is the old or the new one.
struct SettingAttempt {
  static constexpr const char* kOld = "an old text that is longer than a string holds inside";
  static constexpr const char* kNew = "a new text, also longer than what a string holds inside itself";

  CompressorOwner compressor;
  std::size_t place;
  ISetting& setting = *ValueSettingsOf(*compressor)[place].setting;
  bool hasThrown = (setting.SetToolTipText(kOld), setting.SetOptionalText(kOld), false);

  void Try() const {
    setting.SetToolTipText(kNew);
    setting.SetOptionalText(kNew);
    std::unique_ptr<ISetting>(setting.CreateCopy()).reset();
  }
  void Judge(const Failing& failing) const {
    for (const char* const text : {setting.GetToolTipText(), setting.GetOptionalText()}) {
      ExpectThat(text != nullptr && (std::string_view(text) == kNew || (hasThrown && std::string_view(text) == kOld)),
                 Quoted(text), "the text \"{}\" or, if it was refused, \"{}\"{}", kNew, kOld, failing.Text());
    }
  }
};

/// Clones of a bundle and a packet, and packets that are appended.
struct CloneAttempt {
  static constexpr std::size_t kMore = 20;

  OutputRecord& out;
  const std::vector<PacketRecord>& expected;
  std::array<OwnedPacket, kMore> more = Clones();
  std::unique_ptr<IPacketBundle, PacketDestroyer> bundle{static_cast<IPacketBundle*>(out.packets->clone())};
  bool hasThrown = false;

  std::array<OwnedPacket, kMore> Clones() const {
    std::array<OwnedPacket, kMore> clones;
    for (OwnedPacket& clone : clones) {
      clone.reset(out.packets->get(0)->clone());
    }
    return clones;
  }
  void Try() {
    OwnedPacket(bundle->get(0)->clone()).reset();
    OwnedPacket(bundle->clone()).reset();
    for (OwnedPacket& packet : more) {
      bundle->append(packet.get());
      static_cast<void>(packet.release());
    }
  }
  void Judge(const Failing& failing) const {
    std::vector<PacketRecord> wanted = expected;
    for (const OwnedPacket& packet : more) {
      if (packet == nullptr) {
        wanted.push_back(expected.front());
      }
    }
    ExpectSamePackets(wanted, RecordsOf(bundle.get()), "in a bundle that is cloned and added to" + failing.Text());
  }
};

/// Creation returns null or a compressor, whichever allocation fails.
void CreatesWithoutMemory(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    // Once before, so that what the module allocates only once is there.
    module.CreateCompressor(info).reset();
    FailEach([&] { return CreateAttempt{module, info}; });
  }
}

/// CreateCopy returns null or a copy, whichever allocation fails.
void CopiesWithoutMemory(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const CompressorOwner compressor = setup.NewCompressor(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  StreamRun run(*compressor, setup);
  run.Give(Bytes(input).first(setup.WholeBytes(input.size() / 2)));
  FailEach([&] { return CopyAttempt{CompressorUnderTest::Real(*compressor)}; });
}

/// A run with a failing allocation reports or throws it, or succeeds with the expected packets; the next run works.
void RunsWithoutMemory(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  FailEach([&] { return RunAttempt{setup.NewCompressor(module), setup, input, expected}; });
}

void BeginsWithoutMemory(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  FailEach([&] { return BeginAttempt{setup.NewCompressor(module), setup, input, expected}; });
}

void SetsWithoutMemory(const CheckedModule& module) {
  FailEach([&] { return ValidateAttempt{module.CreateCompressor()}; });
  const std::size_t count = ValueSettingsOf(*module.CreateCompressor()).size();
  for (std::size_t place = 0; place < count; ++place) {
    FailEach([&] { return SettingAttempt{module.CreateCompressor(), place}; });
  }
}

void ClonesWithoutMemory(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  OutputRecord out(setup.format.sampleRate);
  ExpectEqual(kRhoStatusSuccess, RunInto(*setup.NewCompressor(module), setup, input, out), "status of a run");
  const std::vector<PacketRecord> expected = RecordsOf(out.packets);
  if (expected.empty()) {
    throw CheckSkipped{"a run gives no packets"};
  }
  FailEach([&] { return CloneAttempt{out, expected}; });
}

constexpr const char* kWhy = "A host that runs out of memory must be told so, not be taken down with its user's work.";

}  // namespace

std::span<const Check> AllocationChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"life.no-memory-to-create", kWhy, OnModule<CreatesWithoutMemory>, kHasCompressors, {}, true},
      {"life.no-memory-to-copy", kWhy, OnModule<CopiesWithoutMemory>, kHasSettings, {}, true},
      {"life.no-memory-to-run", kWhy, OnModule<RunsWithoutMemory>, kHasSettings, {}, true},
      {"life.no-memory-to-begin", kWhy, OnModule<BeginsWithoutMemory>, kHasSettings, {}, true},
      {"life.no-memory-to-set", kWhy, OnModule<SetsWithoutMemory>, kHasSettings, {}, true},
      {"life.no-memory-to-clone", kWhy, OnModule<ClonesWithoutMemory>, kHasSettings, {}, true},
  });
  return kChecks;
}
