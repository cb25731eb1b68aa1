#pragma once

/// The command line.

#include "Host/Encode/RequestedSettings.h"
#include "Host/Transcode/EncodeFile.h"

#include <optional>
#include <string>
#include <vector>

/// What the program is asked to do.
enum class Action {
  kEncode,
  kEncodeMany,
  kShowInfo,
  kMakePreset,  ///< file the settings, without input and output
};

struct Options : EncodingOptions {
  Action action = Action::kEncode;
  std::string input;                ///< "-" is standard input; empty with a test signal
  std::string output;               ///< "-" is standard output
  std::vector<std::string> inputs;  ///< files and folders, of many
  std::string folder;               ///< where the outputs of many go
  bool skipExisting = false;        ///< of many, pass over those whose output exists
  unsigned int jobs = 1;            ///< how many are encoded side by side, 1 to 256
  RequestedFormat requestedFormat;
  std::string module;                    ///< the one beside the program unless told otherwise
  std::string preset;                    ///< file to take settings from; empty: none
  std::vector<std::string> assignments;  ///< what settings are to be, as in "SampleRate=48000"
  std::string savePreset;                ///< file to put the settings into; empty: none
  bool json = false;
  bool quiet = false;
  bool dryRun = false;

  /// Reads the preset. Throws Failure.
  RequestedSettings Settings() const { return {requestedFormat, assignments, preset}; }
};

/// Reads the command line. Nothing, when it asked for help or the version only: that has then been printed. Throws
/// WrongUse that names the argument.
std::optional<Options> ReadOptions(int argc, const char* const* argv);

/// Frames per second from "25", "29.97" or "30000/1001"; nothing for any other text, and below 1.
///   ParseFrameRate("30000/1001") == 30000.0 / 1001
std::optional<double> ParseFrameRate(const std::string& text);
