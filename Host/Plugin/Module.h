#pragma once

/// An encoder module, loaded from a file at run time, its entry points found by name.
///
///     const Module module("PCMPlugin");
///     const CompressorOwner compressor = module.CreateCompressor();

#include "Host/Plugin/CompressorCodes.h"
#include "Host/Plugin/SharedLibrary.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <memory>
#include <string>

using CompressorOwner = std::unique_ptr<IAudioCompressor, CompressorReleaser>;

class Module {
 public:
  /// Loads the module that FindModule (ModuleSearch.h) finds for `name`. Throws Failure if there is none, it cannot be
  /// loaded, lacks an entry point (named), or offers any number of compressors other than one.
  explicit Module(const std::string& name);

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  /// Unloads the module. All compressors must have been released.
  ~Module() = default;

  /// A new compressor with the codes that the module announces; release it before the module is unloaded. Throws
  /// Failure if the module returns none, or one with other codes.
  CompressorOwner CreateCompressor() const;

  /// The file that is loaded.
  const std::string& Path() const { return m_path; }

  /// The codes that the module announces.
  const CompressorCodes& Codes() const { return m_codes; }

  /// The version that the module announces.
  unsigned int Version() const { return m_version; }

 private:
  using CreateFunction = IAudioCompressor* (*)(unsigned int manufacturer, unsigned int codec);

  /// Throws Failure that names the entry point if the module has none of that name.
  template <class FunctionPointer>
  FunctionPointer EntryPoint(const char* name) const;

  std::string m_path;
  SharedLibrary m_library;
  CreateFunction m_create;
  CompressorCodes m_codes;
  unsigned int m_version = 0;
};
