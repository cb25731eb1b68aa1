#pragma once

#include <cstdint>
#include <string>

/// Where all randomness of this process begins: the environment variable RHOHOST_SEED, to repeat a failure, or else
/// another number each time. Throws WrongUse when the variable is not a number.
std::uint64_t Seed();

/// " (seed 4711)", for reports of what depends on it.
std::string SeedText();
