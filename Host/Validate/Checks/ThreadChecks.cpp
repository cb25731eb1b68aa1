#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingState.h"
#include "Host/Validate/Support/StreamRun.h"

#include <pthread.h>
#include <array>
#include <atomic>
#include <exception>
#include <functional>
#include <latch>
#include <thread>

namespace {

/// Runs `work` on a thread with a stack of that size; 0 is the usual one. What it throws comes out of Finish. The
/// thread does not end before Finish is called.
class Worker {
 public:
  explicit Worker(std::function<void()> work, std::size_t stackSize = 0) : m_work(std::move(work)) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0) {
      // A large array may reach beyond a guard of one page, into memory of somebody else.
      constexpr std::size_t kGuardSize = std::size_t{16} << 20;
      pthread_attr_setstacksize(&attributes, stackSize);
      pthread_attr_setguardsize(&attributes, kGuardSize);
    }
    const int error = pthread_create(&m_thread, &attributes, Run, this);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
      throw CheckSkipped{"no thread can be started"};
    }
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() { Join(); }

  /// Waits for the end of the work, not of the thread.
  void Await() {
    m_isDone.wait();
    if (m_error != nullptr) {
      std::rethrow_exception(m_error);
    }
  }

  /// Lets the thread end and waits for it. Throws what the work has thrown.
  void Finish() {
    Join();
    Await();
  }

 private:
  /// The thread's function. It waits for Join, so that the thread keeps its identity until then.
  static void* Run(void* worker) {
    auto& self = *static_cast<Worker*>(worker);
    try {
      self.m_work();
    } catch (...) {
      self.m_error = std::current_exception();
    }
    self.m_isDone.count_down();
    self.m_mayEnd.wait();
    return nullptr;
  }
  void Join() {
    if (!m_isJoined) {
      m_mayEnd.count_down();
      pthread_join(m_thread, nullptr);
      m_isJoined = true;
    }
  }

  std::function<void()> m_work;
  std::latch m_isDone{1};
  std::latch m_mayEnd{1};
  pthread_t m_thread{};
  bool m_isJoined = false;
  std::exception_ptr m_error;
};

/// Each phase of a compressor's life on a thread of its own.
void MovesBetweenThreads(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  CompressorOwner compressor;
  std::unique_ptr<StreamRun> run;
  std::vector<PacketRecord> packets;
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  const std::vector<std::function<void()>> phases{
      [&] { compressor = module.CreateCompressor(); },
      [&] { setup.ApplyTo(*compressor); },
      [&] { run = std::make_unique<StreamRun>(*compressor, setup); },
      [&] { packets = run->Give(Bytes(input).first(half)).packets; },
      [&] { Append(packets, run->Give(Bytes(input).subspan(half)).packets); },
      [&] { Append(packets, run->Flush().packets); },
      [&] { run->End(); },
      [&] { run.reset(); },
      [&] { compressor.reset(); }};
  // No thread ends before the last phase is over: the next thread could get its identity.
  std::vector<std::unique_ptr<Worker>> workers;
  for (const auto& phase : phases) {
    workers.push_back(std::make_unique<Worker>(phase));
    workers.back()->Await();
  }
  ExpectSamePackets(expected, packets, "of a run whose calls come from several threads");
}

/// The whole life of a compressor on a stack of 96 KiB.
void WorksOnASmallStack(const CheckedModule& module) {
  constexpr std::size_t kStackSize = std::size_t{96} * 1024;
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  const std::vector<PacketRecord> expected = EncodeAtOnce(module, setup, input);
  OutputRecord out(setup.format.sampleRate);
  Worker worker(
      [&] {
        const CompressorOwner compressor = module.CreateCompressor();
        RunInto(*compressor, setup, input, out);
        CompressorOwner(compressor->CreateCopy()).reset();
      },
      kStackSize);
  worker.Finish();
  ExpectSamePackets(expected, RecordsOf(out.packets), "of a run on a thread with a stack of 96 KiB");
}

/// Several threads encode at the same time, each with a compressor of its own.
void WorksSideBySide(const CheckedModule& module) {
  constexpr int kRuns = 60;
  constexpr std::size_t kDenseSampleFrames = 8000;
  std::vector<StreamSetup> setups;
  ForEachSetup(module, [&setups](const StreamSetup& setup) {
    if (setups.size() < 4) {
      setups.push_back(setup);
    }
  });
  std::atomic<int> waiting{static_cast<int>(setups.size())};
  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<std::vector<unsigned char>> inputs;
  std::vector<std::vector<PacketRecord>> expected;
  // In addition many packets of a few sample frames each, so that calls on two threads overlap.
  std::vector<StreamSetup> dense = setups;
  std::vector<std::vector<unsigned char>> denseInputs;
  std::vector<std::vector<PacketRecord>> denseExpected;
  for (StreamSetup& setup : dense) {
    // 16 sample frames a packet: 500 packets from 8,000 sample frames.
    setup.framesPerSecond = setup.format.sampleRate / 16.0;
    denseInputs.push_back(SomeInput(setup, kDenseSampleFrames));
    denseExpected.push_back(EncodeAtOnce(module, setup, denseInputs.back()));
  }
  for (const StreamSetup& setup : setups) {
    inputs.push_back(SomeInput(setup));
    // SomeInput gives the same bytes each time. Another first byte for each setup shows packets of another run.
    inputs.back().front() ^= static_cast<unsigned char>(inputs.size());
    expected.push_back(EncodeAtOnce(module, setup, inputs.back()));
  }
  for (std::size_t index = 0; index < setups.size(); ++index) {
    workers.push_back(std::make_unique<Worker>([&, index] {
      --waiting;
      // All threads begin at the same moment.
      while (waiting > 0) {
        std::this_thread::yield();
      }
      const CompressorOwner compressor = setups[index].NewCompressor(module);
      const CompressorOwner another = dense[index].NewCompressor(module);
      for (int run = 0; run < kRuns; ++run) {
        ExpectSamePackets(
            expected[index], Encode(*compressor, setups[index], inputs[index], {500, 4000}),
            fmt::format("beside {} other threads as alone, with {}", setups.size() - 1, setups[index].name));
        const std::vector<SettingState> states = StatesOf(SettingsOf(*compressor));
        ExpectSameStates(states, StatesOf(SettingsOf(*setups[index].NewCompressor(module))),
                         "setting up a compressor on another thread");
        ExpectSamePackets(denseExpected[index], Encode(*another, dense[index], denseInputs[index], {500}),
                          "of a few sample frames each, beside other threads as alone, with " + setups[index].name);
        for (int begun = 0; begun < 200; ++begun) {
          StreamRun(*compressor, setups[index]).End();
        }
      }
    }));
  }
  for (const auto& worker : workers) {
    worker->Finish();
  }
}

}  // namespace

std::span<const Check> ThreadChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"threads.moves", "Hosts create a compressor on one thread and encode on another.", OnModule<MovesBetweenThreads>,
       kHasSettings},
      {"threads.small-stack", "Threads for sound have small stacks.", OnModule<WorksOnASmallStack>, kHasSettings},
      {"threads.side-by-side", "Hosts encode several files at the same time, on several processors.",
       OnModule<WorksSideBySide>, kHasSettings},
  });
  return kChecks;
}
