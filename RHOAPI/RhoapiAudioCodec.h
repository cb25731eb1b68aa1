#pragma once

/// The protocol between a host and an audio compressor.
///
/// A compressor's life, in call order:
///
///   IAudioCompressor* codec = CreateAudioCompressor(manufacturer, codecCode);  // or CreateCopy of another compressor
///   codec->GetSampleRateSetting()->SetValue(48000);     // any setting, at any time
///   codec->ValidateSettings();
///   codec->SetFrameRateHint(25.0);                      // hints, packet type
///   if (codec->CompressFrameBegin(nullptr) == kRhoStatusSuccess) {  // a run begins
///     out.sampleRate = codec->GetSampleRate();          // becomes the packets' time base
///     codec->CompressFrame(&in, &out);                  // any number of times; take out.packets after each
///     codec->CompressFrame(nullptr, &out);              // flush: the last, shorter packet
///     codec->CompressFrameEnd();                        // another run may begin
///   }
///   codec->Release();                                   // never delete
///
/// The order of the virtual operations is the ABI: hosts call by position. Nothing is inserted, moved or removed. A
/// compressor is used by one thread at a time; different compressors are independent.
///
/// Operations throw std::bad_alloc where they say so, and no other exception.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketInterface.h"
#include "RHOAPI/RhoapiSettingsInterface.h"
#include "Toolbox/KelUtils/Media/AudioBuffers.h"
#include "Toolbox/KelUtils/Media/ChannelModes.h"
#include "Toolbox/KelUtils/Text/FourCharacterCodes.h"

#include <list>

/// The result of an operation that can fail. A refused operation changes nothing.
using RhoStatus = unsigned int;
inline constexpr RhoStatus kRhoStatusSuccess = 0;             ///< the operation has succeeded
inline constexpr RhoStatus kRhoStatusNotSupported = 1;        ///< an optional operation that the object does not offer
inline constexpr RhoStatus kRhoStatusNoObject = 0x80010001U;  ///< an object could not be obtained
inline constexpr RhoStatus kRhoStatusBadArgument = 0x80010002U;  ///< a wrong code, or an argument missing or unusable

/// How the host will stream the output. Hosts define more values; no compressor of this module reads it.
enum EOutputStreamMode : unsigned int {
  kOutputStreamModeDefault = 3,
};

