#pragma once

/// The two records in which audio moves between a host and a compressor. Their layout is part of the ABI: fixed-width
/// fields in this order, asserted below for both word sizes. The records belong to the host; the module keeps no
/// pointer to them beyond a call.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

#include <cstddef>

class TRHOAPIPacket;

/// Sample formats. The module uses their sizes (BytesPerSample) and the three values named here; hosts define how
/// formats of equal size differ.
enum EAudioFormatType : unsigned int {
  kAudioFormat16Bit = 2,
  kAudioFormat24Bit = 3,
  kAudioFormatNone = 12,  ///< no format: the size of such a buffer cannot be computed
};

/// One buffer of interleaved samples. Plain data: a host defines it as `KelAudio_t audio{};`.
struct KelAudio_t {
  unsigned long long time;       ///< start, in ticks of the time scale
  unsigned long long timeScale;  ///< ticks per second
  unsigned long long duration;   ///< length in ticks
  EAudioFormatType format;       ///< of the samples
  unsigned int channels;         ///< interleaved channels
  unsigned int sampleRate;       ///< sample frames per second
  unsigned int sampleCount;      ///< sample frames held
  unsigned int dataSize;         ///< length of the data area in bytes
  unsigned int reserved1;        ///< neither read nor written by the module
  unsigned char* data;           ///< the samples, channel by channel within each frame
  unsigned int reserved2;        ///< neither read nor written by the module
};

/// An output record: a buffer description and the encoded packets.
struct RHOAPI_EXPORT KelEncAudio_t : KelAudio_t {
  /// The encoded output; null until the first packet is added. The module only appends packets: the owner of the record
  /// removes them (remove, clear) and frees the bundle with destroy().
  IPacketBundle* packets;

  /// Appends a packet of the given type with a copy of the `size` bytes at `payload` (none when it is null), no
  /// descriptor, track 0, time 0, time base 1000 and duration 0; creates the bundle when there is none. The packet
  /// already has its payload when it is appended. It belongs to the bundle; the caller may set its other fields. Throws
  /// std::bad_alloc and then appends nothing.
  TRHOAPIPacket* addDataPacket(IPacket::TPacketType type, const unsigned char* payload, unsigned long size);

  /// Appends `packet`, which is not null, and takes ownership of it; creates the bundle when there is none. Throws
  /// std::bad_alloc; the caller then still owns the packet.
  void addPacket(IPacket* packet);
};

static_assert(sizeof(EAudioFormatType) == 4 && sizeof(IPacket::TPacketType) == 4);
static_assert(offsetof(KelAudio_t, time) == 0 && offsetof(KelAudio_t, timeScale) == 8 &&
              offsetof(KelAudio_t, duration) == 16 && offsetof(KelAudio_t, format) == 24 &&
              offsetof(KelAudio_t, channels) == 28 && offsetof(KelAudio_t, sampleRate) == 32 &&
              offsetof(KelAudio_t, sampleCount) == 36 && offsetof(KelAudio_t, dataSize) == 40 &&
              offsetof(KelAudio_t, reserved1) == 44 && offsetof(KelAudio_t, data) == 48 &&
              offsetof(KelAudio_t, reserved2) == 48 + sizeof(void*));
// The last field is followed by padding up to a pointer's alignment (none with 32-bit words), then the bundle.
static_assert(sizeof(KelAudio_t) == 48 + 2 * sizeof(void*));
static_assert(sizeof(KelEncAudio_t) == sizeof(KelAudio_t) + sizeof(void*));

/// Storage size of one sample: 1, 2, 2, 3, 4, 4 for the formats 0 to 5, the same again for 6 to 11; 0 above.
RHOAPI_EXPORT unsigned int BytesPerSample(EAudioFormatType format);

/// Bytes of sample data that `audio` describes: channels × sample count × BytesPerSample, modulo 2^32; 0 without a
/// format.
RHOAPI_EXPORT unsigned int CalcFrameSize(const KelAudio_t& audio);

/// Fills the part of the data area behind the samples with zero bytes, which are silence in every format. Samples of an
/// unknown format have size 0, so the whole area is filled. Writes nothing when the samples need the whole area or
/// more, when the format is kAudioFormatNone, and when there is no data area.
RHOAPI_EXPORT void KelPadAudioBufferWithSilence(KelAudio_t& buffer);
