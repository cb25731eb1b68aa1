#pragma once

/// Every text of a compressor's settings that a host shows in dialogs or writes to presets, with a name for each.

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
  std::string copy;  ///< of the text, made at once
  Use use = Use::kExtra;
};

/// All of them, containers opened. Throws CheckFailed for settings that a host cannot walk: an unknown type code, more
/// than 10000 entries, values or settings in one container, nesting of more than 32 levels or without end.
std::vector<ShownText> ShownTextsOf(IAudioCompressor& compressor);

/// `text` in double quotes, with its bytes in hexadecimal instead when it is not UTF-8; "null" for null.
std::string Quoted(const char* text);

/// `text` as reports show it: at most 60 bytes, as UTF-8 (see ToUtf8).
std::string Shortened(std::string_view text);
