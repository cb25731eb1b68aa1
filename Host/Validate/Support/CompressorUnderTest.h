#pragma once

/// A compressor whose every call is noted as a step of the check, so that a crash or a hang names the call. It stands
/// in front of the module's own object, which CheckedModule::CreateCompressor has made.

#include "Host/Settings/SettingTree.h"
#include "Host/Validate/Engine/Check.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <string>
#include <vector>

class CompressorUnderTest final : public IAudioCompressor {
 public:
  /// Takes ownership of `compressor`, which is not null.
  explicit CompressorUnderTest(IAudioCompressor* compressor) : m_compressor(*compressor) {}

  /// The module's own object, behind one that CheckedModule or CreateCopy has made.
  static IAudioCompressor& Real(IAudioCompressor& compressor) {
    return static_cast<CompressorUnderTest&>(compressor).m_compressor;
  }

  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override {
    Call("QueryPossiblePacketTypes").QueryPossiblePacketTypes(types);
  }
  unsigned int SetOutputPacketType(IPacket::TPacketType type) override {
    return Call("SetOutputPacketType").SetOutputPacketType(type);
  }
  IPacket::TPacketType GetOutputPacketType() const override {
    return Call("GetOutputPacketType").GetOutputPacketType();
  }
  unsigned int IsFormatSupported(unsigned int fileFormat) override {
    return Call("IsFormatSupported").IsFormatSupported(fileFormat);
  }
  void SetFileFormatHint(unsigned int fileFormat) override { Call("SetFileFormatHint").SetFileFormatHint(fileFormat); }
  void SetStreamModeHint(EOutputStreamMode mode) override { Call("SetStreamModeHint").SetStreamModeHint(mode); }
  void SetFrameRateHint(double framesPerSecond) override { Call("SetFrameRateHint").SetFrameRateHint(framesPerSecond); }
  const char* GetName() override { return Call("GetName").GetName(); }
  const char* GetAbbreviatedName() override { return Call("GetAbbreviatedName").GetAbbreviatedName(); }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override {
    Call("GetAudioCompressorInfo").GetAudioCompressorInfo(manufacturer, codec);
  }
  RhoStatus CompressFrameBegin(KelAudio_t* format) override {
    return Call("CompressFrameBegin").CompressFrameBegin(format);
  }
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override {
    return Call(in == nullptr ? "CompressFrame (the flush)" : "CompressFrame").CompressFrame(in, out);
  }
  RhoStatus CompressFrameEnd() override { return Call("CompressFrameEnd").CompressFrameEnd(); }
  /// Null, or a CompressorUnderTest. Fails the check when the module's object is the same one again.
  IAudioCompressor* CreateCopy() override;
  RhoStatus Release() override;
  void ValidateSettings() override { Call("ValidateSettings").ValidateSettings(); }
  IUnsignedIntSetting* GetDataRateSetting() override { return Call("GetDataRateSetting").GetDataRateSetting(); }
  IUnsignedIntSetting* GetSampleSizeSetting() override { return Call("GetSampleSizeSetting").GetSampleSizeSetting(); }
  IUnsignedIntSetting* GetSampleRateSetting() override { return Call("GetSampleRateSetting").GetSampleRateSetting(); }
  IEnumSetting* GetChannelModeSetting() override { return Call("GetChannelModeSetting").GetChannelModeSetting(); }
  ISetting* GetNonStandardSettings() override { return Call("GetNonStandardSettings").GetNonStandardSettings(); }
  RhoStatus GetAudioFormatType(EAudioFormatType& type) override {
    return Call("GetAudioFormatType").GetAudioFormatType(type);
  }
  ISetting* GetSubOutputFormatSetting(unsigned int index) override {
    return Call("GetSubOutputFormatSetting").GetSubOutputFormatSetting(index);
  }
  unsigned int IsCodecExtendedSettingDialogSupported() override {
    return Call("IsCodecExtendedSettingDialogSupported").IsCodecExtendedSettingDialogSupported();
  }
  RhoStatus DisplayCodecExtendedSettingDialog() override {
    return Call("DisplayCodecExtendedSettingDialog").DisplayCodecExtendedSettingDialog();
  }
  RhoStatus GetExtendedSettings(void** data, int* size) override {
    return Call("GetExtendedSettings").GetExtendedSettings(data, size);
  }
  RhoStatus SetExtendedSettings(void* data, int size) override {
    return Call("SetExtendedSettings").SetExtendedSettings(data, size);
  }
  int GetCodecDelay() override { return Call("GetCodecDelay").GetCodecDelay(); }
  unsigned int GetSampleSize() override { return Call("GetSampleSize").GetSampleSize(); }
  unsigned int GetSampleRate() override { return Call("GetSampleRate").GetSampleRate(); }
  unsigned int GetDataRate() override { return Call("GetDataRate").GetDataRate(); }
  EChannelMode GetChannelMode() override { return Call("GetChannelMode").GetChannelMode(); }
  unsigned int PlaceholderDoesNotCompress() const override {
    return Call("PlaceholderDoesNotCompress").PlaceholderDoesNotCompress();
  }

 private:
  IAudioCompressor& Call(const char* operation) const {
    NoteStep(operation);
    return m_compressor;
  }

  IAudioCompressor& m_compressor;
};

/// All settings of `compressor`, as ListSettings names them.
std::vector<NamedSetting> SettingsOf(IAudioCompressor& compressor);

/// The same without containers: what has a value.
std::vector<NamedSetting> ValueSettingsOf(IAudioCompressor& compressor);

/// What messages call a setting: its name in quotes, or its label when it has no name of its own.
std::string DisplayName(const NamedSetting& named);

/// Freed memory is filled with other bytes from now on, so that reading it has an effect.
void SpoilFreedMemory();
