#include "Host/Plugin/Module.h"

#include "Host/Text/Errors.h"

#include <dlfcn.h>
#include <array>
#include <filesystem>

namespace {

/// The two codes as people read them: "ZAV LPCM".
std::string CodesText(unsigned int manufacturer, unsigned int codec) {
  std::array<char, 9> text{};
  KelGetManufactureCodecEightCCString(text.data(), manufacturer, codec);
  return text.data();
}

/// `path` such that the loader takes it as a path, never as a name to search for.
std::string PathNotName(const std::string& path) { return path.find('/') == std::string::npos ? "./" + path : path; }

}  // namespace

void Module::LibraryCloser::operator()(void* library) const { dlclose(library); }

Module::Module(const std::string& path)
    : m_path(path), m_library(dlopen(PathNotName(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_library == nullptr) {
    throw Failure("cannot load the module: " + std::string(dlerror()));
  }
  const auto count = reinterpret_cast<int (*)()>(EntryPoint("RhoGetNumberAudioCompressors"));
  const auto info = reinterpret_cast<void (*)(unsigned int, unsigned int*, unsigned int*, unsigned int*)>(
      EntryPoint("RhoGetAudioCompressorInfo"));
  m_create = reinterpret_cast<IAudioCompressor* (*)(unsigned int, unsigned int)>(EntryPoint("CreateAudioCompressor"));
  if (const int compressors = count(); compressors != 1) {
    throw Failure(m_path + ": the module offers " + std::to_string(compressors) + " compressors instead of one");
  }
  info(0, &m_manufacturer, &m_codec, &m_version);
}

Module::~Module() = default;

CompressorOwner Module::CreateCompressor() const {
  CompressorOwner compressor(m_create(m_manufacturer, m_codec));
  if (compressor == nullptr) {
    throw Failure(m_path + ": the module gives no compressor for " + CodesText(m_manufacturer, m_codec));
  }
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  compressor->GetAudioCompressorInfo(manufacturer, codec);
  if (manufacturer != m_manufacturer || codec != m_codec) {
    throw Failure(m_path + ": the module announces " + CodesText(m_manufacturer, m_codec) +
                  " but gives a compressor for " + CodesText(manufacturer, codec));
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

void* Module::EntryPoint(const char* name) const {
  void* const address = dlsym(m_library.get(), name);
  if (address == nullptr) {
    throw Failure(m_path + ": not an encoder module: it has no entry point " + name);
  }
  return address;
}
