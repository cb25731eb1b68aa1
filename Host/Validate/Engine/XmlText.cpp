#include "Host/Validate/Engine/XmlText.h"

#include "Host/Text/Utf8.h"

#include <string_view>

std::string XmlText(const std::string& text) {
  std::string result = ToUtf8(text);
  for (char& character : result) {
    const auto byte = static_cast<unsigned char>(character);
    // XML 1.0 allows tab, line feed and carriage return only, and readers normalize the last one away.
    if (byte < 0x20 && byte != '\n' && byte != '\t') {
      character = '?';
    }
  }
  // U+FFFE and U+FFFF, which XML 1.0 excludes. Their third byte changed gives U+FFFD (EF BF BD).
  for (const std::string_view unusable : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (std::size_t at = result.find(unusable); at != std::string::npos; at = result.find(unusable, at)) {
      result[at + 2] = '\xBD';
    }
  }
  return result;
}
