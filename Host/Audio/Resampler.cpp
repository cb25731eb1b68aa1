#include "Host/Audio/Resampler.h"

#include "Host/Text/Errors.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <algorithm>
#include <mutex>
#include <string>
#include <type_traits>

namespace {

/// The most sample frames that one call of libsoxr takes or gives.
constexpr std::size_t kStepFrames = 4096;
constexpr unsigned int kMostRatio = 64;

/// The functions of libsoxr that Resampler uses. The constructor loads the library and throws Failure if it cannot.
struct Soxr {
  Soxr() {
    void* const library = dlopen("libsoxr.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      throw Failure(std::string("cannot convert sample rates: ") + dlerror());
    }
    const auto find = [library](auto& function, const char* name) {
      function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
      if (function == nullptr) {
        throw Failure(std::string("cannot convert sample rates: libsoxr lacks ") + name);
      }
    };
    find(ioSpec, "soxr_io_spec");
    find(qualitySpec, "soxr_quality_spec");
    find(runtimeSpec, "soxr_runtime_spec");
    find(create, "soxr_create");
    find(process, "soxr_process");
    find(destroy, "soxr_delete");
  }

  decltype(&soxr_io_spec) ioSpec = nullptr;
  decltype(&soxr_quality_spec) qualitySpec = nullptr;
  decltype(&soxr_runtime_spec) runtimeSpec = nullptr;
  decltype(&soxr_create) create = nullptr;
  decltype(&soxr_process) process = nullptr;
  decltype(&soxr_delete) destroy = nullptr;
};

/// Loads libsoxr at the first call; it stays loaded. Throws Failure.
const Soxr& LoadedSoxr() {
  static const Soxr soxr;
  return soxr;
}

/// libsoxr's number for interleaved samples of `type`.
soxr_datatype_t DataType(SampleType type) {
  switch (type) {
    case SampleType::kInt16:
      return SOXR_INT16_I;
    case SampleType::kInt32:
      return SOXR_INT32_I;
    case SampleType::kFloat:
      return SOXR_FLOAT32_I;
    case SampleType::kDouble:
      break;
  }
  return SOXR_FLOAT64_I;
}

}  // namespace

Resampler::Resampler(const SoundFormat& source, unsigned int rate)
    : m_frameSize(SizeOf(source.sampleType) * source.channels), m_room(kStepFrames * source.channels) {
  const std::string task =
      fmt::format("{}: cannot convert from {} Hz to {} Hz: ", source.name, source.sampleRate, rate);
  if (source.sampleRate / kMostRatio > rate || rate / kMostRatio > source.sampleRate) {
    throw Failure(fmt::format("{}the rates are more than {} times apart", task, kMostRatio));
  }
  const Soxr& soxr = LoadedSoxr();
  const soxr_io_spec_t types = soxr.ioSpec(DataType(source.sampleType), SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr.qualitySpec(SOXR_VHQ, 0);
  const soxr_runtime_spec_t runtime = soxr.runtimeSpec(1);
  // The first call of soxr_create fills tables that all threads share.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  soxr_error_t error = nullptr;
  m_resampler = soxr.create(source.sampleRate, rate, source.channels, &error, &types, &quality, &runtime);
  if (m_resampler == nullptr || error != nullptr) {
    // The destructor does not run for a constructor that throws.
    soxr.destroy(m_resampler);
    throw Failure(task + (error == nullptr ? "out of memory" : error));
  }
}

Resampler::~Resampler() { LoadedSoxr().destroy(m_resampler); }

void Resampler::Process(const void* samples, std::size_t frames, const Sink& sink) {
  const auto* bytes = static_cast<const unsigned char*>(samples);
  Progress progress{0, 0};
  // A step that fills the room may leave more in libsoxr: steps without input fetch it.
  for (std::size_t left = frames; left != 0 || progress.made == kStepFrames; left -= progress.taken) {
    progress = Step(bytes, std::min(left, kStepFrames), sink);
    bytes += progress.taken * m_frameSize;
  }
}

void Resampler::Finish(const Sink& sink) {
  while (Step(nullptr, 0, sink).made != 0) {
  }
}

Resampler::Progress Resampler::Step(const void* samples, std::size_t frames, const Sink& sink) {
  Progress progress{0, 0};
  const soxr_error_t error =
      LoadedSoxr().process(m_resampler, samples, frames, &progress.taken, m_room.data(), kStepFrames, &progress.made);
  if (error != nullptr) {
    throw Failure(std::string("the change of sample rate failed: ") + error);
  }
  sink(m_room.data(), progress.made);
  return progress;
}
