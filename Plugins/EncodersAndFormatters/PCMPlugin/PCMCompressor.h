#pragma once

#include "RHOAPI/AAudioCodec.h"
#include "RHOAPI/RHOAPIPacket.h"
#include "RHOAPI/RhoapiSettings.h"

#include <memory>

inline constexpr unsigned int kPCMManufacturerCode = FourCharacterCode("ZAV ");
inline constexpr unsigned int kPCMCodecCode = FourCharacterCode("LPCM");

/// The Linear PCM compressor: cuts a stream of interleaved samples into packets of one video-frame period, their bytes
/// unchanged, and stamps each with the number of sample frames before it.
///
/// Whatever a host passes in, a run is refused or packed, never undefined. kRhoStatusBadArgument, and nothing changed,
/// is the answer
/// - of CompressFrameBegin when the run cannot be packed: no sample rate, a frame-rate hint that is zero, negative,
///   infinite or not a number, less than one sample frame a packet, no whole byte in a sample frame, or packets of 2^32
///   bytes and more;
/// - of CompressFrame before any successful CompressFrameBegin, without an output record, with one whose sample rate is
///   0, and with input that has a size but no data.
/// When memory runs out CompressFrameBegin answers kRhoStatusNoObject and changes nothing, whereas CompressFrame throws
/// std::bad_alloc: the packets in the output record are whole, a flush may be tried again, but how much of the input
/// was taken is not told.
class CPCMCompressor : public CAAudioCompressor {
 public:
  /// Throws std::bad_alloc.
  explicit CPCMCompressor(unsigned int codec);
  /// The state is copied by assignment alone (see CreateCopy).
  CPCMCompressor(const CPCMCompressor&) = delete;
  /// Copies settings, hints and a run in progress. Throws std::bad_alloc, and then leaves a mixture fit only to be
  /// assigned to or let go of.
  CPCMCompressor& operator=(const CPCMCompressor& other);
  ~CPCMCompressor() override;

  void QueryPossiblePacketTypes(std::list<IPacket::TPacketType>& types) const override;
  /// Matroska only: the code " MKV".
  unsigned int IsFormatSupported(unsigned int fileFormat) override;
  const char* GetName() override;
  const char* GetAbbreviatedName() override;
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override;

  /// Sizes the packets: sample rate ÷ frame-rate hint sample frames, to the nearest whole number, halves up. Does not
  /// read its argument, and does not reopen a stream that a flush has ended (CompressFrameEnd does).
  RhoStatus CompressFrameBegin(KelAudio_t* format) override;
  /// Of `in` only the data and their size count; a trailing part of a sample frame is ignored. Of `out` the sample rate
  /// is read, and becomes the packets' time base; time, time scale, duration and sample count (modulo 2^32) come to
  /// describe the packets added by this call. Once the stream has ended: 0, whatever the arguments, and nothing
  /// touched.
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override;
  /// Reopens an ended stream. Sample frames that were never flushed stay until the next CompressFrameBegin drops them.
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
  unsigned int BytesPerSampleFrame() const;
  /// Takes in whole sample frames, emitting each packet as it fills.
  void FillPackets(const unsigned char* source, unsigned int size, KelEncAudio_t& out);
  void EmitPacket(KelEncAudio_t& out);

  unsigned int m_codec;
  UnsignedIntSetting m_dataRate;
  UnsignedIntSetting m_sampleSize;
  UnsignedIntSetting m_sampleRate;
  StringEnumSetting m_channels;
  bool m_endOfStream = false;
  /// The next packet while its payload fills, so that samples are copied once. Made by CompressFrameBegin, handed over
  /// when full, and made again when more samples arrive.
  std::unique_ptr<TRHOAPIPacket> m_packet;
  unsigned int m_bytesPerPacket = 0;
  unsigned int m_bytesPerSampleFrame = 0;  ///< 0 until a run has begun
  unsigned int m_bufferedBytes = 0;
  unsigned long long m_emittedSampleFrames = 0;
};

/// What `make` returns, or null when it throws anything: where the module's factories meet the host.
template <class Make>
auto NullOnFailure(Make make) noexcept -> decltype(make()) {
  try {
    return make();
  } catch (...) {
    return nullptr;
  }
}
