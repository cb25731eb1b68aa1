#include "Host/Validate/Support/LinearPcm.h"

#include <string_view>

bool IsLinearPcm(IAudioCompressor& compressor) {
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  compressor.GetAudioCompressorInfo(manufacturer, codec);
  const char* const name = compressor.GetName();
  return codec == FourCharacterCode("LPCM") || (name != nullptr && std::string_view(name) == "Linear PCM");
}

StreamSetup PcmSetup(unsigned int sampleRate, unsigned int bits, const char* layout, double framesPerSecond) {
  // The layouts of kPcmLayouts are all known by name.
  const unsigned int channels = KelGetNumberChannels(KelGetChannelMode(layout));
  return {.name = fmt::format("{} Hz, {} bits, {}, {} packets per second", sampleRate, bits, layout, framesPerSecond),
          .settings = {"",
                       {{"SampleRate", fmt::to_string(sampleRate)},
                        {"SampleSize", fmt::to_string(bits)},
                        {"Channels", layout}}},
          .framesPerSecond = framesPerSecond,
          .format = {.sampleRate = sampleRate,
                     .bits = bits,
                     .channels = channels,
                     .layout = layout,
                     .sampleType = bits == 24 ? kAudioFormat24Bit : kAudioFormat16Bit},
          .isLinearPcm = true};
}
