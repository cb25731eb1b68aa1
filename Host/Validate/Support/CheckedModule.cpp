#include "Host/Validate/Support/CheckedModule.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"

#include <array>

namespace {

/// A larger count is taken for a fault: no list is made for it.
constexpr int kMostCompressors = 1000;

/// The function of that name. Fails the check when the library lacks it.
template <class Function>
Function EntryPoint(const SharedLibrary& library, const char* name) {
  void* const address = library.Find(name);
  ExpectThat(address != nullptr, "no symbol of that name", "the entry point {}", name);
  return reinterpret_cast<Function>(address);
}

}  // namespace

std::string InfoText(const CompressorInfo& info) {
  // Eight characters and the terminating NUL.
  std::array<char, 9> codes{};
  KelGetManufactureCodecEightCCString(codes.data(), info.manufacturer, info.codec);
  return fmt::format("{}, version {:#010x}", codes.data(), info.version);
}

CheckedModule::CheckedModule(const std::string& path) : m_library(path) {
  m_count = EntryPoint<decltype(m_count)>(m_library, "RhoGetNumberAudioCompressors");
  m_info = EntryPoint<decltype(m_info)>(m_library, "RhoGetAudioCompressorInfo");
  m_create = EntryPoint<decltype(m_create)>(m_library, "CreateAudioCompressor");
}

std::vector<CompressorInfo> CheckedModule::Infos() const {
  NoteStep("RhoGetNumberAudioCompressors");
  const int count = Count();
  ExpectThat(count >= 1 && count <= kMostCompressors, fmt::to_string(count), "a number of compressors from 1 up");
  std::vector<CompressorInfo> infos(static_cast<std::size_t>(count));
  NoteStep("RhoGetAudioCompressorInfo");
  for (unsigned int index = 0; index < infos.size(); ++index) {
    GetInfo(index, &infos[index].manufacturer, &infos[index].codec, &infos[index].version);
  }
  return infos;
}

CompressorOwner CheckedModule::CreateCompressor(const CompressorInfo& info) const {
  NoteStep("CreateAudioCompressor");
  IAudioCompressor* const compressor = Create(info.manufacturer, info.codec);
  ExpectThat(compressor != nullptr, "null", "a compressor of {}", InfoText(info));
  return CompressorOwner(new CompressorUnderTest(compressor));
}
