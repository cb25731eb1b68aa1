#include "Host/Validate/Support/CheckedModule.h"

#include "Host/Validate/Engine/Check.h"

#include <array>
#include <cstdio>

namespace {

constexpr int kMostCompressors = 1000;

template <class Function>
Function EntryPoint(const Library& library, const char* name) {
  void* const address = library.Find(name);
  Expect(address != nullptr, std::string("the entry point ") + name, "none of that name");
  return reinterpret_cast<Function>(address);
}

}  // namespace

std::string InfoText(const CompressorInfo& info) {
  std::array<char, 9> codes{};
  KelGetManufactureCodecEightCCString(codes.data(), info.manufacturer, info.codec);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s, version 0x%08x", codes.data(), info.version);
  return text.data();
}

CheckedModule::CheckedModule(const std::string& path) : m_library(path) {
  m_count = EntryPoint<decltype(m_count)>(m_library, "RhoGetNumberAudioCompressors");
  m_info = EntryPoint<decltype(m_info)>(m_library, "RhoGetAudioCompressorInfo");
  m_create = EntryPoint<decltype(m_create)>(m_library, "CreateAudioCompressor");
}

std::vector<CompressorInfo> CheckedModule::Infos() const {
  const int count = Count();
  Expect(count >= 1 && count <= kMostCompressors, "a number of compressors from 1 up", std::to_string(count));
  std::vector<CompressorInfo> infos(static_cast<std::size_t>(count));
  for (unsigned int index = 0; index < infos.size(); ++index) {
    GetInfo(index, &infos[index].manufacturer, &infos[index].codec, &infos[index].version);
  }
  return infos;
}

CompressorOwner CheckedModule::CreateCompressor(const CompressorInfo& info) const {
  CompressorOwner compressor(Create(info.manufacturer, info.codec));
  Expect(compressor != nullptr, "a compressor of " + InfoText(info), "null");
  return compressor;
}
