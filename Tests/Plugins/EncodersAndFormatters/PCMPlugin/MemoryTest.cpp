#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "RHOAPI/RhoapiSettings.h"
#include "Tests/Support/Slots.h"
#include "Toolbox/KelUtils/Files/Files.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

// The state of this program's operator new and delete, which the module uses too.
namespace {

long live = 0;          // blocks not freed yet
long made = 0;          // blocks ever made
long failing = -1;      // the allocation that counts it down to 0 fails
bool failRest = false;  // so do all later ones

void* Allocate(std::size_t size) {
  if (failing == 0 || (failing > 0 && --failing == 0)) {
    failing = failRest ? 0 : -2;
    throw std::bad_alloc();
  }
  ++made;
  ++live;
  return std::malloc(size);
}

void Free(void* block) {
  live -= block != nullptr ? 1 : 0;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { Free(block); }

namespace {

// Runs `action` with the n-th allocation failing, for every n, alone and with all later ones.
void ExpectNoLeak(const char* name, const std::function<void()>& action) {
  for (const bool rest : {false, true}) {
    long n = 0;
    for (bool failed = true; failed;) {
      const long before = live;
      failRest = rest;
      failing = ++n;
      action();
      failed = std::exchange(failing, -1) <= 0;
      EXPECT_EQ(live, before) << name << ", allocation " << n << (rest ? " and all behind it" : "");
    }
    EXPECT_GT(n, 1) << name;
  }
}

struct Encoding {
  IAudioCompressor* codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
  std::array<unsigned char, 8000> bytes{};
  KelAudio_t in{0, 0, 0, kAudioFormatNone, 0, 0, 0, sizeof bytes, 0, bytes.data(), 0};
  KelEncAudio_t out{};
  Encoding() { out.sampleRate = 44100; }
  ~Encoding() {
    OwnedPacket(out.packets).reset();
    static_cast<void>(codec != nullptr && codec->Release() != 0);
  }
};

TEST(Memory, RunsOutAnywhereWithoutALeak) {
  ExpectNoLeak("CreateAudioCompressor", [] { Encoding(); });
  Encoding source;
  source.codec->CompressFrameBegin(nullptr);
  source.codec->CompressFrame(&source.in, &source.out);
  ExpectNoLeak("CreateCopy", [&] {
    IAudioCompressor* const copy = source.codec->CreateCopy();
    static_cast<void>(copy != nullptr && copy->Release() != 0);
  });
  ExpectNoLeak("addDataPacket", [] {
    KelEncAudio_t audio{};
    try {
      audio.addDataPacket(IPacket::kPacketTypeNone, reinterpret_cast<const unsigned char*>("x"), 1);
      audio.addDataPacket(IPacket::kPacketTypeNone, nullptr, 0);
    } catch (const std::bad_alloc&) {
    }
    OwnedPacket(audio.packets).reset();
  });
  ExpectNoLeak("a run", [] {
    Encoding run;
    if (run.codec == nullptr) {
      return;
    }
    const unsigned begun = run.codec->CompressFrameBegin(nullptr);
    for (KelAudio_t* in : {&run.in, &run.in, static_cast<KelAudio_t*>(nullptr)}) {
      try {
        EXPECT_EQ(run.codec->CompressFrame(in, &run.out), begun == 0 ? 0 : 0x80010002);
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(begun, 0U);
      }
    }
    for (unsigned long index = 0; run.out.packets != nullptr && index < run.out.packets->size(); ++index) {
      EXPECT_EQ(run.out.packets->get(index)->getTime(), index * 1470);
    }
  });
}

TEST(Memory, IsTakenForPacketsAlone) {
  Encoding run;
  run.codec->CompressFrameBegin(nullptr);
  run.in.dataSize = 1470;  // a quarter of a packet
  const long before = made;
  for (int call = 0; call < 1000; ++call) {
    run.codec->CompressFrame(&run.in, &run.out);
    if (run.out.packets != nullptr) {
      run.out.packets->clear();
    }
  }
  EXPECT_LE(made - before, 1000 / 4 + 2) << "one block each, and one bundle with its list";
}

TEST(Memory, ThatRunsOutCostsNothingButTheCall) {
  failRest = false;
  Encoding run;
  run.codec->SetFrameRateHint(11.025);  // 4000 sample frames
  run.codec->CompressFrameBegin(nullptr);
  run.codec->CompressFrame(&run.in, &run.out);
  failing = 1;
  EXPECT_EQ(run.codec->CompressFrameBegin(nullptr), 0x80010001);
  for (KelAudio_t* in : {&run.in, static_cast<KelAudio_t*>(nullptr)}) {
    failing = 1;
    EXPECT_THROW(run.codec->CompressFrame(in, &run.out), std::bad_alloc) << "there is no bundle for the packet";
  }
  run.codec->CompressFrame(nullptr, &run.out);
  ASSERT_EQ(run.out.packets->size(), 1U) << "a flush may be tried again";
  EXPECT_EQ(run.out.packets->get(0)->getDataSize(), 2 * sizeof run.bytes) << "nothing was lost";

  run.codec->GetSampleSizeSetting()->SetValue(8);
  run.codec->GetChannelModeSetting()->SetValue("Mono");
  run.codec->SetFrameRateHint(1);
  for (const unsigned packet : {0x80000000U, 0xFFFFFFFFU}) {
    run.codec->GetSampleRateSetting()->SetValue(packet);
    failing = 1;
    EXPECT_EQ(run.codec->CompressFrameBegin(nullptr), 0x80010001) << "packets of less than 2^32 bytes are not refused";
    failing = -1;  // no allocation is tried where the size does not fit in a word
  }
}

// A setting's value and list as text.
std::string Describe(const ISetting& setting) {
  if (setting.GetType() == kSettingTypeUnsignedInt) {
    return ReadSlots(&setting, 21, "u...u");
  }
  if (setting.GetType() == kSettingTypeArray) {
    const auto* const first = CallSlot<const ISetting*>(&setting, 20, 0U);
    return ReadSlots(&setting, 19, "u") + (first == nullptr ? "" : Describe(*first));
  }
  std::string text = ReadSlots(&setting, 4, "sss") + ReadSlots(&setting, 19, "s.u.u");
  for (unsigned index = 0; index < CallSlot<unsigned>(&setting, 23); ++index) {
    text += CallSlot<const char*>(&setting, 24, index);
  }
  return text;
}

// Runs `change` with the n-th allocation failing, for every n. It changes nothing until it succeeds.
template <class Setting>
void ExpectAllOrNothing(const char* name, Setting& setting, const std::function<void(Setting&)>& change) {
  const std::string before = Describe(setting);
  failRest = false;
  long n = 0;
  for (bool failed = true; failed;) {
    failing = ++n;
    try {
      change(setting);
      failed = false;
    } catch (const std::bad_alloc&) {
    }
    failing = -1;
    EXPECT_EQ(Describe(setting) == before, failed) << name << ", allocation " << n;
  }
  EXPECT_GT(n, 1) << name;
}

TEST(Memory, ThatRunsOutLeavesSettingsAsTheyWere) {
  const std::string text(100, 'x');
  std::vector<unsigned> numbers(100, 5);
  std::vector<const char*> texts(100, text.c_str());
  UnsignedIntSetting number("", "", 1, 0, 0, 1, numbers.data());
  ExpectAllOrNothing<UnsignedIntSetting>("ResetAllowableValues", number,
                                         [&](auto& s) { s.ResetAllowableValues(100, numbers.data()); });
  EnumSetting list("", "", "x", 1, texts.data());
  ExpectAllOrNothing<EnumSetting>("ResetAllowableValues", list,
                                  [&](auto& s) { s.ResetAllowableValues(100, texts.data()); });
  ExpectAllOrNothing<EnumSetting>("AddAnEnum", list, [&](auto& s) { s.AddAnEnum(text.c_str()); });
  StringEnumSetting pairs("Old label", "Old");
  pairs.AddValue(text.c_str(), 1);
  ExpectAllOrNothing<StringEnumSetting>("AddValue", pairs, [&](auto& s) { s.AddValue(text.c_str(), 2); });
  StringEnumSetting otherPairs(text.c_str(), text.c_str());
  otherPairs.SetUnits(text.c_str());
  for (int value = 0; value < 50; ++value) {
    otherPairs.AddValue(text.c_str(), value);
  }
  ExpectAllOrNothing<StringEnumSetting>("assignment", pairs, [&](auto& s) { s = otherPairs; });
  EXPECT_EQ(pairs.GetAllowableIntValue(49), 49);
  const EnumSetting otherList(text.c_str(), text.c_str(), "", 2, texts.data());
  ExpectAllOrNothing<EnumSetting>("assignment", list, [&](auto& s) { s = otherList; });
  SettingArray array(0);
  array.AddSetting(new UnsignedIntSetting(number));
  SettingArray otherArray(0);
  otherArray.AddSetting(new StringEnumSetting(pairs));
  otherArray.AddSetting(new EnumSetting(list));
  ExpectAllOrNothing<SettingArray>("assignment", array, [&](auto& s) { s = otherArray; });
}

TEST(Memory, ThatRunsOutLeavesAStreamWhereItWas) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  ASSERT_TRUE(file != nullptr && kel_fseek64(file.get(), 1000, SEEK_SET) == 0 && KelSaveFile(file.get(), "x"));
  std::string data;
  failing = 1;
  EXPECT_THROW(KelLoadFile(file.get(), data), std::bad_alloc);
  EXPECT_EQ(kel_ftell64(file.get()), 1001);
}

TEST(Memory, IsNotTakenForTheRestOfATimeCode) {
  std::string text;
  for (int field = 0; field < 100; ++field) {
    text += "\"a text of its own\":";
  }
  const long before = made;
  EXPECT_EQ(KelStringToTimeCode(text, true).hours, 0);
  EXPECT_EQ(made, before);
}

TEST(Memory, ReachesSampleTimesBeyond32Bits) {
  constexpr unsigned kPart = 1 << 28;
  void* const zeros = mmap(nullptr, kPart, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  // The allocator keeps freed blocks: mapping and clearing their pages would take most of the time.
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  Encoding run;
  run.codec->GetSampleSizeSetting()->SetValue(8);
  run.codec->GetSampleRateSetting()->SetValue(kPart / 4);
  run.codec->GetChannelModeSetting()->SetValue("Mono");
  run.codec->SetFrameRateHint(1);
  run.codec->CompressFrameBegin(nullptr);
  run.in.data = static_cast<unsigned char*>(zeros);
  for (unsigned part = 0; part <= 16; ++part) {
    run.in.dataSize = part < 16 ? kPart : 1;
    run.codec->CompressFrame(&run.in, &run.out);
    EXPECT_EQ(run.out.time, 1ULL * part * kPart);
    EXPECT_EQ(run.out.packets->size(), part < 16 ? 4 : 0);
    run.out.packets->clear();
  }
  run.codec->CompressFrame(nullptr, &run.out);
  EXPECT_EQ(run.out.packets->get(0)->getTime(), 1ULL << 32);
  munmap(zeros, kPart);
}

}  // namespace