/// An audio compressor, as hosts see it.
class IAudioCompressor {
 public:
  /// Adds the packet types that the compressor can produce to the caller's list, without duplicates. Throws
  /// std::bad_alloc.
  virtual void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const = 0;
  /// Chooses one of those types and returns 1; returns 0 and changes nothing for any other. Throws std::bad_alloc.
  virtual unsigned int SetOutputPacketType(IPacket::TPacketType type) = 0;
  /// The packet type that is chosen.
  virtual IPacket::TPacketType GetOutputPacketType() const = 0;
  /// Whether files of this four-character code can contain the output.
  virtual unsigned int IsFormatSupported(unsigned int fileFormat) = 0;
  /// Hints about the target: the file's four-character code, how it is streamed, and its video frames per second.
  virtual void SetFileFormatHint(unsigned int fileFormat) = 0;
  /// Sets how the target is streamed.
  virtual void SetStreamModeHint(EOutputStreamMode mode) = 0;
  /// Sets the target's video frames per second.
  virtual void SetFrameRateHint(double framesPerSecond) = 0;
  /// Display names, constants of the module.
  virtual const char* GetName() = 0;
  /// The short display name.
  virtual const char* GetAbbreviatedName() = 0;
  /// The four-character codes by which hosts and presets know the compressor.
  virtual void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) = 0;
  /// Begins a run with the current settings and hints. The argument describes the input for compressors that read it;
  /// it may be null for the others. kRhoStatusBadArgument when no run is possible with these settings and hints,
  /// kRhoStatusNoObject when out of memory; in both cases a run in progress continues.
  virtual RhoStatus CompressFrameBegin(KelAudio_t* format) = 0;
  /// Encodes a buffer and appends the finished packets to `out`, a KelEncAudio_t whose sample rate the host has set;
  /// they stay there until the host removes them. Time, time scale (its sample rate), sample count and duration of
  /// `out` then describe the packets of this call. Without input (`in` null) it flushes the remaining samples and ends
  /// the stream: every later call returns success and does nothing until CompressFrameEnd. kRhoStatusBadArgument before
  /// a successful CompressFrameBegin, without `out`, when the sample rate of `out` is 0, and for a buffer of at least
  /// one sample frame whose data is null. Throws std::bad_alloc when out of memory for a packet or the bundle: the
  /// packets in `out` are complete and a flush may be repeated, but the host cannot know how much of a buffer was
  /// consumed and should abandon the run.
  virtual RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) = 0;
  /// Ends a run. It does not flush.
  virtual RhoStatus CompressFrameEnd() = 0;
  /// An independent compressor in the same state, including a run in progress; null when out of memory. The caller
  /// owns it and frees it with Release.
  virtual IAudioCompressor* CreateCopy() = 0;
  /// Deletes the compressor and returns 0.
  virtual RhoStatus Release() = 0;
  /// Recomputes the settings that depend on others. Hosts call it after changing settings. Throws std::bad_alloc and
  /// then changes nothing.
  virtual void ValidateSettings() = 0;
  /// The compressor's own settings, valid as long as the compressor exists; null where it has no such setting.
  virtual IUnsignedIntSetting* GetDataRateSetting() = 0;    ///< bytes per second of output
  virtual IUnsignedIntSetting* GetSampleSizeSetting() = 0;  ///< bits per sample
  virtual IUnsignedIntSetting* GetSampleRateSetting() = 0;  ///< sample frames per second
  virtual IEnumSetting* GetChannelModeSetting() = 0;        ///< the channel layout
  virtual ISetting* GetNonStandardSettings() = 0;           ///< all other settings, in a container
  /// The sample format that the input must have with the current settings.
  virtual RhoStatus GetAudioFormatType(EAudioFormatType& type) = 0;
  /// The setting of that index for sub-formats of the output; null where there is none.
  virtual ISetting* GetSubOutputFormatSetting(unsigned int index) = 0;
  /// Whether the compressor has a dialog of its own.
  virtual unsigned int IsCodecExtendedSettingDialogSupported() = 0;
  /// Shows that dialog.
  virtual RhoStatus DisplayCodecExtendedSettingDialog() = 0;
  /// Returns settings that no setting object holds, as bytes.
  virtual RhoStatus GetExtendedSettings(void** data, int* size) = 0;
  /// Takes those bytes.
  virtual RhoStatus SetExtendedSettings(void* data, int size) = 0;
  /// Delay between input and output, in sample frames.
  virtual int GetCodecDelay() = 0;
  /// Current values, read through the setting operations above; 0 where there is no such setting.
  virtual unsigned int GetSampleSize() { return ValueOrZero(GetSampleSizeSetting()); }
  /// Sample frames per second.
  virtual unsigned int GetSampleRate() { return ValueOrZero(GetSampleRateSetting()); }
  /// Bytes per second of output.
  virtual unsigned int GetDataRate() { return ValueOrZero(GetDataRateSetting()); }
  /// The mode whose name is the channel setting's value. Mono for any other value, for "4.1", "2.1" and "Quad", and
  /// where there is no such setting.
  virtual EChannelMode GetChannelMode() {
    const IEnumSetting* const setting = GetChannelModeSetting();
    const EChannelMode mode = setting == nullptr ? kChannelModeUndefined : KelGetChannelMode(setting->GetValue());
    const bool isUnknown =
        mode == kChannelModeUndefined || mode == kChannelMode4_1 || mode == kChannelMode2_1 || mode == kChannelModeQuad;
    return isUnknown ? kChannelModeMono : mode;
  }
  virtual ~IAudioCompressor() = default;
  /// Whether the compressor is a placeholder without an encoder behind it.
  virtual unsigned int PlaceholderDoesNotCompress() const = 0;

 protected:
  IAudioCompressor() = default;
  IAudioCompressor(const IAudioCompressor&) = default;
  IAudioCompressor& operator=(const IAudioCompressor&) = default;

 private:
  static unsigned int ValueOrZero(const IUnsignedIntSetting* setting) {
    return setting == nullptr ? 0 : setting->GetValue();
  }
};

/// Frees a compressor through its interface, as every owner of a compressor must.
struct CompressorReleaser {
  void operator()(IAudioCompressor* compressor) const { compressor->Release(); }  ///< releases it
};

/// The capabilities of a plug-in as flags, 0 or 1.
class IPluginProperties {
 public:
  virtual ~IPluginProperties() = default;
  /// Whether top-down processing is supported.
  virtual unsigned int GetSupportsTopDown() const = 0;
  /// Whether the data rate may vary.
  virtual unsigned int GetSupportsVBR() const = 0;
  /// Whether two passes can be made over the input.
  virtual unsigned int GetSupportsTwoPass() const = 0;
  /// Whether quality rather than the data rate can be fixed.
  virtual unsigned int GetSupportsFixedQuality() const = 0;

 protected:
  IPluginProperties() = default;
  IPluginProperties(const IPluginProperties&) = default;
  IPluginProperties& operator=(const IPluginProperties&) = default;
};

/// Those flags, stored.
class RHOAPI_EXPORT PluginProperties : public IPluginProperties {
 public:
  /// Everything but top-down.
  PluginProperties();
  /// The flags as given.
  PluginProperties(unsigned int topDown, unsigned int vbr, unsigned int twoPass, unsigned int fixedQuality);

  unsigned int GetSupportsTopDown() const override { return m_topDown; }
  unsigned int GetSupportsVBR() const override { return m_vbr; }
  unsigned int GetSupportsTwoPass() const override { return m_twoPass; }
  unsigned int GetSupportsFixedQuality() const override { return m_fixedQuality; }

  /// A new object with the same flags, owned by the caller, who deletes it. Throws std::bad_alloc.
  PluginProperties* CreateCopy() const;

 private:
  unsigned int m_topDown;
  unsigned int m_vbr;
  unsigned int m_twoPass;
  unsigned int m_fixedQuality;
};
