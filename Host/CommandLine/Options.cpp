#include "Host/CommandLine/Options.h"

#include "Host/Plugin/Module.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Text/Numbers.h"
#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

/// A week. Test signals are for trying things out.
constexpr double kLongestTestSignal = 7.0 * 24 * 3600;

/// As many temporary files are guarded against signals.
constexpr unsigned int kMostJobs = 256;

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

std::optional<unsigned int> ParseJobs(const std::string& text) {
  const auto jobs = ParseNumber<unsigned int>(text);
  return jobs && *jobs >= 1 && *jobs <= kMostJobs ? jobs : std::nullopt;
}

unsigned int DefaultJobs() {
  return std::min(static_cast<unsigned int>(std::max(1, KelGetNumberProcessorsInSystem())), kMostJobs);
}

/// The arguments for CLI11, which takes one that is written as "[A,B]" for a list of texts: "./[A,B]" is the same file.
std::vector<std::string> WithoutLists(int argc, const char* const* argv) {
  std::vector<std::string> arguments(argv, argv + argc);
  for (std::string& argument : arguments) {
    if (argument.starts_with('[') && argument.ends_with(']')) {
      argument.insert(0, "./");
    }
  }
  return arguments;
}

/// The texts of options that are more than a text, before they are read.
struct OptionTexts {
  std::string rate;
  std::string bits;
  std::string channels;
  std::string framesPerSecond;
  std::string testSignal;
  std::string jobs;
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

/// Returns the option that says that there are many.
CLI::Option* DeclareMany(CLI::App& app, Options& options, OptionTexts& texts) {
  CLI::Option* const to =
      app.add_option("--to", options.folder, "Encode many files into this folder, with the folders that they lie in")
          ->type_name("FOLDER");
  app.add_option("--jobs", texts.jobs, "Encode so many files side by side (default: one a processor)")
      ->type_name("NUMBER")
      ->needs(to);
  app.add_flag("--skip-existing", options.skipExisting,
               "Pass over inputs whose output exists, and count those that are newer")
      ->needs(to);
  return to;
}

void DeclareEncode(CLI::App& app, Options& options, OptionTexts& texts) {
  app.set_version_flag("--version", "rhohost " RHOHOST_VERSION, "Show the version and end");
  app.add_option("FILES", options.inputs, "INPUT OUTPUT, or after --to any number of sound files and folders of such")
      ->type_name("");
  app.add_option("--rate", texts.rate, "Sample frames per second (default: the input's)")->type_name("HZ");
  app.add_option("--bits", texts.bits, "Bits per sample (default: 24 for inputs of more than 16, else 16)")
      ->type_name("BITS");
  app.add_option("--channels", texts.channels, "Channel layout, as in 5.1 (default: by the input's channels)")
      ->type_name("LAYOUT");
  app.add_option("--fps", texts.framesPerSecond, "Packets per second, as in 25, 29.97 or 30000/1001 (default: 30)")
      ->type_name("RATE");
  DeclareCommon(app, options);
  CLI::Option* const preset = app.add_option("--save-preset", options.savePreset,
                                             "File the settings in this preset; no INPUT and OUTPUT needed")
                                  ->type_name("FILE");
  CLI::Option* const signal =
      app.add_option("--test-signal", texts.testSignal, "Encode a built-in signal of this length in place of INPUT")
          ->type_name("SECONDS");
  DeclareMany(app, options, texts)->excludes(preset)->excludes(signal);
  app.add_flag("--force", options.force, "Replace an existing output");
  app.add_flag("--allow-truncated", options.allowTruncated, "Accept an input that is shorter than its header says");
  app.add_flag("--verify", options.verify, "Read the output back from the disk and compare it with what was encoded");
  app.add_flag("--quiet", options.quiet, "Say nothing but what went wrong");
  app.add_flag("--dry-run", options.dryRun, "Show what would be done, and write nothing");
}

void ReadManyFiles(Options& options) {
  options.action = Action::kEncodeMany;
  if (options.inputs.empty()) {
    throw WrongUse("INPUT is missing");
  }
  if (options.skipExisting && options.force) {
    throw WrongUse("--skip-existing and --force exclude each other");
  }
  for (const std::string& name : options.inputs) {
    if (name == "-") {
      throw WrongUse("with --to, standard input is not read: name files and folders");
    }
  }
}

void ReadTwoFiles(Options& options) {
  const std::vector<std::string>& files = options.inputs;
  if (files.empty() && !options.savePreset.empty() && !options.testSignalSeconds) {
    options.action = Action::kMakePreset;
    return;
  }
  const std::size_t wanted = options.testSignalSeconds ? 1 : 2;
  if (files.size() > wanted && options.testSignalSeconds) {
    throw WrongUse("INPUT and --test-signal exclude each other");
  }
  if (files.size() > wanted) {
    throw WrongUse("\"" + files[wanted] + "\" is one file too many: use --to FOLDER for many inputs");
  }
  if (files.size() < wanted) {
    throw WrongUse(files.size() + 1 == wanted ? "OUTPUT is missing" : "INPUT and OUTPUT are missing");
  }
  options.output = files.back();
  options.input = options.testSignalSeconds ? std::string() : files.front();
}

void ReadFiles(const CLI::App& app, Options& options) {
  if (app.count("--to") != 0) {
    ReadManyFiles(options);
  } else {
    ReadTwoFiles(options);
  }
  if (std::find(options.inputs.begin(), options.inputs.end(), "") != options.inputs.end()) {
    throw WrongUse("a file name is empty");
  }
}

/// An empty name would otherwise count as none given.
void RefuseEmptyNames(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    const std::string type = option->get_type_name();
    const bool isName = type == "FILE" || type == "PATH" || type == "FOLDER";
    if (isName && option->count() != 0 && option->results().back().empty()) {
      throw WrongUse(option->get_name() + ": a file name is empty");
    }
  }
}

