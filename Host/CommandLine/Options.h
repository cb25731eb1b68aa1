#pragma once

/// The parsed command line.

#include "Host/CommandLine/WorkList.h"
#include "Host/Encode/RequestedSettings.h"
#include "Host/Transcode/EncodeFile.h"
#include "Host/Validate/Engine/ValidateCommand.h"

#include <optional>
#include <string>

/// The action that the command line asks for.
enum class Action {
  kEncode,
  kEncodeMany,
  kShowInfo,
  kListModules,
  kMakePreset,  ///< save the settings in a preset, without input and output
  kValidate,
};

struct Options : EncodingOptions {
  Action action = Action::kEncode;
  std::string input;                 ///< "-" is standard input; empty with a test signal
  std::string output;                ///< "-" is standard output
  SelectionOptions selection;        ///< the inputs of many
  OutputNaming naming;               ///< the outputs of many; without a folder one file is encoded
  bool skipExisting = false;         ///< of many, skip those whose output exists
  bool update = false;               ///< of many, skip those whose output exists and is not older; replace the others
  bool listInputs = false;           ///< of many, print the list names of those that would be encoded
  std::string failedList;            ///< of many, file to list the failed ones in; empty: none
  std::optional<unsigned int> jobs;  ///< of many, how many are encoded at a time, 1 to 256
  std::string module;                ///< for FindModule
  SettingRequest request;            ///< what the compressor's settings are to be
  std::string savePreset;            ///< file to save the chosen settings in; empty: none
  bool json = false;
  bool quiet = false;
  bool dryRun = false;
  ValidateOptions validate;

  Options() { request.suggestions = {"try --rate ", "try --bits ", "try --channels ", "try --split"}; }

  /// Reads the preset. Throws Failure.
  RequestedSettings Settings() const { return RequestedSettings(request); }
};

/// Tells from the options of "encode" whether one file, many, or none is to be encoded, and completes them accordingly:
/// `action`, `input` and `output`. Throws WrongUse for files that are missing or surplus, and for options that
/// contradict each other.
void CompleteEncodeOptions(Options& options);
