#pragma once

/// Every text that the settings of a compressor show or file, with a name for each: what a host hands to its dialogs
/// and presets without looking at it twice.

#include <string>
#include <string_view>
#include <vector>

class IAudioCompressor;

struct ShownText {
  enum class Use {
    kName,   ///< beside a control or in a preset: a host needs one that is not empty
    kExtra,  ///< units, tool tips, entries, labels of kinds that may go without: empty where there is nothing to say
    kValue,  ///< a value that is a text: any bytes
  };
  std::string what;  ///< "label of \"All/Mode\"", for reports
  const char* text = nullptr;
  Use use = Use::kExtra;
};

/// All of them, containers opened. Throws CheckFailed for what no host could walk: a type code that is none, more than
/// 10000 entries, values or settings in one place, settings nested more than 32 deep or without end.
std::vector<ShownText> ShownTextsOf(IAudioCompressor& compressor);

/// `text` in double quotes, with its bytes in hexadecimal instead when it is not UTF-8; "null" for null.
std::string Quoted(const char* text);

/// `text` as reports show it: whatever is beyond 60 bytes cut off, bytes that are no UTF-8 taken for Latin-1.
std::string Shortened(std::string_view text);
