#include "Host/Plugin/SharedLibrary.h"
#include "Host/Text/Errors.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Mappings.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <link.h>
#include <sys/mman.h>
#include <array>
#include <fstream>

namespace {

/// The library loads with all symbols bound at once.
void BindsAtOnce(const std::string& module) {
  NoteStep("dlopen");
  try {
    SharedLibrary library(module);
    NoteStep("dlclose");
    library.Unload();
  } catch (const Failure& failure) {
    throw CheckFailed{"a library that can be loaded", failure.what()};
  }
}

/// The library exports the three entry points.
void HasEntryPoints(const std::string& module) {
  const SharedLibrary library(module);
  std::string missing;
  for (const char* const name :
       {"RhoGetNumberAudioCompressors", "RhoGetAudioCompressorInfo", "CreateAudioCompressor"}) {
    if (library.Find(name) == nullptr) {
      missing.append(missing.empty() ? "" : ", ").append(name);
    }
  }
  Expect(missing.empty(), "three entry points", "no " + missing);
}

/// The file that the library is mapped from. Copied, because the mappings are gone when the library is.
Mapping FileOf(const SharedLibrary& library) {
  const auto mappings = ReadMappings();
  const Mapping* const mapping = FindMapping(mappings, DynamicSection(library.Handle()));
  Expect(mapping != nullptr, "the library in the memory of the process", "none at its address");
  return *mapping;
}

/// Nothing of the file is mapped any more. Both are compared, since another file may reuse the inode.
void ExpectGone(const Mapping& file) {
  for (const Mapping& mapping : ReadMappings()) {
    ExpectThat(mapping.id != file.id || mapping.file != file.file, "still there",
               "{} no longer in memory once it is unloaded", file.file);
  }
}

/// Unloading the library removes it from memory.
void Unloads(const std::string& module) {
  SharedLibrary library(module);
  const Mapping file = FileOf(library);
  library.Unload();
  ExpectGone(file);
}

/// The module can be loaded, used and unloaded again and again, and announces the same each time.
void LoadsTenTimes(const std::string& path) {
  std::string first;
  for (int time = 1; time <= 10; ++time) {
    CheckedModule module(path);
    const Mapping file = FileOf(module.GetLibrary());
    const std::string announced = InfoText(module.Infos().front());
    module.CreateCompressor().reset();
    module.Unload();
    ExpectGone(file);
    first = time == 1 ? announced : first;
    ExpectThat(announced == first, announced, "{} also when it is loaded for the {}th time", first, time);
  }
}

/// Creates a compressor and releases it. Returns the announced codes and the name that the compressor reports.
std::string Work(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  const char* const name = compressor->GetName();
  return fmt::format("{}, \"{}\"", InfoText(module.Infos().front()), name == nullptr ? "" : name);
}

/// A copy of a file that lives as long as the object, and a path to it.
class MemoryCopy {
 public:
  explicit MemoryCopy(const std::string& path) : m_file(memfd_create("copy", MFD_CLOEXEC)) {
    std::ofstream(Path(), std::ios::binary) << std::ifstream(path, std::ios::binary).rdbuf();
  }

  std::string Path() const { return fmt::format("/proc/self/fd/{}", m_file.Get()); }

 private:
  Descriptor m_file;
};

/// A copy of the file, which the loader takes for another library, works beside the module and after the module's
/// unloading.
void WorksBesideACopy(const std::string& path) {
  const MemoryCopy file(path);
  CheckedModule module(path);
  try {
    // Modules may need libraries beside them, which a copy elsewhere does not find.
    const SharedLibrary trial(file.Path());
  } catch (const Failure& failure) {
    throw CheckSkipped{fmt::format("a copy elsewhere cannot be loaded: {}", failure.what())};
  }
  const CheckedModule copy(file.Path());
  const std::string alone = Work(module);
  const std::string both = Work(copy);
  ExpectThat(both == alone, both, "{} of a copy of the module too", alone);
  const Mapping mapped = FileOf(module.GetLibrary());
  module.Unload();
  ExpectGone(mapped);
  const std::string after = Work(copy);
  ExpectThat(after == alone, after, "{} when the other copy is unloaded", alone);
}

/// Whether a loaded segment of the object contains the address.
bool Contains(const dl_phdr_info& object, const void* address) {
  const auto place = reinterpret_cast<std::uintptr_t>(address);
  for (int index = 0; index < object.dlpi_phnum; ++index) {
    const ElfW(Phdr)& segment = object.dlpi_phdr[index];
    const std::uintptr_t begin = object.dlpi_addr + segment.p_vaddr;
    if (segment.p_type == PT_LOAD && place >= begin && place - begin < segment.p_memsz) {
      return true;
    }
  }
  return false;
}

/// Whether the loader has to write to the code (DT_TEXTREL, or DF_TEXTREL in DT_FLAGS).
bool HasTextRelocations(const ElfW(Dyn) * entry) {
  for (; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_TEXTREL || (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0)) {
      return true;
    }
  }
  return false;
}

/// What Inspect looks for, by an address in the library, and what it finds.
struct Weaknesses {
  const void* address = nullptr;
  bool isFound = false;
  bool isStackExecutable = true;  ///< unless a segment says otherwise
  bool isCodeWritable = false;
};

/// The callback of dl_iterate_phdr. Returns 1, which ends the iteration, at the library.
int Inspect(dl_phdr_info* object, std::size_t /*size*/, void* context) {
  auto& weaknesses = *static_cast<Weaknesses*>(context);
  if (!Contains(*object, weaknesses.address)) {
    return 0;
  }
  weaknesses.isFound = true;
  for (int index = 0; index < object->dlpi_phnum; ++index) {
    const ElfW(Phdr)& segment = object->dlpi_phdr[index];
    if (segment.p_type == PT_GNU_STACK) {
      weaknesses.isStackExecutable = (segment.p_flags & PF_X) != 0;
    } else if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
      weaknesses.isCodeWritable = weaknesses.isCodeWritable || (segment.p_flags & PF_W) != 0;
    }
  }
  return 1;
}

/// The library asks for no executable stack, and nobody writes to its code, the loader included.
void IsHardened(const std::string& module) {
  const SharedLibrary library(module);
  Weaknesses weaknesses{DynamicSection(library.Handle())};
  dl_iterate_phdr(Inspect, &weaknesses);
  Expect(weaknesses.isFound, "the library among those of the process", "none at its address");
  Expect(!weaknesses.isStackExecutable, "a stack that holds no code", "the module asks for an executable stack");
  Expect(!weaknesses.isCodeWritable, "code that nobody can write to", "a segment both writable and executable");
  Expect(!HasTextRelocations(static_cast<const ElfW(Dyn)*>(DynamicSection(library.Handle()))),
         "code that the loader shares as it is", "relocations in the code");
}

}  // namespace

std::span<const Check> LoadingChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {kLoads, "A host cannot use a module that does not load or lacks what it needs.", BindsAtOnce},
      {kHasEntryPoints, "A host finds what the module offers by the names of three functions.", HasEntryPoints, kLoads},
      {"load.unloads", "A module that stays in memory cannot be replaced while the host runs.", Unloads, kLoads},
      {"load.ten-times", "Hosts load a module whenever they need it, and unload it after.", LoadsTenTimes,
       kHasCompressors},
      {"load.two-copies", "Two versions of a module may be installed, and a host that lists both loads both.",
       WorksBesideACopy, kHasCompressors},
      {"load.hardened", "Memory that is both writable and executable turns any overrun in the host into an attack.",
       IsHardened, kLoads},
  });
  return kChecks;
}