void ReadTexts(const CLI::App& app, const OptionTexts& texts, Options& options) {
  if (app.count("--rate") != 0) {
    options.requestedFormat.sampleRate =
        NumberOrWrongUse("--rate", texts.rate, ParseNumber<unsigned int>(texts.rate), "a whole number");
  }
  if (app.count("--bits") != 0) {
    options.requestedFormat.bits =
        NumberOrWrongUse("--bits", texts.bits, ParseNumber<unsigned int>(texts.bits), "a whole number");
  }
  if (app.count("--channels") != 0) {
    options.requestedFormat.layout = texts.channels;
  }
  if (app.count("--fps") != 0) {
    options.framesPerSecond = NumberOrWrongUse("--fps", texts.framesPerSecond, ParseFrameRate(texts.framesPerSecond),
                                               "a frame rate of 1 or more");
  }
  options.jobs = app.count("--jobs") == 0
                     ? DefaultJobs()
                     : NumberOrWrongUse("--jobs", texts.jobs, ParseJobs(texts.jobs),
                                        ("a number from 1 to " + std::to_string(kMostJobs)).c_str());
  if (app.count("--test-signal") != 0) {
    options.testSignalSeconds =
        NumberOrWrongUse("--test-signal", texts.testSignal, ParseSeconds(texts.testSignal), "a length in seconds");
  }
}

}  // namespace

std::optional<Options> ReadOptions(int argc, const char* const* argv) {
  const bool isInfo = argc > 1 && std::string_view(argv[1]) == "info";
  CLI::App app(isInfo ? "Shows what an encoder module and its settings are."
                      : "Encodes sound files as Linear PCM in Matroska files.\n"
                        "  rhohost [OPTIONS] INPUT OUTPUT           one; - is standard input or output\n"
                        "  rhohost [OPTIONS] --to FOLDER INPUT...   many, and whole folders of them\n"
                        "  rhohost info                             shows what there is to set\n"
                        "  rhohost validate MODULE                  checks an encoder module",
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
    std::vector<std::string> arguments = WithoutLists(argc, argv);
    arguments.erase(arguments.begin(), arguments.begin() + (isInfo ? 2 : std::min(argc, 1)));
    std::reverse(arguments.begin(), arguments.end());
    app.parse(arguments);
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
