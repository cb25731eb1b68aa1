#pragma once

#include <memory>
#include <string>

/// A shared library, loaded at run time; the destructor unloads it.
///
///     SharedLibrary library("./PCMPlugin.so");
///     const auto count = library.Function<int (*)()>("RhoGetNumberAudioCompressors");
class SharedLibrary {
 public:
  /// Loads the file at `path` with all its symbols bound at once and none of them visible to other libraries. The
  /// loader's search path is not used: "a.so" means "./a.so". Throws Failure with the loader's text, which names the
  /// file.
  explicit SharedLibrary(const std::string& path);

  /// The address of the symbol `name`; null if the library does not define it.
  void* Find(const char* name) const;

  /// The same as a pointer to a function of the given type.
  template <class FunctionPointer>
  FunctionPointer Function(const char* name) const {
    return reinterpret_cast<FunctionPointer>(Find(name));
  }

  /// The handle that dlinfo takes; null after Unload.
  void* Handle() const { return m_handle.get(); }

  /// Unloads the library before the object ends; no-op if it is unloaded already. No code or data of the library may be
  /// in use.
  void Unload() { m_handle.reset(); }

 private:
  struct Closer {
    void operator()(void* handle) const;
  };

  std::unique_ptr<void, Closer> m_handle;
};
