#include "Host/Options.h"

#include "Host/Errors.h"
#include "Host/Module.h"
#include "Host/Numbers.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace {

/// A week. Test signals are for trying things out.
constexpr double kLongestTestSignal = 7.0 * 24 * 3600;

template <class Number>
Number NumberOrWrongUse(const char* option, const std::string& text, const std::optional<Number>& number,
                        const char* expected) {
  if (!number) {
    throw WrongUse(std::string(option) + ": \"" + text + "\" is not " + expected);
  }
  return *number;
}

std::optional<double> ParseSeconds(const std::string& text) {
  const std::optional<double> seconds = ParseNumber<double>(text);
  return seconds && *seconds >= 0 && *seconds <= kLongestTestSignal ? seconds : std::nullopt;
}

/// The texts of options that are more than a text, before they are read.
struct OptionTexts {
  std::string rate;
  std::string bits;
  std::string channels;
  std::string framesPerSecond;
  std::string testSignal;
};

/// What all commands take.
void DeclareCommon(CLI::App& app, Options& options) {
  app.set_help_flag("-h,--help", "Show this help and end");
  app.add_option("--module", options.module, "Encoder module (default: the one beside this program)")
      ->type_name("PATH");
  app.add_option("--set", options.assignments, "Set any setting, as \"rhohost info\" shows it; may be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  app.add_option("--preset", options.preset, "Take the settings from this preset first")->type_name("FILE");
}

void DeclareInfo(CLI::App& app, Options& options) {
  DeclareCommon(app, options);
  app.add_flag("--json", options.json, "Show it as JSON");
}

void DeclareEncode(CLI::App& app, Options& options, OptionTexts& texts) {
  app.set_version_flag("--version", "rhohost " RHOHOST_VERSION, "Show the version and end");
  app.add_option("INPUT", options.input, "Sound file, or - for standard input")->type_name("");
  app.add_option("OUTPUT", options.output, "Matroska file to write, or - for standard output")->type_name("");
  app.add_option("--rate", texts.rate, "Sample frames per second (default: the input's)")->type_name("HZ");
  app.add_option("--bits", texts.bits, "Bits per sample (default: 24 for inputs of more than 16, else 16)")
      ->type_name("BITS");
  app.add_option("--channels", texts.channels, "Channel layout, as in 5.1 (default: by the input's channels)")
      ->type_name("LAYOUT");
  app.add_option("--fps", texts.framesPerSecond, "Packets per second, as in 25, 29.97 or 30000/1001 (default: 30)")
      ->type_name("RATE");
  DeclareCommon(app, options);
  app.add_option("--save-preset", options.savePreset, "File the settings in this preset; no INPUT and OUTPUT needed")
      ->type_name("FILE");
  app.add_option("--test-signal", texts.testSignal, "Encode a built-in signal of this length in place of INPUT")
      ->type_name("SECONDS");
  app.add_flag("--force", options.force, "Replace an existing output");
  app.add_flag("--allow-truncated", options.allowTruncated, "Accept an input that is shorter than its header says");
  app.add_flag("--quiet", options.quiet, "Say nothing but what went wrong");
  app.add_flag("--dry-run", options.dryRun, "Show what would be done, and write nothing");
}

void ReadFiles(const CLI::App& app, Options& options) {
  const std::size_t files = app.count("INPUT") + app.count("OUTPUT");
  if (files == 0 && !options.savePreset.empty() && !options.testSignalSeconds) {
    options.action = Action::kMakePreset;
    return;
  }
  if (options.testSignalSeconds) {
    if (files != 1) {
      throw WrongUse(files == 0 ? "OUTPUT is missing" : "INPUT and --test-signal exclude each other");
    }
    options.output = std::exchange(options.input, {});
  } else if (files != 2) {
    throw WrongUse(files == 0 ? "INPUT and OUTPUT are missing" : "OUTPUT is missing");
  }
  if (options.output.empty() || (options.input.empty() && !options.testSignalSeconds)) {
    throw WrongUse("a file name is empty");
  }
}

/// An empty name would otherwise count as none given.
void RefuseEmptyNames(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    const std::string type = option->get_type_name();
    if ((type == "FILE" || type == "PATH") && option->count() != 0 && option->results().back().empty()) {
      throw WrongUse(option->get_name() + ": a file name is empty");
    }
  }
}

void ReadTexts(const CLI::App& app, const OptionTexts& texts, Options& options) {
  if (app.count("--rate") != 0) {
    options.wishes.sampleRate =
        NumberOrWrongUse("--rate", texts.rate, ParseNumber<unsigned int>(texts.rate), "a whole number");
  }
  if (app.count("--bits") != 0) {
    options.wishes.bits =
        NumberOrWrongUse("--bits", texts.bits, ParseNumber<unsigned int>(texts.bits), "a whole number");
  }
  if (app.count("--channels") != 0) {
    options.wishes.layout = texts.channels;
  }
  if (app.count("--fps") != 0) {
    options.framesPerSecond = NumberOrWrongUse("--fps", texts.framesPerSecond, ParseFrameRate(texts.framesPerSecond),
                                               "a frame rate of 1 or more");
  }
  if (app.count("--test-signal") != 0) {
    options.testSignalSeconds =
        NumberOrWrongUse("--test-signal", texts.testSignal, ParseSeconds(texts.testSignal), "a length in seconds");
  }
}

}  // namespace

std::optional<Options> ReadOptions(int argc, const char* const* argv) {
  const bool isInfo = argc > 1 && std::string_view(argv[1]) == "info";
  CLI::App app(isInfo ? "Shows what an encoder module and its settings are."
                      : "Encodes a sound file as Linear PCM in a Matroska file.\n"
                        "\"rhohost info\" shows what there is to set.",
               isInfo ? "rhohost info" : "rhohost");
  Options options;
  OptionTexts texts;
  if (isInfo) {
    options.action = Action::kShowInfo;
    DeclareInfo(app, options);
  } else {
    DeclareEncode(app, options, texts);
  }
  try {
    app.parse(isInfo ? argc - 1 : argc, isInfo ? argv + 1 : argv);
  } catch (const CLI::CallForHelp&) {
    Print(app.help());
    return std::nullopt;
  } catch (const CLI::CallForVersion& version) {
    Print(std::string(version.what()) + "\n");
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
  }
  RefuseEmptyNames(app);
  if (options.module.empty()) {
    options.module = Module::DefaultPath();
  }
  if (!isInfo) {
    ReadTexts(app, texts, options);
    ReadFiles(app, options);
  }
  return options;
}

std::optional<double> ParseFrameRate(const std::string& text) {
  std::optional<double> rate = ParseNumber<double>(text);
  if (const std::size_t slash = text.find('/'); slash != std::string::npos) {
    const auto numerator = ParseNumber<unsigned int>(std::string_view(text).substr(0, slash));
    const auto denominator = ParseNumber<unsigned int>(std::string_view(text).substr(slash + 1));
    if (numerator && denominator && *denominator != 0) {
      rate = static_cast<double>(*numerator) / *denominator;
    }
  }
  return rate && std::isfinite(*rate) && *rate >= 1 ? rate : std::nullopt;
}

void Print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw SystemFailure("standard output", "write", errno);
  }
}
