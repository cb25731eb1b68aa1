#pragma once

/// The module that a check runs on, loaded by path. Whatever is not as it should be fails the check (CheckFailed).
///
/// A check takes the module, a compressor of it, or each of its compressors; OnModule, OnCompressor and
/// OnEachCompressor make a Check's `run` of it:
///
///     void HasNames(IAudioCompressor& compressor);
///     {"info.names", "Users choose by these names.", OnCompressor<HasNames>}

#include "Host/Plugin/Module.h"
#include "Host/Plugin/SharedLibrary.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <string>
#include <vector>

/// What a module announces of one of its compressors.
struct CompressorInfo {
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  unsigned int version = 0;

  bool operator==(const CompressorInfo&) const = default;
};

/// "ZAV LPCM, version 0x00010000".
std::string InfoText(const CompressorInfo& info);

class CheckedModule {
 public:
  /// Loads the module and finds its entry points.
  explicit CheckedModule(const std::string& path);

  /// The entry points, called as they are.
  int Count() const { return m_count(); }
  void GetInfo(unsigned int index, unsigned int* manufacturer, unsigned int* codec, unsigned int* version) const {
    m_info(index, manufacturer, codec, version);
  }
  IAudioCompressor* Create(unsigned int manufacturer, unsigned int codec) const {
    return m_create(manufacturer, codec);
  }

  /// What it announces, one for each compressor; at least one.
  std::vector<CompressorInfo> Infos() const;

  /// A new compressor of these codes, or of the first that it announces. Its calls are noted as steps (NoteStep). It
  /// must not outlive the module.
  CompressorOwner CreateCompressor(const CompressorInfo& info) const;
  CompressorOwner CreateCompressor() const { return CreateCompressor(Infos().front()); }

  const SharedLibrary& GetLibrary() const { return m_library; }

  /// Unloads it ahead of time.
  void Unload() { m_library.Unload(); }

 private:
  SharedLibrary m_library;
  int (*m_count)() = nullptr;
  void (*m_info)(unsigned int, unsigned int*, unsigned int*, unsigned int*) = nullptr;
  IAudioCompressor* (*m_create)(unsigned int, unsigned int) = nullptr;
};

template <void (*kCheck)(const CheckedModule& module)>
void OnModule(const std::string& path) {
  kCheck(CheckedModule(path));
}

template <void (*kCheck)(IAudioCompressor& compressor)>
void OnCompressor(const std::string& path) {
  const CheckedModule module(path);
  kCheck(*module.CreateCompressor());
}

template <void (*kCheck)(IAudioCompressor& compressor, const CompressorInfo& announced)>
void OnEachCompressor(const std::string& path) {
  const CheckedModule module(path);
  for (const CompressorInfo& info : module.Infos()) {
    kCheck(*module.CreateCompressor(info), info);
  }
}
