#include "Host/Plugin/Module.h"

#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

namespace {

/// Loads the library. The text of the Failure ends with the loader's, which names the file.
SharedLibrary Load(const std::string& path) {
  try {
    return SharedLibrary(path);
  } catch (const Failure& failure) {
    throw Failure(fmt::format("cannot load the module: {}", failure.what()));
  }
}

}  // namespace

Module::Module(const std::string& name) : m_path(FindModule(name)), m_library(Load(m_path)) {
  const auto count = EntryPoint<int (*)()>("RhoGetNumberAudioCompressors");
  const auto info =
      EntryPoint<void (*)(unsigned int index, unsigned int* manufacturer, unsigned int* codec, unsigned int* version)>(
          "RhoGetAudioCompressorInfo");
  m_create = EntryPoint<CreateFunction>("CreateAudioCompressor");
  // All three entry points exist before any of them is called.
  if (const int compressors = count(); compressors != 1) {
    throw Failure(fmt::format("{}: the module offers {} compressors instead of one", m_path, compressors));
  }
  // A module with one compressor does not read the index.
  info(0, &m_codes.manufacturer, &m_codes.codec, &m_version);
}

CompressorOwner Module::CreateCompressor() const {
  CompressorOwner compressor(m_create(m_codes.manufacturer, m_codes.codec));
  if (compressor == nullptr) {
    throw Failure(fmt::format("{}: the module returns no compressor for {}", m_path, CodesText(m_codes)));
  }
  if (const CompressorCodes codes = CodesOf(*compressor); codes != m_codes) {
    throw Failure(fmt::format("{}: the module announces {} but returns a compressor for {}", m_path, CodesText(m_codes),
                              CodesText(codes)));
  }
  return compressor;
}

template <class FunctionPointer>
FunctionPointer Module::EntryPoint(const char* name) const {
  const auto function = m_library.Function<FunctionPointer>(name);
  if (function == nullptr) {
    throw Failure(fmt::format("{}: not an encoder module: no entry point {}", m_path, name));
  }
  return function;
}
