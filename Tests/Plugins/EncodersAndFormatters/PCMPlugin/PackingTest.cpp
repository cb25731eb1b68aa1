#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <array>
#include <cmath>
#include <random>

namespace {

constexpr unsigned kRefused = 0x80010002;

// The slow, obvious packer: byte by byte. Packets and answers are written as text.
struct Packer {
  unsigned rate = 44100, bits = 16, channels = 2;
  double hint = 30.0;
  std::size_t frameBytes = 0, packetBytes = 0;
  unsigned long long emitted = 0;
  bool ended = false;
  std::string held;
  std::vector<std::string> packets;

  unsigned Begin() {
    const double frames = hint > 0 ? std::round(rate / hint) : 0;
    const unsigned bytes = bits / 8 * channels;
    if (!(frames >= 1) || bytes == 0 || !(frames * bytes < 4294967296.0)) {
      return kRefused;
    }
    frameBytes = bytes;
    packetBytes = static_cast<std::size_t>(frames) * bytes;
    emitted = 0;
    held.clear();
    return 0;
  }

  // Status, and what the output record then says.
  std::string Frame(const std::string* in, const std::string& before) {
    if (ended || frameBytes == 0) {
      return (ended ? "0" : std::to_string(kRefused)) + before;
    }
    const auto first = emitted;
    const auto emit = [this] {
      packets.push_back(" 24 0 " + std::to_string(emitted) + " 48000 0 null " + held);
      emitted += held.size() / frameBytes;
      held.clear();
    };
    for (std::size_t index = 0; in != nullptr && index < in->size() - in->size() % frameBytes; ++index) {
      held += (*in)[index];
      if (held.size() == packetBytes) {
        emit();
      }
    }
    if (in == nullptr && !held.empty()) {
      emit();
    }
    ended = in == nullptr;
    const auto count = std::to_string(emitted - first);
    return "0 " + std::to_string(first) + " 48000 " + count + ' ' + count;
  }
};

std::string Describe(const KelAudio_t& out) {
  return ' ' + std::to_string(out.time) + ' ' + std::to_string(out.timeScale) + ' ' + std::to_string(out.duration) +
         ' ' + std::to_string(out.sampleCount);
}

const auto kSteps = rc::gen::container<std::vector<std::pair<char, unsigned>>>(
    rc::gen::pair(rc::gen::elementOf(std::string("sssbbbfffffffffffflleeeccr")), rc::gen::inRange(0U, 20000U)));

RC_GTEST_PROP(Packing, IsThatOfASlowPackerHoweverTheInputIsSplit, ()) {
  Packer expected;
  std::minstd_rand random;
  IAudioCompressor* codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  KelEncAudio_t out{};
  for (const auto& [step, number] : *kSteps) {
    out.sampleRate = 48000;
    std::string bytes(number, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, number, 0, reinterpret_cast<unsigned char*>(bytes.data()), 0};
    if (step == 's') {  // settings
      expected.rate = (std::array{0U, 8000U, 44100U, 96000U, 8000U})[number % 5];
      expected.bits = (std::array{7U, 16U, 20U, 24U})[number / 5 % 4];
      expected.channels = (std::array{1U, 2U, 6U, 8U})[number / 20 % 4];
      expected.hint = (std::array{30.0, 29.97, 3200.0, 2000.0, 16000.0, 16001.0, 1e-300, 0.0, -30.0, HUGE_VAL,
                                  HUGE_VAL - HUGE_VAL})[number / 80 % 11];
      codec->GetSampleRateSetting()->SetValue(expected.rate);
      codec->GetSampleSizeSetting()->SetValue(expected.bits);
      static_cast<StringEnumSetting*>(codec->GetChannelModeSetting())->SetValue(static_cast<int>(expected.channels));
      CallSlot(codec, 6, expected.hint);
    } else if (step == 'b') {  // begin
      RC_ASSERT(CallSlot<unsigned>(codec, 10, nullptr) == expected.Begin());
    } else if (step == 'f' || step == 'l') {  // frames, or no more of them
      const auto before = Describe(out);
      const auto status = CallSlot<unsigned>(codec, 11, step == 'f' ? &in : nullptr, &out);
      RC_ASSERT(std::to_string(status) + Describe(out) == expected.Frame(step == 'f' ? &bytes : nullptr, before));
    } else if (step == 'e') {  // end
      RC_ASSERT(CallSlot<unsigned>(codec, 12) == 0U);
      expected.ended = false;
    } else if (step == 'c') {  // go on with a copy
      auto* const copy = CallSlot<IAudioCompressor*>(codec, 13);
      CallSlot(codec, 14);
      codec = copy;
    } else {  // what is refused
      const unsigned status = expected.ended ? 0 : kRefused;
      in.data = nullptr;
      in.dataSize = 1;
      RC_ASSERT(codec->CompressFrame(&in, &out) == status);
      RC_ASSERT(codec->CompressFrame(nullptr, nullptr) == status);
      out.sampleRate = 0;
      RC_ASSERT(codec->CompressFrame(nullptr, &out) == status);
    }
  }
  std::vector<std::string> packets;
  while (out.packets != nullptr && out.packets->size() != 0) {
    const OwnedPacket packet(out.packets->remove(0));
    packets.push_back(ReadSlots(packet.get(), 0, "uuqqqb.b."));
  }
  RC_ASSERT(packets == expected.packets);
  codec->Release();
  OwnedPacket(out.packets).reset();
}

}  // namespace
