#include "Host/CommandLine/SettingCommands.h"

#include "Host/Library/ModuleDescription.h"
#include "Host/Plugin/Module.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Settings/Info.h"
#include "Host/Settings/Preset.h"
#include "Host/System/FileIdentity.h"
#include "Host/System/OutputFile.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <nlohmann/json.hpp>

void CheckPresetTarget(const Options& options) {
  if (options.savePreset.empty()) {
    return;
  }
  if (IsSameFile(options.input, options.savePreset)) {
    throw Failure(options.savePreset + ": the preset would overwrite the input");
  }
  if (IsSamePlace(options.savePreset, options.output)) {
    throw Failure(options.savePreset + ": cannot be both preset and output");
  }
  CheckOutputTarget(options.savePreset, options.force);
}

void CheckSettings(const EncodingSetup& setup) {
  // A compressor for the check alone: each file gets one of its own.
  const CompressorOwner compressor = setup.module.CreateCompressor();
  setup.settings.ApplyTo(*compressor);
  ChooseFormat(*compressor, nullptr);
}

std::string TextToSave(IAudioCompressor& compressor, const Choices& choices) {
  std::string text = PresetText(compressor, choices);
  if (text.empty()) {
    throw WrongUse(
        "--save-preset: nothing to save: choose settings with --set, --rate, --bits, --channels, --fps or "
        "--preset");
  }
  return text;
}

void SavePreset(const Options& options, const std::string& text) {
  OutputFile file(options.savePreset, options.force);
  // An OutputFile, so that a failure leaves an existing preset as it is.
  file.Write(text.data(), text.size());
  file.Commit();
}

void ShowModules(const Options& options) {
  const auto modules = DescribeAllModules();
  if (options.json) {
    Print(modules.dump(2) + '\n');
  } else if (modules.empty()) {
    Print(fmt::format("no modules in {}\n", fmt::join(ModuleFolders(), ", ")));
  } else {
    Print(ModuleListText(modules));
  }
}

void ShowInfo(const Options& options) {
  const Module module(options.module);
  const CompressorOwner compressor = module.CreateCompressor();
  options.Settings().ApplyTo(*compressor);
  const auto description = DescribeCompressor(*compressor, module.Version());
  Print(options.json ? description.dump(2) + '\n' : DescriptionText(description));
}

void MakePreset(const Options& options) {
  const Module module(options.module);
  const CompressorOwner compressor = module.CreateCompressor();
  const std::string preset = TextToSave(*compressor, options.Settings().ApplyTo(*compressor));
  if (options.dryRun) {
    CheckPresetTarget(options);
    Print("preset: " + options.savePreset + '\n');
    return;
  }
  SavePreset(options, preset);
}
