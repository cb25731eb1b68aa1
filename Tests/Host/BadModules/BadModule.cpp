/// An encoder module with one fault, the one that its file is called after; none at all for "Healthy.so", which tells
/// each call of a run on standard error instead.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string_view>

namespace {

std::string_view FaultOfThisFile() {
  Dl_info file{};
  dladdr(reinterpret_cast<void*>(&FaultOfThisFile), &file);
  const std::string_view path = file.dli_fname;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name.substr(0, name.find('.'));
}

const std::string_view kFault = FaultOfThisFile();

void Note(const char* call) {
  if (kFault == "Healthy") {
    std::fprintf(stderr, "%s ", call);
  }
}

void AddLine(const char* file) { std::ofstream(file, std::ios::app) << getpid() << std::endl; }

bool Load() {
  if (kFault == "CrashesOnLoad") {
    std::abort();
  } else if (kFault == "ExitsOnLoad") {
    std::exit(0);
  } else if (kFault == "HangsOnLoad") {
    pause();
  } else if (kFault == "PrintsOnLoad") {
    std::printf("Welcome \xFF\1<&]]>\n");
  } else if (kFault == "Litters") {
    open("/dev/null", O_RDONLY);
    std::signal(SIGUSR1, SIG_IGN);
    setenv("LITTER", "yes", 1);
  }
  return true;
}

[[maybe_unused]] const bool kIsLoaded = Load();

/// Waits for ever, and so does a daemon: a child's child in a session of its own.
void Hang() {
  if (fork() == 0) {
    setsid();
    if (fork() != 0) {
      _exit(0);
    }
    AddLine("grandchild");
  }
  for (;;) {
    pause();
  }
}

/// A block of memory, in a way that the compiler cannot see through.
void* volatile g_block;

/// What nobody has written to.
unsigned int UnknownNumber() {
  g_block = std::malloc(100);
  const auto* const bytes = static_cast<unsigned char*>(g_block);
  const unsigned int number = bytes[51] * 256U + bytes[50];
  std::free(g_block);
  return number;
}

std::array<unsigned int, 3> g_listed{1, 2, 2};
unsigned int g_shared = 2;
const std::size_t kLabelStart = kFault == "SettingNotUtf8" ? 4 : kFault == "SettingEmpty" ? 5 : 0;
const void* g_current;

/// A setting of 1 or 2, for the faults that settings have.
class Extra : public UnsignedIntSetting {
 public:
  Extra()
      : UnsignedIntSetting("", "Extra", kFault == "SettingOddDefault" ? 3 : 2, 1, 2,
                           kFault == "SettingListsTwice" ? 3 : 2, g_listed.data()) {
    SetIsValueConstrained(1);
  }
  ISetting* CreateCopy() const override { return new Extra(*this); }
  const char* GetLabel() const override { return kFault == "SettingNull" ? nullptr : &"Caf\xC3\xA9"[kLabelStart]; }
  unsigned int GetValue() const override {
    return kFault == "SettingSharesValue" ? g_shared : UnsignedIntSetting::GetValue();
  }
  void SetValue(unsigned int value) override {
    g_shared = value;
    SetIsValueConstrained(kFault == "SettingTakesAll" ? 0 : 1);
    UnsignedIntSetting::SetValue(kFault == "SettingTakesNone" ? 0 : value);
    SetIsValueConstrained(1);
  }
};

class Compressor : public CPCMCompressor {
 public:
  explicit Compressor(unsigned int codec) : CPCMCompressor(codec) {
    if (kFault == "Leaks") {
      g_block = std::malloc(100);
    }
  }

