#include "Host/CommandLine/EncodeOne.h"

#include "Host/CommandLine/JsonEvents.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/CommandLine/Progress.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/CommandLine/SignalNotice.h"
#include "Host/System/FileIdentity.h"
#include "Host/System/OutputFile.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <optional>

namespace {

/// Throws unless output and preset can be written without harm to the input. Called before any work, since encoding may
/// take hours.
void CheckTarget(const Options& options) {
  std::error_code error;
  if (options.output.ends_with('/') || std::filesystem::is_directory(options.output, error)) {
    throw WrongUse(fmt::format("{}: is a folder: use --to {} to encode into it", options.output, options.output));
  }
  if (!options.testSignalSeconds && IsSameFile(options.input, options.output)) {
    throw Failure(options.output + ": the output would overwrite the input");
  }
  CheckOutputTarget(options.output, options.force);
  CheckPresetTarget(options);
}

/// Encodes the file, reporting to `events` and `counts`. Throws Failure or WrongUse.
void Encode(const Options& options, JsonEvents& events, BatchCounts& counts) {
  EncodingOptions encodingOptions = static_cast<const EncodingOptions&>(options);
  // One file leaves processors idle. With one processor, a second thread would cost a twelfth of the whole time.
  encodingOptions.secondThread = DefaultJobs() > 1;
  const EncodingSetup setup(encodingOptions, options.module, options.Settings());
  CheckSettings(setup);
  CheckTarget(options);
  const auto begin = std::chrono::steady_clock::now();
  std::optional<SignalNotice> notice;
  if (options.json && !options.dryRun) {
    // Before the threads that read and encode: they inherit its blocked signals.
    notice.emplace([&events, begin] {
      BatchCounts unfinished;
      unfinished.notReached = 1;
      events.Summary(unfinished, true, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    });
  }
  FileEncoding encoding(setup, options.input, options.output);
  // The text is made now: a preset that would be empty is refused before the encoding.
  const std::string preset =
      options.savePreset.empty() ? std::string() : TextToSave(encoding.Compressor(), encoding.Chosen());
  events.Plan(encoding, options.input);
  if (options.dryRun) {
    if (!options.json) {
      Print(PlanText(encoding));
    }
    return;
  }
  Progress progress(!options.quiet, encoding.SampleFrames(), encoding.Format().sampleRate);
  const EncodingResult result = encoding.Write([&](FileEncoding::Pass pass, std::uint64_t done) {
    progress.Update(done, pass == FileEncoding::Pass::kVerifying ? "verifying: " : "");
    if (const std::optional<double> fraction = encoding.FractionDone(pass, done)) {
      events.Progress(*fraction, progress.Seconds());
    }
  });
  // Before the report: a file counts as encoded once it has its name.
  encoding.TakeFile()->Commit();
  notice.reset();
  const EncodedFile file = DescribeEncoded(encoding, result, progress.Seconds());
  events.Encoded(file);
  counts.Add(file);
  progress.Clear();
  if (!options.quiet) {
    PrintMessage(SummaryText(file));
  }
  if (!options.savePreset.empty()) {
    SavePreset(options, preset);
  }
}

}  // namespace

void EncodeOne(const Options& options) {
  // Where the output is standard output, the events go to standard error.
  JsonEvents events(!options.json ? nullptr : options.output == "-" ? stderr : stdout);
  BatchCounts counts;
  const auto begin = std::chrono::steady_clock::now();
  const auto seconds = [begin] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  events.Start(1, 0, options.dryRun);
  try {
    Encode(options, events, counts);
  } catch (const std::exception& error) {
    ++counts.failed;
    // The exception goes on to main, which prints it and chooses the exit code.
    events.Failed(options.input, options.input, error.what());
    events.Summary(counts, false, seconds());
    throw;
  }
  events.Summary(counts, false, seconds());
  events.Check();
}
