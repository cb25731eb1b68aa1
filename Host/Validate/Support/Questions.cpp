#include "Host/Validate/Support/Questions.h"

#include "RHOAPI/RhoapiAudioCodec.h"

#include <list>

void AskEverything(IAudioCompressor& compressor) {
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  // One that is refused, then the one that is chosen already, unless none is.
  compressor.SetOutputPacketType(static_cast<IPacket::TPacketType>(999));
  compressor.SetOutputPacketType(compressor.GetOutputPacketType());
  for (const unsigned int format : {FourCharacterCode(" MKV"), FourCharacterCode("UNDF"), 0U}) {
    compressor.IsFormatSupported(format);
  }
  compressor.GetName();
  compressor.GetAbbreviatedName();
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  compressor.GetAudioCompressorInfo(manufacturer, codec);
  EAudioFormatType type{};
  compressor.GetAudioFormatType(type);
  compressor.GetNonStandardSettings();
  compressor.GetSubOutputFormatSetting(0);
  compressor.GetExtendedSettings(nullptr, nullptr);
  compressor.IsCodecExtendedSettingDialogSupported();
  compressor.PlaceholderDoesNotCompress();
  compressor.GetCodecDelay();
  compressor.GetSampleSize();
  compressor.GetSampleRate();
  compressor.GetChannelMode();
  compressor.GetDataRate();
}
