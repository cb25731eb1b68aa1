#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Library.h"
#include "Host/Validate/Support/ProcessState.h"

#include <link.h>
#include <sys/mman.h>
#include <unistd.h>
#include <array>
#include <fstream>

namespace {

void BindsAtOnce(const std::string& module) { const Library library(module); }

void HasEntryPoints(const std::string& module) {
  const Library library(module);
  std::string missing;
  for (const char* const name :
       {"RhoGetNumberAudioCompressors", "RhoGetAudioCompressorInfo", "CreateAudioCompressor"}) {
    if (library.Find(name) == nullptr) {
      missing.append(missing.empty() ? "" : ", ").append(name);
    }
  }
  Expect(missing.empty(), "three entry points", "no " + missing);
}

void PrintsNothing(const std::string& module) {
  const PrintedText printed;
  Library library(module);
  Expect(printed.Text().empty(), "nothing printed by loading", printed.Text());
  library.Unload();
  Expect(printed.Text().empty(), "nothing printed by unloading", printed.Text());
}

template <ProcessState (*Read)()>
void Leaves(const std::string& module) {
  const ProcessState before = Read();
  Library library(module);
  ExpectUnchanged(before, Read(), "loading");
  library.Unload();
  ExpectUnchanged(before, Read(), "unloading");
}

/// The file that the library is mapped from, which is gone from this process when the library is.
std::string FileOf(const Library& library) {
  const auto mappings = ReadMappings();
  const Mapping* const mapping = FindMapping(mappings, library.Address());
  Expect(mapping != nullptr, "the library in the process's memory", "none at its address");
  return mapping->file;
}

void ExpectGone(const std::string& file) {
  for (const Mapping& mapping : ReadMappings()) {
    Expect(mapping.file != file, "the module out of memory once it is unloaded", "still there: " + file);
  }
}

void Unloads(const std::string& module) {
  Library library(module);
  const std::string file = FileOf(library);
  library.Unload();
  ExpectGone(file);
}

void LoadsTenTimes(const std::string& path) {
  std::string first;
  for (int time = 1; time <= 10; ++time) {
    CheckedModule module(path);
    const std::string file = FileOf(module.GetLibrary());
    const std::string announced = InfoText(module.Infos().front());
    module.CreateCompressor().reset();
    module.Unload();
    ExpectGone(file);
    first = time == 1 ? announced : first;
    Expect(announced == first, first + " each time", announced + " at time " + std::to_string(time));
  }
}

/// Fails the check unless a compressor can be made, names itself as announced and is let go of.
std::string Work(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  const char* const name = compressor->GetName();
  return InfoText(module.Infos().front()) + (name == nullptr ? "" : name);
}

void WorksForTwoWhoLoadIt(const std::string& path) {
  CheckedModule first(path);
  const CheckedModule second(path);
  const std::string before = Work(second);
  first.Unload();
  const std::string after = Work(second);
  Expect(after == before, before + " also when another part of the host has unloaded it", after);
}

/// A copy of a file that lives as long as the object, and a path to it.
class MemoryCopy {
 public:
  explicit MemoryCopy(const std::string& path) : m_file(memfd_create("copy", MFD_CLOEXEC)) {
    std::ofstream(Path(), std::ios::binary) << std::ifstream(path, std::ios::binary).rdbuf();
  }
  MemoryCopy(const MemoryCopy&) = delete;
  MemoryCopy& operator=(const MemoryCopy&) = delete;
  ~MemoryCopy() { close(m_file); }

  std::string Path() const { return "/proc/self/fd/" + std::to_string(m_file); }

 private:
  int m_file;
};

void WorksBesideACopy(const std::string& path) {
  const MemoryCopy file(path);
  CheckedModule module(path);
  try {
    const Library trial(file.Path());
  } catch (const CheckFailed& failure) {
    throw CheckSkipped{"a copy elsewhere cannot be loaded: " + failure.came};
  }
  const CheckedModule copy(file.Path());
  const std::string alone = Work(module);
  const std::string both = Work(copy);
  Expect(both == alone, alone + " of a copy too", both);
  const std::string mapped = FileOf(module.GetLibrary());
  module.Unload();
  ExpectGone(mapped);
  const std::string after = Work(copy);
  Expect(after == alone, alone + " when the other copy is unloaded", after);
}

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

bool HasTextRelocations(const ElfW(Dyn) * entry) {
  for (; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_TEXTREL || (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0)) {
      return true;
    }
  }
  return false;
}

struct Weaknesses {
  const void* address = nullptr;
  bool isFound = false;
  bool isStackExecutable = true;  ///< unless a segment says otherwise
  bool isCodeWritable = false;
};

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

void IsHardened(const std::string& module) {
  const Library library(module);
  Weaknesses weaknesses{library.Address()};
  dl_iterate_phdr(Inspect, &weaknesses);
  Expect(weaknesses.isFound, "the library among those of the process", "none at its address");
  Expect(!weaknesses.isStackExecutable, "a stack that holds no code", "the module asks for an executable stack");
  Expect(!weaknesses.isCodeWritable, "code that nobody can write to", "a segment both writable and executable");
  Expect(!HasTextRelocations(static_cast<const ElfW(Dyn)*>(library.Address())), "code that the loader shares as it is",
         "relocations in the code");
}

constexpr auto kChecks = std::to_array<Check>({
    {"load.binds-at-once", "A host cannot use a module that does not load or lacks what it needs.", BindsAtOnce},
    {"load.entry-points", "A host finds what the module offers by the names of three functions.", HasEntryPoints},
    {"load.prints-nothing", "What a module prints ends up in output that programs read from the host.", PrintsNothing},
    {"load.starts-no-threads", "A thread that outlives unloading runs code that is gone.", Leaves<Threads>},
    {"load.leaves-no-descriptors", "Descriptors left open run out in a host that loads many modules.",
     Leaves<Descriptors>},
    {"load.leaves-signals-alone", "How signals are handled is the host's decision, for all that it runs.",
     Leaves<Signals>},
    {"load.leaves-surroundings-alone",
     "Locale, environment, folder and number handling are the host's: a change alters what it computes and writes.",
     Leaves<Surroundings>},
    {"load.unloads", "A module that stays in memory cannot be replaced while the host runs.", Unloads},
    {"load.ten-times", "Hosts load a module whenever they need it, and let go of it after.", LoadsTenTimes},
    {"load.two-users", "Two parts of a host load a module independently, and each unloads it on its own.",
     WorksForTwoWhoLoadIt},
    {"load.two-copies", "Two versions of a module may be installed, and a host that lists both loads both.",
     WorksBesideACopy},
    {"load.hardened", "Memory that is both writable and executable turns any overrun in the host into an attack.",
     IsHardened},
});

}  // namespace

std::span<const Check> LoadingChecks() { return kChecks; }
