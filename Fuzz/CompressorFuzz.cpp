// The compressor's life: settings, hints and calls in any order, buffers of any size, copies, several compressors at a
// time, let go of at any moment.

#include "Fuzz/Fuzz.h"
#include "Tests/Support/Packer.h"

#include <array>
#include <random>

void Fuzz(FuzzedDataProvider& data) {
  // The samples are not taken from the fuzzer's data: their values do not matter, and the data is for choices.
  std::minstd_rand random;
  std::array<Packer, 3> packers;
  while (data.remaining_bytes() != 0) {
    Packer& packer = packers[data.ConsumeIntegralInRange(0U, 2U)];
    const int step = data.ConsumeIntegralInRange(0, 9);
    // A new compressor in place of one, or a copy of any of them.
    if (step == 0) {
      packer = data.ConsumeBool() ? Packer() : packers[data.ConsumeIntegralInRange(0U, 2U)].Copy();
    } else if (step == 1) {
      const auto rate = data.PickValueInArray({8000U, 44100U, data.ConsumeIntegral<unsigned>()});
      const auto bits = data.PickValueInArray({8U, 24U, data.ConsumeIntegral<unsigned>()});
      const auto channels = data.PickValueInArray({1U, 2U, 6U, 7U, 8U});
      const double hint = data.ConsumeFloatingPointInRange(-1.0, 1e5);
      Expect(packer.SetUp(rate, bits, channels, data.PickValueInArray<double>({hint, 1e-300, 0, NAN, HUGE_VAL})));
    } else if (step == 2) {
      // Packets of at most 2^20 bytes, so that the fuzzer does not run out of memory.
      Expect(packer.Begin(0x1p20));
    } else if (step == 3) {
      Expect(packer.Misuse() && packer.End());
    } else {
      std::string input(data.ConsumeIntegralInRange(0U, 3000U), '\0');
      std::generate(input.begin(), input.end(), [&] { return static_cast<char>(random()); });
      Expect(packer.Frame(step == 4 ? nullptr : &input));
    }
  }
}
