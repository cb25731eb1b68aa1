#include "Host/CommandLine/EncodeOne.h"

#include "Host/CommandLine/EncodingTexts.h"
#include "Host/CommandLine/Progress.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/System/FileIdentity.h"
#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Transcode/EncodeFile.h"

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
  EncodingOptions encodingOptions = static_cast<const EncodingOptions&>(options);
  encodingOptions.readAhead = true;
  const EncodingSetup setup(encodingOptions, options.module, options.Settings());
  CheckSettings(setup);
  CheckTarget(options);
  FileEncoding encoding(setup, options.input, options.output);
  const std::string preset =
      options.savePreset.empty() ? std::string() : TextToSave(encoding.Compressor(), encoding.Chosen());
  if (options.dryRun) {
    Print(PlanText(encoding));
    return;
  }
  Progress progress(!options.quiet, encoding.SampleFrames(), encoding.Format().sampleRate);
  const EncodingResult result = encoding.Write([&progress](FileEncoding::Pass pass, std::uint64_t done) {
    progress.Update(done, pass == FileEncoding::Pass::kVerifying ? "verifying: " : "");
  });
  encoding.TakeFile()->Commit();
  if (!options.quiet) {
    progress.Clear();
    PrintMessage(SummaryText(encoding, result, progress.TimesRealTime(result.sampleFrames)));
  }
  if (!options.savePreset.empty()) {
    SavePreset(options, preset);
  }
}
