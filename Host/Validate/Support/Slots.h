#pragma once

/// The operations of an object as a host calls them: by their place in its virtual table.

#include <cstddef>
#include <string>

/// How many slots a virtual table has: a compressor's, and a setting's by its type code.
constexpr std::size_t kCompressorSlots = 35;
std::size_t SettingSlots(unsigned int type);

/// Fails the check (CheckFailed) unless the first `count` slots of the object at `address` all lead into executable
/// code of a library that was loaded from a file: the module, or one that it needs. Neither this program's code will
/// do, nor the report of an operation that has no definition. `object` is what a failure calls it.
void ExpectSlotsLeadToCode(const void* address, std::size_t count, const std::string& object);
