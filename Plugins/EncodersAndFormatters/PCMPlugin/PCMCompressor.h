#pragma once

#include "RHOAPI/AAudioCodec.h"
#include "RHOAPI/RHOAPIPacketBuilder.h"
#include "RHOAPI/RhoapiSettings.h"

inline constexpr unsigned int kPCMManufacturerCode = FourCharacterCode("ZAV ");
inline constexpr unsigned int kPCMCodecCode = FourCharacterCode("LPCM");

/// The Linear PCM compressor: cuts a stream of interleaved samples into packets of one video-frame period, their bytes
/// unchanged, and stamps each with the number of sample frames before it.
///
/// CompressFrameBegin refuses a run that cannot be packed (kRhoStatusBadArgument): no sample rate, a frame-rate hint
/// that is zero, negative, infinite or not a number, less than one sample frame per packet, no whole byte in a sample
/// frame, or packets of 2^32 bytes and more.
class CPCMCompressor : public CAAudioCompressor {
 public:
  /// Throws std::bad_alloc.
  explicit CPCMCompressor(unsigned int codec);
  /// Copies are made by assignment alone (see CreateCopy).
  CPCMCompressor(const CPCMCompressor&) = delete;
  /// Copies settings, hints and a run in progress. Throws std::bad_alloc and then leaves a mixture of both states,
  /// which can only be assigned to or released.
  CPCMCompressor& operator=(const CPCMCompressor& other);
  ~CPCMCompressor() override;

  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override;
  /// Matroska only: the code " MKV".
  unsigned int IsFormatSupported(unsigned int fileFormat) override;
  const char* GetName() override;
  const char* GetAbbreviatedName() override;
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override;

  /// Sets the packet size to sample rate ÷ frame-rate hint sample frames, rounded to the nearest whole number, halves
  /// up. Does not read its argument. Does not reopen a stream that a flush has ended; CompressFrameEnd does.
  RhoStatus CompressFrameBegin(KelAudio_t* format) override;
  /// Reads only the data and the data size of `in`; bytes of a trailing partial sample frame are ignored, and less than
  /// one sample frame adds nothing, even without data. Reads the sample rate of `out`, which becomes the packets' time
  /// base, and writes its time, time scale, duration and sample count (modulo 2^32), which describe the packets added
  /// by this call. A packet is complete when it is appended. Once the stream has ended: 0 whatever the arguments, and
  /// nothing is written.
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override;
  /// Reopens an ended stream. Sample frames that were not flushed stay until the next CompressFrameBegin drops them.
  RhoStatus CompressFrameEnd() override;

  IAudioCompressor* CreateCopy() override;
  RhoStatus Release() override;

  /// Recomputes the data rate, (sample size ÷ 8) × channels × sample rate modulo 2^32, and makes it the data rate
  /// setting's only allowable value.
  void ValidateSettings() override;
  IUnsignedIntSetting* GetDataRateSetting() override { return &m_dataRate; }
  IUnsignedIntSetting* GetSampleSizeSetting() override { return &m_sampleSize; }
  IUnsignedIntSetting* GetSampleRateSetting() override { return &m_sampleRate; }
  IEnumSetting* GetChannelModeSetting() override { return &m_channels; }
  /// 24-bit samples for a sample size of 24, else 16-bit ones.
  RhoStatus GetAudioFormatType(EAudioFormatType& type) override;

 private:
  /// Of the settings as they are now; a run keeps those of its beginning.
  unsigned int ConfiguredBytesPerSampleFrame() const;
  /// Takes in whole sample frames and emits each packet as soon as it is full.
  void FillPackets(const unsigned char* source, unsigned int size, KelEncAudio_t& out);
  void EmitPacket(KelEncAudio_t& out);

  unsigned int m_codec;
  UnsignedIntSetting m_dataRate;
  UnsignedIntSetting m_sampleSize;
  UnsignedIntSetting m_sampleRate;
  StringEnumSetting m_channels;
  bool m_endOfStream = false;
  /// The next packet, so that samples are copied once, to where the host reads them. Made by CompressFrameBegin, handed
  /// over when full, made again when more samples arrive.
  PacketBuilder m_packet;
  unsigned int m_bytesPerPacket = 0;
  unsigned int m_bytesPerSampleFrame = 0;  ///< 0 until a run has begun
  unsigned int m_bufferedBytes = 0;
  unsigned long long m_emittedSampleFrames = 0;
};
