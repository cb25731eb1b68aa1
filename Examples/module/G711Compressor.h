#pragma once

#include <RHOAPI/AAudioCodec.h>
#include <RHOAPI/RHOAPIPacket.h>
#include <RHOAPI/RhoapiSettings.h>

#include <cstddef>
#include <cstdint>
#include <vector>

inline constexpr unsigned int kG711Manufacturer = FourCharacterCode("EXMP");
inline constexpr unsigned int kG711Codec = FourCharacterCode("G711");
inline constexpr unsigned int kG711Version = 0x00010000;

/// Packets of companded samples. A module chooses a number of its own for what only its hosts need to know.
inline constexpr auto kPacketTypeG711 = static_cast<IPacket::TPacketType>(1711);

/// One byte for a 16-bit sample, by the segments of ITU-T G.711.
std::uint8_t ToALaw(std::int16_t sample);
std::uint8_t ToMuLaw(std::int16_t sample);

/// A compressor of 16-bit samples to A-law or mu-law bytes, in packets of one video-frame period. It has the standard
/// settings that fit, and a group of its own with one choice: the law.
class CG711Compressor : public CAAudioCompressor {
 public:
  CG711Compressor();
  CG711Compressor(const CG711Compressor&) = delete;
  CG711Compressor& operator=(const CG711Compressor&) = delete;
  ~CG711Compressor() override = default;

  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override;
  /// No container: the packets are raw bytes.
  unsigned int IsFormatSupported(unsigned int /*fileFormat*/) override { return 0; }
  const char* GetName() override { return "G.711"; }
  const char* GetAbbreviatedName() override { return "G711"; }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override;

  RhoStatus CompressFrameBegin(KelAudio_t* format) override;
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override;
  RhoStatus CompressFrameEnd() override;
  IAudioCompressor* CreateCopy() override;
  RhoStatus Release() override;

  /// One byte for each sample: the data rate is channels × sample rate.
  void ValidateSettings() override;
  IUnsignedIntSetting* GetDataRateSetting() override { return &m_dataRate; }
  IUnsignedIntSetting* GetSampleSizeSetting() override { return &m_sampleSize; }
  IUnsignedIntSetting* GetSampleRateSetting() override { return &m_sampleRate; }
  IEnumSetting* GetChannelModeSetting() override { return &m_channels; }
  ISetting* GetNonStandardSettings() override { return &m_group; }

 private:
  /// A run: what CompressFrameBegin fixes, and what has come in since.
  struct Run {
    unsigned int channels = 0;  ///< 0 until a run has begun
    std::size_t bytesPerPacket = 0;
    bool isMuLaw = false;
    bool isEnded = false;
    unsigned long long emittedFrames = 0;
    std::vector<unsigned char> companded;  ///< less than a packet
  };

  void EmitPacket(KelEncAudio_t& out);

  UnsignedIntSetting m_dataRate;
  UnsignedIntSetting m_sampleSize;
  UnsignedIntSetting m_sampleRate;
  StringEnumSetting m_channels;
  StringEnumSetting m_law;
  SettingsGroup m_group;  ///< lists m_law, which belongs to this object
  Run m_run;
};
