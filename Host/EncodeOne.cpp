#include "Host/EncodeOne.h"

#include "Host/EncodeFile.h"
#include "Host/EncodingTexts.h"
#include "Host/Errors.h"
#include "Host/OutputFile.h"
#include "Host/Preset.h"
#include "Host/Progress.h"

namespace {

void CheckTarget(const Options& options) {
  if (!options.testSignalSeconds && IsSameFile(options.input, options.output)) {
    throw Failure(options.output + ": the output would overwrite the input");
  }
  CheckOutputTarget(options.output, options.force);
  CheckPresetTarget(options);
}

}  // namespace

void EncodeOne(const Options& options) {
  const EncodingSetup setup(options);
  CheckTarget(options);
  FileEncoding encoding(setup, options.input, options.output);
  if (options.dryRun) {
    Print(PlanText(encoding));
    return;
  }
  Progress progress(!options.quiet, encoding.SampleFrames(), encoding.Format().sampleRate);
  const EncodingResult result = encoding.Write([&progress](FileEncoding::Pass pass, std::uint64_t done) {
    progress.Update(done, pass == FileEncoding::Pass::kVerifying ? "verifying: " : "");
  });
  if (!options.quiet) {
    progress.Clear();
    Tell(SummaryText(encoding, result, progress.TimesRealTime(result.sampleFrames)));
  }
  if (!options.savePreset.empty()) {
    SavePreset(options.savePreset, encoding.Compressor(), options.force);
  }
}
