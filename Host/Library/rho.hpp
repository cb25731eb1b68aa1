#pragma once

/// @file
/// Encoder modules for C++ programs (C++17): the functions of rho.h with owners, exceptions and std::string.
///
///     #include <rho.hpp>
///
///     rho::Compressor compressor = rho::Module("PCMPlugin").CreateCompressor();
///     compressor.Set("SampleRate", 48000);
///     compressor.Set("Channels", "5.1");
///     rho::Encoder encoder(compressor, "MKV");
///     const auto write = [&file](const rho::Packet& packet) { file.write(packet); };
///     encoder.Encode(samples.data(), samples.size(), write);  // as often as there are samples
///     encoder.Finish(write);
///
/// Everything is inline, so that the library has a C boundary alone: it works with any compiler and standard library.
/// rho.h says what each function does; what it reports as a result is an exception here, with the same text:
/// RHO_WRONG_USE is WrongUse, RHO_FAILED is Error, RHO_OUT_OF_MEMORY is std::bad_alloc. Texts are UTF-8 without zero
/// bytes. Objects that were moved from can only be destroyed or assigned to.

#include "rho.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The library for hosts.
namespace rho {

/// The module, the system or a file did not do what was asked.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An argument is invalid, a setting does not exist or a value is not allowed.
class WrongUse : public Error {
 public:
  using Error::Error;
};

/// The samples that an encoder takes.
using Format = rho_format;

/// A packet; its bytes are valid during the call that receives it.
using Packet = rho_packet;

/// The time limit of the functions that describe modules, unless the caller has another.
inline constexpr std::chrono::seconds kDescriptionTimeLimit{10};

/// @cond internal
namespace internal {

inline void Check(rho_result result) {
  switch (result) {
    case RHO_OK:
      return;
    case RHO_OUT_OF_MEMORY:
      throw std::bad_alloc();
    case RHO_WRONG_USE:
      throw WrongUse(rho_error_text());
    default:
      throw Error(rho_error_text());
  }
}

/// The text with a zero byte at the end. Throws WrongUse if there is another one.
inline std::string Text(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw WrongUse("a text has a zero byte in it");
  }
  return std::string(text);
}

inline unsigned int Milliseconds(std::chrono::milliseconds time) {
  constexpr unsigned int kLongest = std::numeric_limits<unsigned int>::max();
  return time.count() < 0 ? 0 : time.count() > kLongest ? kLongest : static_cast<unsigned int>(time.count());
}

/// The text that `function` stores through its last parameter.
template <class Function, class... Arguments>
std::string TakeText(Function function, Arguments... arguments) {
  char* text = nullptr;
  Check(function(arguments..., &text));
  const std::unique_ptr<char, void (*)(char*)> owner(text, rho_free);
  return text;
}

struct Destroyer {
  void operator()(rho_module* module) const { rho_module_unload(module); }
  void operator()(rho_compressor* compressor) const { rho_compressor_destroy(compressor); }
  void operator()(rho_encoder* encoder) const { rho_encoder_destroy(encoder); }
};

template <class Handle>
using Owner = std::unique_ptr<Handle, Destroyer>;

/// The handle that `function` stores through its last parameter.
template <class Handle, class Function, class... Arguments>
Owner<Handle> TakeHandle(Function function, Arguments... arguments) {
  Handle* handle = nullptr;
  Check(function(arguments..., &handle));
  return Owner<Handle>(handle);
}

}  // namespace internal
/// @endcond

/// The version of the library that runs: "1.0.0".
inline std::string Version() { return rho_version(); }

/// The path of the library to load for a module's name or path.
inline std::string FindModule(std::string_view name) {
  return internal::TakeText(rho_find_module, internal::Text(name).c_str());
}

/// All modules in the folders for them, with their descriptions or errors, as a JSON array. Each is loaded in a child
/// process, which ends at the time limit.
inline std::string ListModules(std::chrono::milliseconds timeLimit = kDescriptionTimeLimit) {
  return internal::TakeText(rho_list_modules, internal::Milliseconds(timeLimit));
}

/// A module and all its settings as JSON. Throws Error if it crashes or hangs, which happens in a child process.
inline std::string DescribeModule(std::string_view name, std::chrono::milliseconds timeLimit = kDescriptionTimeLimit) {
  return internal::TakeText(rho_describe_module, internal::Text(name).c_str(), internal::Milliseconds(timeLimit));
}

/// A compressor and its settings, which are named by their preset labels: "SampleRate", "Video/Bit Rate". Keeps its
/// module loaded.
class Compressor {
 public:
  /// The compressor and all its settings as JSON.
  std::string Describe() const { return internal::TakeText(rho_describe, m_handle.get()); }

  /// Changes a bool, int, unsigned or double setting.
  template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
  void Set(std::string_view name, Number value) {
    const std::string text = internal::Text(name);
    if constexpr (std::is_floating_point_v<Number>) {
      internal::Check(rho_set_double(m_handle.get(), text.c_str(), static_cast<double>(value)));
    } else {
      // No setting takes more than 32 bits, so that any number beyond 64 bits with sign is refused as the largest one.
      constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
      const bool isLarger = value > 0 && static_cast<std::uint64_t>(value) > static_cast<std::uint64_t>(kLargest);
      internal::Check(
          rho_set_integer(m_handle.get(), text.c_str(), isLarger ? kLargest : static_cast<std::int64_t>(value)));
    }
  }

