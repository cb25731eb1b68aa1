#pragma once

#include "RHOAPI/RhoapiAudioCodec.h"

#include <algorithm>
#include <list>

/// Base class of compressors: stores the hints and the chosen packet type and implements the optional operations, so
/// that a concrete compressor implements only what it offers.
class CAAudioCompressor : public IAudioCompressor {
 public:
  /// Accepts the types of the object's own QueryPossiblePacketTypes. Throws std::bad_alloc and then changes nothing.
  unsigned int SetOutputPacketType(IPacket::TPacketType type) override {
    std::list<IPacket::TPacketType> possible;
    QueryPossiblePacketTypes(possible);
    if (std::find(possible.begin(), possible.end(), type) == possible.end()) {
      return 0;
    }
    m_outputPacketType = type;
    return 1;
  }
  IPacket::TPacketType GetOutputPacketType() const override { return m_outputPacketType; }
  void SetFileFormatHint(unsigned int fileFormat) override { m_fileFormatHint = fileFormat; }
  void SetStreamModeHint(EOutputStreamMode mode) override { m_streamModeHint = mode; }
  void SetFrameRateHint(double framesPerSecond) override { m_frameRateHint = framesPerSecond; }
  void ValidateSettings() override {}
  ISetting* GetNonStandardSettings() override { return nullptr; }
  ISetting* GetSubOutputFormatSetting(unsigned int /*index*/) override { return nullptr; }
  RhoStatus GetAudioFormatType(EAudioFormatType& type) override {
    type = kAudioFormat16Bit;
    return kRhoStatusSuccess;
  }
  /// There is no dialog and there are no extended settings; no argument is read or written.
  unsigned int IsCodecExtendedSettingDialogSupported() override { return 0; }
  /// kRhoStatusNotSupported: there is no dialog.
  RhoStatus DisplayCodecExtendedSettingDialog() override { return kRhoStatusNotSupported; }
  /// kRhoStatusNotSupported; no argument is written.
  RhoStatus GetExtendedSettings(void** /*data*/, int* /*size*/) override { return kRhoStatusNotSupported; }
  /// kRhoStatusNotSupported; no argument is read.
  RhoStatus SetExtendedSettings(void* /*data*/, int /*size*/) override { return kRhoStatusNotSupported; }
  int GetCodecDelay() override { return 0; }
  unsigned int PlaceholderDoesNotCompress() const override { return 0; }

 protected:
  IPacket::TPacketType m_outputPacketType = IPacket::kPacketTypeNone;  ///< as SetOutputPacketType chose it
  unsigned int m_fileFormatHint = FourCharacterCode("UNDF");           ///< as SetFileFormatHint stored it
  EOutputStreamMode m_streamModeHint = kOutputStreamModeDefault;       ///< as SetStreamModeHint stored it
  double m_frameRateHint = 30.0;                                       ///< as SetFrameRateHint stored it
};
