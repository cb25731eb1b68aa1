#pragma once

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketBytes.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

/// The module's packet: plain values and two owned byte arrays.
class RHOAPI_EXPORT TRHOAPIPacket : public IPacket {
 public:
  /// Track, time and duration 0, time base 1000; descriptor and payload from the texts, without their terminating NUL,
  /// or empty where null. Throws std::bad_alloc.
  TRHOAPIPacket(TPacketType type, const char* desc, const char* data);

  /// A deep copy of any packet, read through its getters; an untyped, empty packet when `source` is null. Throws
  /// std::bad_alloc.
  explicit TRHOAPIPacket(const IPacket* source);

  TRHOAPIPacket(const TRHOAPIPacket&) = delete;
  TRHOAPIPacket& operator=(const TRHOAPIPacket&) = delete;

  TPacketType getType() const override { return m_type; }
  unsigned int getTrack() const override { return m_track; }
  unsigned long long getTime() const override { return m_time; }
  unsigned long long getTimeBase() const override { return m_timeBase; }
  unsigned long long getDuration() const override { return m_duration; }
  const unsigned char* getDescriptor() const override { return m_descriptor.data(); }
  unsigned long getDescriptorSize() const override { return m_descriptor.size(); }
  const unsigned char* getData() const override { return m_data.data(); }
  unsigned long getDataSize() const override { return m_data.size(); }
  IPacket* clone() const override { return new TRHOAPIPacket(this); }
  void destroy() override { delete this; }

  /// Replace the payload or the descriptor with the characters of `text` up to its terminating NUL. Null empties it.
  /// Throws std::bad_alloc, and then changes nothing.
  void setData(const char* text);
  void setDesc(const char* text);

  /// Replaces the payload with `bytes`, without a copy.
  void takeData(PacketBytes bytes) noexcept;

  TPacketType m_type = kPacketTypeNone;
  unsigned int m_track = 0;
  unsigned long long m_time = 0;
  unsigned long long m_timeBase = 1000;
  unsigned long long m_duration = 0;

 private:
  PacketBytes m_descriptor;
  PacketBytes m_data;
};