  /// Changes a setting of any kind to the value that its text stands for: an enum to the entry of that text. An empty
  /// text makes an optional setting unspecified.
  void Set(std::string_view name, std::string_view value) { SetAll({std::string(name).append("=").append(value)}); }

  /// Changes several settings at once, "NAME=VALUE" each, whose values may depend on each other in any order.
  void SetAll(const std::vector<std::string>& assignments) {
    std::vector<const char*> texts;
    texts.reserve(assignments.size());
    for (const std::string& assignment : assignments) {
      internal::Text(assignment);
      texts.push_back(assignment.c_str());
    }
    internal::Check(rho_set_all(m_handle.get(), texts.data(), texts.size()));
  }

  /// Changes a setting of any kind to the value that JSON has for it in presets.
  void SetJson(std::string_view name, std::string_view json) {
    internal::Check(rho_set_json(m_handle.get(), internal::Text(name).c_str(), internal::Text(json).c_str()));
  }

  /// The value of a setting as text, which Set takes.
  std::string GetText(std::string_view name) const {
    return internal::TakeText(rho_get_text, m_handle.get(), internal::Text(name).c_str());
  }

  /// The value of a setting as JSON, which SetJson takes.
  std::string GetJson(std::string_view name) const {
    return internal::TakeText(rho_get_json, m_handle.get(), internal::Text(name).c_str());
  }

  /// The value of a bool, int or unsigned setting.
  std::int64_t GetInteger(std::string_view name) const {
    std::int64_t value = 0;
    internal::Check(rho_get_integer(m_handle.get(), internal::Text(name).c_str(), &value));
    return value;
  }

  /// The value of a double, bool, int or unsigned setting.
  double GetDouble(std::string_view name) const {
    double value = 0;
    internal::Check(rho_get_double(m_handle.get(), internal::Text(name).c_str(), &value));
    return value;
  }

  /// Sets the packets per second; at least 1. A new compressor has 30.
  void SetFrameRate(double framesPerSecond) { internal::Check(rho_set_frame_rate(m_handle.get(), framesPerSecond)); }

  /// Applies a preset file, its frame rate included.
  void LoadPreset(std::string_view path) {
    internal::Check(rho_load_preset(m_handle.get(), internal::Text(path).c_str()));
  }

  /// The text of a preset file with the values of all settings that the functions above have set. Throws WrongUse if
  /// there are none.
  std::string PresetText() const { return internal::TakeText(rho_preset, m_handle.get()); }

 private:
  friend class Module;
  friend class Encoder;

  explicit Compressor(internal::Owner<rho_compressor> handle) : m_handle(std::move(handle)) {}

  internal::Owner<rho_compressor> m_handle;
};

/// A module, loaded into this process. It is unloaded when this object and its compressors are destroyed.
class Module {
 public:
  /// Loads the module of that name or path. DescribeModule tells before whether that is dangerous.
  explicit Module(std::string_view name)
      : m_handle(internal::TakeHandle<rho_module>(rho_module_load, internal::Text(name).c_str())) {}

  /// A compressor with the default values of its settings.
  Compressor CreateCompressor() const {
    return Compressor(internal::TakeHandle<rho_compressor>(rho_compressor_create, m_handle.get()));
  }

 private:
  internal::Owner<rho_module> m_handle;
};

/// One run of a compressor, from the first sample to the last packet. Keeps its compressor, whose settings cannot be
/// changed until the encoder has finished or is destroyed.
class Encoder {
 public:
  /// Begins a run with the present values of the settings. `fileFormat` is the format of the file that the packets go
  /// to, as a code of up to four characters: "MKV"; empty for none.
  explicit Encoder(Compressor& compressor, std::string_view fileFormat = {})
      : m_handle(internal::TakeHandle<rho_encoder>(rho_encoder_create, compressor.m_handle.get(),
                                                   internal::Text(fileFormat).c_str())) {}

  /// The format of the samples that Encode takes.
  rho::Format Format() const {
    rho::Format format{};
    internal::Check(rho_encoder_format(m_handle.get(), &format));
    return format;
  }

  /// Encodes `size` bytes, which are whole sample frames, and calls `sink` with each Packet that is complete. An
  /// exception of the sink passes through. After any exception the encoder can only be destroyed.
  template <class Sink>
  void Encode(const void* bytes, std::size_t size, Sink&& sink) {
    Run(sink, [&](rho_packet_function function, void* context) {
      return rho_encode(m_handle.get(), bytes, size, function, context);
    });
  }

  /// Encodes what is left, calls `sink` with the last packets and ends the run. To be called once.
  template <class Sink>
  void Finish(Sink&& sink) {
    Run(sink,
        [&](rho_packet_function function, void* context) { return rho_finish(m_handle.get(), function, context); });
  }

 private:
  /// Calls `step` with a packet function that calls `sink`. Its exception waits until the C function has returned.
  template <class Sink, class Step>
  static void Run(Sink& sink, Step step) {
    struct Receiver {
      Sink& sink;
      std::exception_ptr error;
    } receiver{sink, nullptr};
    const rho_result result = step(
        [](void* context, const rho_packet* packet) {
          auto& to = *static_cast<Receiver*>(context);
          try {
            to.sink(*packet);
            return 0;
          } catch (...) {
            to.error = std::current_exception();
            return 1;
          }
        },
        &receiver);
    if (receiver.error != nullptr) {
      std::rethrow_exception(receiver.error);
    }
    internal::Check(result);
  }

  internal::Owner<rho_encoder> m_handle;
};

}  // namespace rho
