#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"

const unsigned int kPCMCodecVersion = 0x00010000;

int RhoGetNumberAudioCompressors() { return 1; }

void RhoGetAudioCompressorInfo(unsigned int /*index*/, unsigned int* manufacturer, unsigned int* codec,
                               unsigned int* version) {
  if (manufacturer != nullptr) {
    *manufacturer = kPCMManufacturerCode;
  }
  if (codec != nullptr) {
    *codec = kPCMCodecCode;
  }
  if (version != nullptr) {
    *version = kPCMCodecVersion;
  }
}

IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec) {
  if (manufacturer != kPCMManufacturerCode || codec != kPCMCodecCode) {
    return nullptr;
  }
  return NullOnFailure([codec]() -> IAudioCompressor* { return new CPCMCompressor(codec); });
}
