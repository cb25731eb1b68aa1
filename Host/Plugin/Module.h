#pragma once

/// The encoder module, loaded as any program would load it: by path at run time, its entry points found by name.
///
///     const Module module(Module::DefaultPath());
///     const CompressorOwner compressor = module.CreateCompressor();

#include "RHOAPI/RhoapiAudioCodec.h"

#include <memory>
#include <string>

/// Lets go of a compressor the way its interface asks for.
struct CompressorReleaser {
  void operator()(IAudioCompressor* compressor) const { compressor->Release(); }
};
using CompressorOwner = std::unique_ptr<IAudioCompressor, CompressorReleaser>;

class Module {
 public:
  /// Loads the module at `path`, which names a file and is not searched for. Throws Failure that says what is wrong
  /// with it: it cannot be loaded, lacks an entry point (named), or offers any number of compressors other than one.
  explicit Module(const std::string& path);

  /// Unloads the module. Nothing that came out of it may be in use any more.
  ~Module();

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  /// A new compressor of the codes that the module announces. Throws Failure when it gives none, or one that goes by
  /// other codes.
  CompressorOwner CreateCompressor() const;

  /// The version that the module announces.
  unsigned int Version() const { return m_version; }

  /// Where the module is installed: in its bundle beside this program.
  static std::string DefaultPath();

 private:
  /// The address of an entry point. Throws Failure that names it when there is none.
  void* EntryPoint(const char* name) const;

  struct LibraryCloser {
    void operator()(void* library) const;
  };

  std::string m_path;
  std::unique_ptr<void, LibraryCloser> m_library;
  IAudioCompressor* (*m_create)(unsigned int manufacturer, unsigned int codec);
  unsigned int m_manufacturer = 0;
  unsigned int m_codec = 0;
  unsigned int m_version = 0;
};
