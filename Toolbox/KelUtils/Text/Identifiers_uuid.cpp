#include "Toolbox/KelUtils/Text/Identifiers.h"

#include "Toolbox/KelUtils/Text/Text.h"

#include <uuid/uuid.h>
#include <array>

std::string KelGetGUID() {
  // uuid_unparse writes 36 characters and a NUL.
  constexpr int kTextSize = 36 + 1;
  uuid_t id;
  std::array<char, kTextSize> text{};
  uuid_generate(id);
  uuid_unparse(id, text.data());
  // The case of uuid_unparse's digits depends on how libuuid was built.
  return KelToLowerCase(text.data());
}
