/// An encoder module with one fault, the one that FAULT names; none at all for "Healthy", which tells each call of a
/// run on standard error instead, and for "CountsLoads", which leaves a byte in the file "loads" each time.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

#include <fcntl.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string_view>

namespace {

constexpr std::string_view kFault = FAULT;

void Note(const char* call) {
  if (kFault == "Healthy") {
    std::fprintf(stderr, "%s ", call);
  }
}

void AddLine(const char* file) { std::ofstream(file, std::ios::app) << getpid() << std::endl; }

[[gnu::constructor]] void Load() {
  if (kFault == "CrashesOnLoad") {
    std::abort();
  } else if (kFault == "ExitsOnLoad") {
    std::exit(0);
  } else if (kFault == "PrintsOnLoad") {
    std::printf("Welcome \xFF\1<&]]>\n");
  } else if (kFault == "Litters") {
    open("/dev/null", O_RDONLY);
    std::signal(SIGUSR1, SIG_IGN);
    setenv("LITTER", "yes", 1);
  } else if (kFault == "CountsLoads") {
    AddLine("loads");
  }
}

/// Waits for ever, and so does a child of its own.
void Hang() {
  if (fork() == 0) {
    AddLine("grandchild");
  }
  for (;;) {
    pause();
  }
}

/// A block of memory, in a way that the compiler cannot see through.
void* volatile g_block;

/// What nobody has written to.
unsigned char UnknownByte() {
  g_block = std::malloc(100);
  const unsigned char byte = static_cast<unsigned char*>(g_block)[50];
  std::free(g_block);
  return byte;
}

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
  IAudioCompressor* CreateCopy() override { return kFault == "NoCopy" ? nullptr : CPCMCompressor::CreateCopy(); }
  void ValidateSettings() override {
    Note("ValidateSettings");
    CPCMCompressor::ValidateSettings();
    if (kFault == "NoRespect") {
      CPCMCompressor::GetSampleRateSetting()->SetValue(8000);
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
    return kFault == "NoPackets" ? 0 : CPCMCompressor::SetOutputPacketType(type);
  }
  RhoStatus CompressFrameBegin(KelAudio_t* format) override {
    Note("CompressFrameBegin");
    m_hasBegun = true;
    if (kFault == "Uninitialised") {
      SetFrameRateHint(20.0 + UnknownByte() % 8);
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
    return fails ? kRhoStatusBadArgument : CPCMCompressor::CompressFrame(in, out);
  }
  RhoStatus CompressFrameEnd() override {
    Note("CompressFrameEnd");
    return kFault == "NoEnd" ? kRhoStatusNotSupported : CPCMCompressor::CompressFrameEnd();
  }
  RhoStatus Release() override {
    Note("Release");
    return CPCMCompressor::Release();
  }

 private:
  bool m_hasBegun = false;
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
