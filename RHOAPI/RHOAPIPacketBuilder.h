#pragma once

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIPacket.h"

#include <memory>

/// Builds a packet in place, for producers of many packets: packet and payload share one block of memory, and the
/// producer writes the payload where the consumer reads it. The packet has no payload until finish(), so nobody reads
/// bytes that have not been written.
///
///   PacketBuilder builder(IPacket::kPacketTypeLinearPCM, capacity);
///   std::memcpy(builder.payload(), samples, size);  // size <= capacity
///   builder.finish(size).m_time = time;
///   bundle->append(builder.packet());
///   builder.release();  // the bundle owns the packet now
class RHOAPI_EXPORT PacketBuilder {
 public:
  /// No packet.
  PacketBuilder() = default;
  /// A packet with room for `capacity` payload bytes, undefined until they are written; no descriptor, track, time and
  /// duration 0, time base 1000. Throws std::bad_alloc, also for a capacity that cannot be addressed.
  PacketBuilder(IPacket::TPacketType type, unsigned long capacity);

  /// The packet, which the builder owns; null when there is none.
  TRHOAPIPacket* packet() const { return m_packet.get(); }
  /// The first of `capacity` bytes to write to; null when there is no packet.
  unsigned char* payload() const { return m_payload; }
  /// Makes the first `size` bytes, at most `capacity`, the packet's payload. May be called again with another size, but
  /// not without a packet.
  TRHOAPIPacket& finish(unsigned long size) {
    m_packet->m_sizeBehind = size < m_capacity ? size : m_capacity;
    return *m_packet;
  }
  /// Returns the packet, which the caller then owns; null when there is none.
  TRHOAPIPacket* release() {
    m_payload = nullptr;
    return m_packet.release();
  }

 private:
  std::unique_ptr<TRHOAPIPacket> m_packet;
  unsigned char* m_payload = nullptr;
  unsigned long m_capacity = 0;
};
