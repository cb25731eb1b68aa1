/// An encoder module with one fault, the one that FAULT names; none at all for "Healthy", which tells each call of a
/// run on standard error instead.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

#include <cstdio>
#include <string_view>

namespace {

constexpr std::string_view kFault = FAULT;

void Note(const char* call) {
  if (kFault == "Healthy") {
    std::fprintf(stderr, "%s ", call);
  }
}

class Compressor : public CPCMCompressor {
 public:
  using CPCMCompressor::CPCMCompressor;

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
    return kFault == "NoBegin" ? kRhoStatusNoObject : CPCMCompressor::CompressFrameBegin(format);
  }
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override {
    Note(in == nullptr ? "flush" : "CompressFrame");
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
};

}  // namespace

int RhoGetNumberAudioCompressors() { return kFault == "NoCompressors" ? 0 : 1; }

void RhoGetAudioCompressorInfo(unsigned int, unsigned int* manufacturer, unsigned int* codec, unsigned int*) {
  *manufacturer = kPCMManufacturerCode;
  *codec = kPCMCodecCode;
}

#ifndef WITHOUT_ENTRY_POINT
IAudioCompressor* CreateAudioCompressor(unsigned int, unsigned int codec) {
  return kFault == "NoObject" ? nullptr : new Compressor(codec);
}
#endif
