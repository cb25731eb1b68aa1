#pragma once

#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>

/// Calls operation number `slot` of an object as a host does: through its virtual table, by position. References are
/// passed as pointers. A deleting destructor is an operation like any other.
template <class Result = void, class... Arguments>
Result CallSlot(const void* object, std::size_t slot, Arguments... arguments) {
  using Operation = Result (*)(const void*, Arguments...);
  return (*static_cast<Operation* const*>(object))[slot](object, arguments...);
}

/// The answers of an object's getters from slot `first` on, each behind a blank. A letter of `kinds` tells what a slot
/// answers: u an unsigned int, q 64 bits, d a double, s a text, b bytes whose number the next slot answers ("null" for
/// no pointer); slots with any other letter are left alone.
inline std::string ReadSlots(const void* object, std::size_t first, std::string_view kinds) {
  std::ostringstream text;
  for (std::size_t slot = first; const char kind : kinds) {
    if (kind == 'u') {
      text << ' ' << CallSlot<unsigned>(object, slot);
    } else if (kind == 'q') {
      text << ' ' << CallSlot<unsigned long long>(object, slot);
    } else if (kind == 'd') {
      text << ' ' << CallSlot<double>(object, slot);
    } else if (kind == 's') {
      text << ' ' << CallSlot<const char*>(object, slot);
    } else if (kind == 'b') {
      const auto* const bytes = CallSlot<const char*>(object, slot);
      text << ' ' << (bytes == nullptr ? "null" : std::string_view(bytes, CallSlot<unsigned long>(object, slot + 1)));
    }
    ++slot;
  }
  return text.str();
}
