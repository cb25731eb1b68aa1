#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Calls operation number `slot` of an object as a host does: through its virtual table, by position. References are
/// passed as pointers. Destructors have slots too.
template <class Result = void, class... Arguments>
Result CallSlot(const void* object, std::size_t slot, Arguments... arguments) {
  using Operation = Result (*)(const void*, Arguments...);
  return (*static_cast<Operation* const*>(object))[slot](object, arguments...);
}

/// The results of an object's getters from slot `first` on, each after a blank. The letters of `kinds` are the types of
/// the results: u unsigned int, l unsigned long, q 64 bits, d double (truncated to a whole number), s text, b bytes
/// whose number is the result of the next slot ("null" for no pointer). Slots with any other letter are not called.
inline std::string ReadSlots(const void* object, std::size_t first, std::string_view kinds) {
  std::string text;
  for (std::size_t slot = first; const char kind : kinds) {
    const auto* const bytes = kind == 's' || kind == 'b' ? CallSlot<const char*>(object, slot) : nullptr;
    text += kind == 'u'   ? ' ' + std::to_string(CallSlot<unsigned>(object, slot))
            : kind == 'l' ? ' ' + std::to_string(CallSlot<unsigned long>(object, slot))
            : kind == 'q' ? ' ' + std::to_string(CallSlot<unsigned long long>(object, slot))
            : kind == 'd' ? ' ' + std::to_string(static_cast<long>(CallSlot<double>(object, slot)))
            : kind == 's' ? ' ' + std::string(bytes)
            : kind != 'b' ? ""
                          : ' ' + (bytes ? std::string(bytes, CallSlot<unsigned long>(object, slot + 1)) : "null");
    ++slot;
  }
  return text;
}
