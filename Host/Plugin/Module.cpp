#include "Host/Plugin/Module.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>

namespace {

/// Both codes as text: "ZAV LPCM".
std::string CodesText(unsigned int manufacturer, unsigned int codec) {
  std::array<char, 9> text{};
  KelGetManufactureCodecEightCCString(text.data(), manufacturer, codec);
  return text.data();
}

SharedLibrary Load(const std::string& path) {
  try {
    return SharedLibrary(path);
  } catch (const Failure& failure) {
    throw Failure(fmt::format("cannot load the module: {}", failure.what()));
  }
}

}  // namespace

Module::Module(const std::string& path) : m_path(path), m_library(Load(path)) {
  const auto count = EntryPoint<int (*)()>("RhoGetNumberAudioCompressors");
  const auto info =
      EntryPoint<void (*)(unsigned int index, unsigned int* manufacturer, unsigned int* codec, unsigned int* version)>(
          "RhoGetAudioCompressorInfo");
  m_create = EntryPoint<CreateFunction>("CreateAudioCompressor");
  if (const int compressors = count(); compressors != 1) {
    throw Failure(fmt::format("{}: the module offers {} compressors instead of one", m_path, compressors));
  }
  info(0, &m_manufacturer, &m_codec, &m_version);
}

CompressorOwner Module::CreateCompressor() const {
  const std::string codes = CodesText(m_manufacturer, m_codec);
  CompressorOwner compressor(m_create(m_manufacturer, m_codec));
  if (compressor == nullptr) {
    throw Failure(fmt::format("{}: the module returns no compressor for {}", m_path, codes));
  }
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  compressor->GetAudioCompressorInfo(manufacturer, codec);
  if (manufacturer != m_manufacturer || codec != m_codec) {
    throw Failure(fmt::format("{}: the module announces {} but returns a compressor for {}", m_path, codes,
                              CodesText(manufacturer, codec)));
  }
  return compressor;
}

std::string Module::DefaultPath() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) {
    throw SystemFailure("/proc/self/exe", "find the program's folder", error.value());
  }
  return program.parent_path() / RHOHOST_MODULE;
}

template <class FunctionPointer>
FunctionPointer Module::EntryPoint(const char* name) const {
  const auto function = m_library.Function<FunctionPointer>(name);
  if (function == nullptr) {
    throw Failure(fmt::format("{}: not an encoder module: no entry point {}", m_path, name));
  }
  return function;
}
