#pragma once

#include "RHOAPI/AAudioCodec.h"
#include "RHOAPI/RHOAPIPacketBuilder.h"
#include "RHOAPI/RhoapiSettings.h"

inline constexpr unsigned int kPCMManufacturerCode = FourCharacterCode("ZAV ");
inline constexpr unsigned int kPCMCodecCode = FourCharacterCode("LPCM");

/// The Linear PCM compressor: cuts a stream of interleaved samples into packets of one video-frame period, their bytes
/// unchanged, and stamps each with the number of sample frames before it.
///
/// CompressFrameBegin refuses a run that cannot be packed (kRhoStatusBadArgument): a sample rate of 0, a frame-rate
/// hint that is zero, negative, infinite or NaN, less than one sample frame per packet, less than one byte per sample
/// frame, or packets of 2^32 bytes and more.
class CPCMCompressor : public CAAudioCompressor {
 public:
  /// Throws std::bad_alloc.
  explicit CPCMCompressor(unsigned int codec);
  /// CreateCopy constructs a new compressor and assigns to it.
  CPCMCompressor(const CPCMCompressor&) = delete;
  /// Copies settings, hints and a run in progress. Throws std::bad_alloc; the object is then in a mixture of both
  /// states and may only be assigned to or released.
  CPCMCompressor& operator=(const CPCMCompressor& other);
  ~CPCMCompressor() override;

  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override;
  /// Matroska only: the code " MKV".
  unsigned int IsFormatSupported(unsigned int fileFormat) override;
  const char* GetName() override;
  const char* GetAbbreviatedName() override;
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override;

  /// Sets the packet size to sample rate ÷ frame-rate hint sample frames, rounded to the nearest whole number, halves
  /// up. Does not read its argument. Does not reopen a stream that a flush has ended: call CompressFrameEnd first.
  RhoStatus CompressFrameBegin(KelAudio_t* format) override;
  /// Reads only the data and the data size of `in`. Ignores the bytes of a trailing partial sample frame; the data of
  /// less than one sample frame may be null. Reads the sample rate of `out`, which becomes the packets' time base, and
  /// writes its time, time scale, duration and sample count (modulo 2^32), which describe the packets added by this
  /// call. A packet is complete when it is appended. After the end of the stream returns 0 for any arguments and writes
  /// nothing.
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override;
  /// Reopens an ended stream. Sample frames that were not flushed stay buffered until the next CompressFrameBegin.
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
  /// kAudioFormat24Bit for a sample size of 24, otherwise kAudioFormat16Bit.
  RhoStatus GetAudioFormatType(EAudioFormatType& type) override;

 private:
  /// According to the current settings; a run in progress keeps the size that it began with.
  unsigned int ConfiguredBytesPerSampleFrame() const;
  /// Buffers whole sample frames and emits each packet as soon as it is full.
  void FillPackets(const unsigned char* source, unsigned int size, KelEncAudio_t& out);
  void EmitPacket(KelEncAudio_t& out);

  unsigned int m_codec;
  UnsignedIntSetting m_dataRate;
  UnsignedIntSetting m_sampleSize;
  UnsignedIntSetting m_sampleRate;
  StringEnumSetting m_channels;
  bool m_endOfStream = false;
  /// The next packet; samples are copied once, to where the host reads them. CompressFrameBegin creates it, EmitPacket
  /// gives it to the bundle, and FillPackets creates the next one when more samples arrive.
  PacketBuilder m_packet;
  unsigned int m_bytesPerPacket = 0;
  unsigned int m_bytesPerSampleFrame = 0;  ///< 0 until a run has begun
  unsigned int m_bufferedBytes = 0;
  unsigned long long m_emittedSampleFrames = 0;
};
