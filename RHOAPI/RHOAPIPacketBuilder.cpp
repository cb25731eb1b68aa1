#include "RHOAPI/RHOAPIPacketBuilder.h"

#include <cstddef>
#include <limits>
#include <new>

PacketBuilder::PacketBuilder(IPacket::TPacketType type, unsigned long capacity) : m_capacity(capacity) {
  if (capacity > std::numeric_limits<std::size_t>::max() - sizeof(TRHOAPIPacket)) {
    throw std::bad_alloc();
  }
  void* const block = ::operator new(sizeof(TRHOAPIPacket) + capacity);
  m_packet.reset(::new (block) TRHOAPIPacket(type, nullptr, nullptr));
  m_payload = static_cast<unsigned char*>(block) + sizeof(TRHOAPIPacket);
}
