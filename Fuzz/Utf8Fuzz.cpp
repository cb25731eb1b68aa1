// The host's UTF-8 functions, against another library.

#include "Fuzz/Fuzz.h"
#include "Host/Text/Utf8.h"

#include <nlohmann/json.hpp>

void Fuzz(FuzzedDataProvider& data) {
  using Json = nlohmann::json;
  const std::string text = data.ConsumeRemainingBytesAsString();
  // dump() with `ignore` drops invalid bytes, so the text survives only if it is valid.
  Expect(IsUtf8(text) == (Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::ignore)) == text));
  Expect(IsUtf8(ToUtf8(text)) && (ToUtf8(text) == text) == IsUtf8(text));
}