  const char* GetAbbreviatedName() override {
    if (kFault == "CrashesInASlot") {
      std::abort();
    }
    return CPCMCompressor::GetAbbreviatedName();
  }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override {
    CPCMCompressor::GetAudioCompressorInfo(manufacturer, codec);
    codec += kFault == "OtherCodec" ? 1 : 0;
  }
  IAudioCompressor* CreateCopy() override {
    const bool isPlain = kFault == "CopiesNothing";
    return kFault == "NoCopy" ? nullptr : isPlain ? new Compressor(kPCMCodecCode) : CPCMCompressor::CreateCopy();
  }
  ISetting* GetNonStandardSettings() override { return kFault.starts_with("Setting") ? &m_extra : nullptr; }
  void SetFrameRateHint(double rate) override { kFault == "NoHint" ? void() : CPCMCompressor::SetFrameRateHint(rate); }
  void ValidateSettings() override {
    Note("ValidateSettings");
    CPCMCompressor::ValidateSettings();
    if (kFault == "NoRespect") {
      CPCMCompressor::GetSampleRateSetting()->SetValue(8000);
    } else if (kFault == "ResetsHint") {
      CPCMCompressor::SetFrameRateHint(30);
    }
  }
  IUnsignedIntSetting* GetSampleRateSetting() override {
    return kFault == "NoRate" ? nullptr : CPCMCompressor::GetSampleRateSetting();
  }
  unsigned int IsFormatSupported(unsigned int fileFormat) override {
    Note("IsFormatSupported");
    return kFault == "NoMatroska" ? 0 : CPCMCompressor::IsFormatSupported(fileFormat);
  }
  void SetFileFormatHint(unsigned int fileFormat) override {
    Note(fileFormat == FourCharacterCode(" MKV") ? "SetFileFormatHint" : "wrong hint");
  }
  unsigned int SetOutputPacketType(IPacket::TPacketType type) override {
    Note("SetOutputPacketType");
    return kFault == "NoPackets" ? 0 : CPCMCompressor::SetOutputPacketType(type) | (kFault == "AnyPackets" ? 1U : 0U);
  }
  RhoStatus CompressFrameBegin(KelAudio_t* format) override {
    Note("CompressFrameBegin");
    g_current = this;
    if (kFault == "BeginsOnce" && m_hasBegun) {
      return kRhoStatusSuccess;
    }
    m_hasBegun = true;
    if (kFault == "Uninitialised") {
      SetFrameRateHint(20.0 + UnknownNumber() / 256.0);  // of three bits, one run in eight would look sound
    } else if (kFault == "NeedsMemory") {
      g_block = std::malloc(1);
      *static_cast<char*>(g_block) = 1;
      std::free(g_block);
    }
    return kFault == "NoBegin" ? kRhoStatusNoObject : CPCMCompressor::CompressFrameBegin(format);
  }
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override {
    Note(in == nullptr ? "flush" : "CompressFrame");
    if (kFault == "Hangs") {
      Hang();
    } else if (kFault == "NeedsBegin" && !m_hasBegun) {
      std::abort();
    }
    const bool fails = in == nullptr ? kFault == "NoFlush" : kFault == "NoFrame";
    if (in != nullptr && in->dataSize != 0 && in->data != nullptr) {
      SpoilInput(*in, in->data);
    }
    const bool skips = kFault == "SkipsSmall" && in != nullptr && in->sampleCount == 1;
    const RhoStatus status = fails ? kRhoStatusBadArgument : skips ? 0 : CPCMCompressor::CompressFrame(in, out);
    if (out != nullptr && static_cast<KelEncAudio_t*>(out)->packets != nullptr) {
      m_bundle = static_cast<KelEncAudio_t*>(out)->packets;
      SpoilOutput(in == nullptr);
    }
    return status;
  }
  RhoStatus CompressFrameEnd() override {
    Note("CompressFrameEnd");
    return kFault == "NoEnd" ? kRhoStatusNotSupported : CPCMCompressor::CompressFrameEnd();
  }
  RhoStatus Release() override {
    Note("Release");
    if (kFault == "OwnsPackets" && m_bundle != nullptr) {
      m_bundle->destroy();
    }
    return CPCMCompressor::Release();
  }

 private:
  static void SpoilInput(const KelAudio_t& in, volatile unsigned char* bytes) {
    const unsigned char read = bytes[kFault == "ReadsBeyond" ? in.dataSize : 0];
    if (kFault == "WritesInput") {
      bytes[0] = read;
    }
    g_block = kFault == "Hoards" ? std::malloc(100) : nullptr;
  }
  void SpoilOutput(bool isFlush) {
    for (unsigned long index = 0; index < m_bundle->size(); ++index) {
      auto& packet = static_cast<TRHOAPIPacket&>(*m_bundle->get(index));
      packet.m_time |= kFault == "TimesJump" || (kFault == "SharesState" && g_current != this) ? 1U : 0U;
      const_cast<unsigned char&>(*packet.getData()) |= static_cast<unsigned char>(kFault == "ChangesBytes");
    }
    if (isFlush && (kFault == "LosesTail" || (kFault == "ClearsBundle" && m_bundle->size() > 2))) {
      m_bundle->remove(m_bundle->size() - 1)->destroy();
    } else if (isFlush && kFault == "GoesOn") {
      CPCMCompressor::CompressFrameEnd();
    }
  }

  bool m_hasBegun = false;
  Extra m_extra;
  IPacketBundle* m_bundle = nullptr;
};

}  // namespace

int RhoGetNumberAudioCompressors() { return kFault == "NoCompressors" ? 0 : kFault == "TwoCompressors" ? 2 : 1; }

void RhoGetAudioCompressorInfo(unsigned int, unsigned int* manufacturer, unsigned int* codec, unsigned int* version) {
  unsigned int unwanted = 0;
  *(manufacturer != nullptr ? manufacturer : &unwanted) = kPCMManufacturerCode;
  *(codec != nullptr || kFault == "NeedsPointers" ? codec : &unwanted) = kPCMCodecCode;
  *(version != nullptr ? version : &unwanted) = 1;
}

#ifndef WITHOUT_ENTRY_POINT
IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec) {
  if (kFault == "NoObject") {
    return nullptr;
  }
  if (kFault != "AnyCodes" && (manufacturer != kPCMManufacturerCode || codec != kPCMCodecCode)) {
    return kFault == "Throws" ? throw 1 : nullptr;
  }
  return NullOnFailure([codec]() -> IAudioCompressor* { return new Compressor(codec); });
}
#endif
