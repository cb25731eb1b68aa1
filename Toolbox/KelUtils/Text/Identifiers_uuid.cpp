#include "Toolbox/KelUtils/Text/Identifiers.h"

#include "Toolbox/KelUtils/Text/Text.h"

#include <uuid/uuid.h>
#include <array>

std::string KelGetGUID() {
  constexpr int kTextSize = 36 + 1;
  uuid_t id;
  std::array<char, kTextSize> text{};
  uuid_generate(id);
  uuid_unparse(id, text.data());
  return KelToLowerCase(text.data());
}
