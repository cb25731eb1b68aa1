#pragma once

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacketBytes.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

#include <cstddef>
#include <vector>

/// The module's packet: plain values, a descriptor and a payload.
///
/// A producer of many packets makes each with room for its payload, in one block of memory with the packet, and fills
/// that; everyone else sets the payload from what they have.
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

  /// A new packet, the caller's, without descriptor and with a payload of `size` bytes, undefined until they are
  /// written to room(). Throws std::bad_alloc.
  static TRHOAPIPacket* withRoom(TPacketType type, unsigned long size);
  unsigned char* room() { return reinterpret_cast<unsigned char*>(this + 1); }
  /// Drops all but the first `size` bytes of that payload, if there are more. The memory stays.
  void truncateRoom(unsigned long size);

  TPacketType getType() const override { return m_type; }
  unsigned int getTrack() const override { return m_track; }
  unsigned long long getTime() const override { return m_time; }
  unsigned long long getTimeBase() const override { return m_timeBase; }
  unsigned long long getDuration() const override { return m_duration; }
  const unsigned char* getDescriptor() const override { return FirstOf(m_descriptor); }
  unsigned long getDescriptorSize() const override { return m_descriptor.size(); }
  const unsigned char* getData() const override {
    return m_roomSize != 0 ? reinterpret_cast<const unsigned char*>(this + 1) : FirstOf(m_data);
  }
  unsigned long getDataSize() const override { return m_roomSize != 0 ? m_roomSize : m_data.size(); }
  IPacket* clone() const override { return new TRHOAPIPacket(this); }
  void destroy() override { delete this; }

  /// Replace the payload or the descriptor with the characters of `text` up to its terminating NUL. Null empties it.
  /// Throws std::bad_alloc, and then changes nothing.
  void setData(const char* text);
  void setDesc(const char* text);

  // Of a packet with room the size of its block is not that of its class, so that it is freed by address alone.
  static void* operator new(std::size_t size) { return ::operator new(size); }
  static void operator delete(void* packet) { ::operator delete(packet); }

  TPacketType m_type = kPacketTypeNone;
  unsigned int m_track = 0;
  unsigned long long m_time = 0;
  unsigned long long m_timeBase = 1000;
  unsigned long long m_duration = 0;

 private:
  std::vector<unsigned char> m_descriptor;
  std::vector<unsigned char> m_data;  ///< the payload, unless it lies in the room behind the packet
  unsigned long m_roomSize = 0;
};
