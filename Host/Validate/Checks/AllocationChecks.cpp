#include "Host/Validate/Checks/AllocationChecks.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/FailingAllocations.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/TestRun.h"

#include <dlfcn.h>
#include <memory>
#include <new>
#include <optional>

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

/// "the third allocation failing" for messages.
struct Failing {
  long n = 0;
  bool andAllBehindIt = false;

  std::string Text() const {
    return " with allocation " + std::to_string(n) + (andAllBehindIt ? " and all behind it" : "") + " failing";
  }
};

/// Makes an object of class Attempt and calls its Try() with one allocation failing, its Judge(failing) when memory is
/// there again, and then sees to it that nothing of it is left; for one allocation after the other, until Try() gets by
/// with fewer. What Try() throws other than std::bad_alloc fails the check.
template <class MakeAttempt>
void FailEach(const MakeAttempt& makeAttempt) {
  constexpr long kMost = 2000;
  const Memory memory;
  for (const bool andAllBehindIt : {false, true}) {
    bool isThrough = false;
    for (Failing failing{1, andAllBehindIt}; !isThrough && failing.n <= kMost; ++failing.n) {
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
        isThrough = memory.Counted() < failing.n;
        memory.Fail(0, false);
        attempt.Judge(failing);
      }
      const long after = memory.Held();
      Expect(after == before, "nothing left in memory" + failing.Text(), std::to_string(after - before) + " blocks");
    }
  }
}

struct CreateAttempt {
  const CheckedModule& module;
  const CompressorInfo& info;
  CompressorOwner compressor = nullptr;
  bool hasThrown = false;

  void Try() { compressor.reset(module.Create(info.manufacturer, info.codec)); }
  void Judge(const Failing& failing) const {
    Expect(!hasThrown, "a compressor or null" + failing.Text(), "std::bad_alloc");
  }
};

struct CopyAttempt {
  const CompressorOwner& compressor;
  CompressorOwner copy = nullptr;
  bool hasThrown = false;

  void Try() { copy.reset(compressor->CreateCopy()); }
  void Judge(const Failing& failing) const { Expect(!hasThrown, "a copy or null" + failing.Text(), "std::bad_alloc"); }
};

struct RunAttempt {
  CompressorOwner compressor;
  const TestInput& input;
  const std::string& expected;
  std::unique_ptr<OutputRecord> out = std::make_unique<OutputRecord>(input.SampleRate());
  RhoStatus status = kRhoStatusSuccess;
  bool hasThrown = false;

  void Try() { status = input.RunInto(*compressor, *out); }
  void Judge(const Failing& failing) {
    if (!hasThrown && status == kRhoStatusSuccess) {
      const std::string came = PacketsText(*out);
      Expect(came == expected, "a run that reports success to be whole" + failing.Text() + ":\n" + expected, came);
    }
    compressor->CompressFrameEnd();
    const std::string later = input.Run(*compressor);
    Expect(later == expected, "the usual run after one" + failing.Text() + ":\n" + expected, later);
  }
};

}  // namespace

void CreatesWithoutMemory(const std::string& module) {
  const CheckedModule checked(module);
  for (const CompressorInfo& info : checked.Infos()) {
    checked.CreateCompressor(info).reset();
    FailEach([&] { return CreateAttempt{checked, info}; });
  }
}

void CopiesWithoutMemory(const std::string& module) {
  const CheckedModule checked(module);
  const CompressorOwner compressor = checked.CreateCompressor();
  const TestInput input(*compressor);
  OutputRecord out(input.SampleRate());
  compressor->CompressFrameBegin(nullptr);
  ExpectSuccess(input.CompressInto(*compressor, out), "the first buffer of a run");
  FailEach([&] { return CopyAttempt{compressor}; });
}

void RunsWithoutMemory(const std::string& module) {
  const CheckedModule checked(module);
  std::optional<TestInput> input;
  std::string expected;
  {
    const CompressorOwner compressor = checked.CreateCompressor();
    input.emplace(*compressor);
    expected = input->Run(*compressor);
  }
  FailEach([&] { return RunAttempt{checked.CreateCompressor(), *input, expected}; });
}
