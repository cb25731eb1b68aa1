#include "Host/Validate/Support/Situations.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/StreamRun.h"

void ForEachSituation(const CheckedModule& module,
                      const std::function<void(IAudioCompressor& compressor, const std::string& when)>& check) {
  check(*module.CreateCompressor(), "of a new compressor");
  try {
    ForEachSetup(module, [&](const StreamSetup& setup) {
      const CompressorOwner compressor = setup.NewCompressor(module);
      const std::vector<unsigned char> input = SomeInput(setup);
      check(*compressor, "with " + setup.name);
      StreamRun run(*compressor, setup);
      run.Give(input);
      check(*compressor, "during a run, with " + setup.name);
      if (const CompressorOwner copy(compressor->CreateCopy()); copy != nullptr) {
        check(*copy, "of a copy made during a run, with " + setup.name);
      }
      run.Flush();
      run.End();
      check(*compressor, "after a run, with " + setup.name);
    });
  } catch (const CheckSkipped&) {
    // No setup is possible, so there are no runs. Other checks report why.
  }
}
