#include "Host/Validate/Support/Slots.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/Mappings.h"
#include "RHOAPI/RhoapiSettingsInterface.h"

#include <dlfcn.h>
#include <array>

namespace {

// Slots of ISetting: 17 operations, and two for the virtual destructor (Itanium C++ ABI).
constexpr std::size_t kCommonSlots = 19;

// Operations that each interface has behind the common ones, by type code.
constexpr std::array<std::size_t, kLastSettingType + 1> kOwnSlots{0, 2, 7, 10, 10, 10, 4, 5, 8, 3, 2, 2, 2};

/// A function of this program, whose own code no module's slot leads to.
void OwnFunction() {}

/// Whether the address is that of the C++ runtime's function for pure virtual or deleted operations, which ends the
/// process when it is called.
bool IsUndefinedOperation(const void* code) {
  return code == dlsym(RTLD_DEFAULT, "__cxa_pure_virtual") || code == dlsym(RTLD_DEFAULT, "__cxa_deleted_virtual");
}

}  // namespace

std::size_t SettingSlots(unsigned int type) { return kCommonSlots + (type < kOwnSlots.size() ? kOwnSlots[type] : 0); }

void ExpectSlotsLeadToCode(const void* address, std::size_t count, const std::string& object) {
  const auto mappings = ReadMappings();
  const std::string own = FindMapping(mappings, reinterpret_cast<const void*>(&OwnFunction))->id;
  // The first word of an object with virtual operations is the address of its table (Itanium C++ ABI).
  const auto* const table = *static_cast<const void* const* const*>(address);
  ExpectThat(FindMapping(mappings, table) != nullptr && FindMapping(mappings, table + count - 1) != nullptr,
             "an address where no memory is", "{} with a virtual table of {} slots", object, count);
  for (std::size_t slot = 0; slot < count; ++slot) {
    const std::string expected = fmt::format("{}: slot {} to lead to code of the module", object, slot);
    const Mapping* const mapping = FindMapping(mappings, table[slot]);
    Expect(mapping != nullptr, expected, "an address where no memory is");
    Expect(mapping->isExecutable, expected, fmt::format("an address in data: {}", mapping->file));
    // Names without a slash are the kernel's: [heap], [stack], [vdso].
    Expect(!mapping->file.empty() && mapping->file.front() == '/', expected, "memory that is not mapped from a file");
    Expect(mapping->id != own, expected, "the host's own code");
    Expect(!IsUndefinedOperation(table[slot]), expected, "the error function for an operation without a definition");
  }
}
