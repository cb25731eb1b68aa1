#include "Host/Audio/Resampler.h"

#include "Host/Text/Errors.h"

#include <algorithm>
#include <mutex>
#include <string>

namespace {

constexpr std::size_t kStepFrames = 4096;
constexpr unsigned int kMostRatio = 64;

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
  const std::string task = source.name + ": cannot convert from " + std::to_string(source.sampleRate) + " Hz to " +
                           std::to_string(rate) + " Hz: ";
  if (source.sampleRate / kMostRatio > rate || rate / kMostRatio > source.sampleRate) {
    throw Failure(task + "the rates are more than " + std::to_string(kMostRatio) + " times apart");
  }
  const soxr_io_spec_t types = soxr_io_spec(DataType(source.sampleType), SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
  const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
  // The first one fills tables that all threads share.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  soxr_error_t error = nullptr;
  m_resampler = soxr_create(source.sampleRate, rate, source.channels, &error, &types, &quality, &runtime);
  if (m_resampler == nullptr || error != nullptr) {
    soxr_delete(m_resampler);
    throw Failure(task + (error == nullptr ? "out of memory" : error));
  }
}

Resampler::~Resampler() { soxr_delete(m_resampler); }

void Resampler::Process(const void* samples, std::size_t frames, const Sink& sink) {
  const auto* bytes = static_cast<const unsigned char*>(samples);
  Progress progress{0, 0};
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
      soxr_process(m_resampler, samples, frames, &progress.taken, m_room.data(), kStepFrames, &progress.made);
  if (error != nullptr) {
    throw Failure(std::string("the change of sample rate failed: ") + error);
  }
  sink(m_room.data(), progress.made);
  return progress;
}
