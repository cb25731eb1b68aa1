#pragma once

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "Tests/Support/Slots.h"

#include <cmath>
#include <memory>
#include <string>
#include <vector>

/// A compressor, called by slot, and a slow, obvious packer that works byte by byte. Each operation returns whether the
/// results and packets of both, written as text, are equal.
struct Packer {
  static constexpr unsigned kRefused = 0x80010002;
  static void Release(IAudioCompressor* compressor) { CallSlot(compressor, 14); }

  std::shared_ptr<IAudioCompressor> codec{CreateAudioCompressor(0x5A415620, 0x4C50434D), Release};
  unsigned newFrameBytes = 4, frameBytes = 0;
  double newPacketBytes = 5880;
  unsigned long long packetBytes = 0, emitted = 0;
  bool isEnded = false;
  std::string held;

  /// The same state with a copy of the compressor.
  Packer Copy() const {
    Packer copy = *this;
    copy.codec.reset(CallSlot<IAudioCompressor*>(codec.get(), 13), Release);
    return copy;
  }

  bool SetUp(unsigned rate, unsigned bits, unsigned channels, double hint) {
    codec->GetSampleRateSetting()->SetValue(rate);
    codec->GetSampleSizeSetting()->SetValue(bits);
    codec->GetChannelModeSetting()->SetValue(KelGetChannelModeName(static_cast<EChannelMode>(channels)));
    codec->ValidateSettings();
    CallSlot(codec.get(), 6, hint);
    newFrameBytes = bits / 8 * channels;
    newPacketBytes = hint > 0 ? std::round(rate / hint) * newFrameBytes : 0;
    return codec->GetDataRate() == newFrameBytes * rate;
  }

  /// Does nothing when packets are possible but larger than `most` bytes.
  bool Begin(double most) {
    const bool isPossible = newPacketBytes >= 1 && newPacketBytes < 0x1p32;
    if (isPossible && newPacketBytes > most) {
      return true;
    }
    if (isPossible) {
      frameBytes = newFrameBytes;
      packetBytes = static_cast<unsigned long long>(newPacketBytes);
      emitted = 0;
      held.clear();
    }
    return CallSlot<unsigned>(codec.get(), 10, nullptr) == (isPossible ? 0 : kRefused);
  }

  /// Flushes when `input` is null.
  bool Frame(const std::string* input) {
    std::vector<unsigned char> bytes(input == nullptr ? 0 : input->size());
    std::copy_n(input == nullptr ? "" : input->data(), bytes.size(), bytes.begin());
    // Less than one sample frame is not read.
    unsigned char* const samples = bytes.size() < frameBytes ? nullptr : bytes.data();
    KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, static_cast<unsigned>(bytes.size()), 0, samples, 0};
    KelEncAudio_t out{};
    out.sampleRate = 48000;
    std::string answer = std::to_string(CallSlot<unsigned>(codec.get(), 11, input == nullptr ? nullptr : &in, &out));
    const OwnedPacket bundle(out.packets);
    for (const unsigned long long number : {out.time, out.timeScale, out.duration, 0ULL + out.sampleCount}) {
      answer += ' ' + std::to_string(number);
    }
    for (unsigned long index = 0; bundle != nullptr && index < out.packets->size(); ++index) {
      answer += ReadSlots(out.packets->get(index), 0, "uuqqqb.b.");
    }
    return answer == ExpectedAnswer(input);
  }

  /// Input without data, no output, output without sample rate: all are refused.
  bool Misuse() const {
    KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, frameBytes, 0, nullptr, 0};
    KelEncAudio_t out{};
    const unsigned status = isEnded ? 0 : kRefused;
    const bool isRefused =
        codec->CompressFrame(nullptr, nullptr) == status && codec->CompressFrame(nullptr, &out) == status;
    out.sampleRate = 48000;
    return isRefused && codec->CompressFrame(&in, &out) == status && out.timeScale == 0;
  }

  bool End() {
    isEnded = false;
    return CallSlot<unsigned>(codec.get(), 12) == 0U;
  }

 private:
  std::string ExpectedAnswer(const std::string* input) {
    if (isEnded || frameBytes == 0) {
      return (isEnded ? "0" : std::to_string(kRefused)) + " 0 0 0 0";
    }
    const auto first = emitted;
    std::string packets;
    const auto emit = [&] {
      packets += " 24 0 " + std::to_string(emitted) + " 48000 0 null " + held;
      emitted += held.size() / frameBytes;
      held.clear();
    };
    for (std::size_t index = 0; input != nullptr && index < input->size() - input->size() % frameBytes; ++index) {
      held += (*input)[index];
      if (held.size() == packetBytes) {
        emit();
      }
    }
    if (input == nullptr && !held.empty()) {
      emit();
    }
    isEnded = input == nullptr;
    const auto count = std::to_string(emitted - first);
    return "0 " + std::to_string(first) + " 48000 " + count + ' ' + count + packets;
  }
};
