#include "Host/Validate/Engine/Seed.h"

#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"

#include <fmt/format.h>
#include <cstdlib>
#include <random>

std::uint64_t Seed() {
  // Once per process: all that is random in it begins with the same number.
  static const std::uint64_t seed = [] {
    const char* const text = std::getenv("RHOHOST_SEED");
    if (text == nullptr || *text == '\0') {
      return std::uint64_t{std::random_device{}()};
    }
    const auto number = ParseNumber<std::uint64_t>(text);
    if (!number) {
      throw WrongUse(fmt::format("RHOHOST_SEED: \"{}\" is not a number from 0 to {}", text, UINT64_MAX));
    }
    return *number;
  }();
  return seed;
}

std::string SeedText() { return fmt::format(" (seed {})", Seed()); }
