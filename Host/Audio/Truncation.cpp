#include "Host/Audio/Truncation.h"

#include <fmt/format.h>

std::string MissingText(std::string_view unit, std::uint64_t stated, std::uint64_t missing) {
  return fmt::format("the header states {} {} of sound, {} {} missing", stated, unit, missing,
                     missing == 1 ? "is" : "are");
}
