#pragma once

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketBytes.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

#include <cstddef>
#include <vector>

/// The module's packet: plain values, a descriptor and a payload. PacketBuilder creates packets that share one block of
/// memory with their payload.
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
  const unsigned char* getDescriptor() const override { return FirstOf(m_descriptor); }
  unsigned long getDescriptorSize() const override { return m_descriptor.size(); }
  const unsigned char* getData() const override {
    return m_sizeBehind != 0 ? reinterpret_cast<const unsigned char*>(this + 1) : FirstOf(m_data);
  }
  unsigned long getDataSize() const override { return m_sizeBehind != 0 ? m_sizeBehind : m_data.size(); }
  IPacket* clone() const override { return new TRHOAPIPacket(this); }
  void destroy() override { delete this; }

  /// Replaces the payload or the descriptor with the characters of `text` up to its terminating NUL. Null empties it.
  /// Throws std::bad_alloc and then changes nothing.
  void setData(const char* text);
  /// The same for the descriptor.
  void setDesc(const char* text);

  /// Memory is freed without a size: the block of a packet from PacketBuilder is larger than the class.
  static void* operator new(std::size_t size) { return ::operator new(size); }
  /// Frees the block.
  static void operator delete(void* packet) { ::operator delete(packet); }

  TPacketType m_type = kPacketTypeNone;  ///< what getType returns
  unsigned int m_track = 0;              ///< what getTrack returns
  unsigned long long m_time = 0;         ///< what getTime returns
  unsigned long long m_timeBase = 1000;  ///< what getTimeBase returns
  unsigned long long m_duration = 0;     ///< what getDuration returns

 private:
  friend class PacketBuilder;

  std::vector<unsigned char> m_descriptor;
  std::vector<unsigned char> m_data;  ///< the payload, unless it directly follows the packet
  unsigned long m_sizeBehind = 0;     ///< payload bytes that directly follow the packet in its block of memory
};
