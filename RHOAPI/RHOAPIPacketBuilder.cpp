#include "RHOAPI/RHOAPIPacketBuilder.h"

#include <cstddef>
#include <limits>
#include <new>

PacketBuilder::PacketBuilder(IPacket::TPacketType type, unsigned long capacity) : m_capacity(capacity) {
  // A sum that wraps round would allocate a block that is smaller than the packet.
  if (capacity > std::numeric_limits<std::size_t>::max() - sizeof(TRHOAPIPacket)) {
    throw std::bad_alloc();
  }
  void* const block = ::operator new(sizeof(TRHOAPIPacket) + capacity);
  // ::new, since the class's own operator new hides the placement form. The constructor does not throw without texts,
  // so the block always has an owner.
  m_packet.reset(::new (block) TRHOAPIPacket(type, nullptr, nullptr));
  m_payload = static_cast<unsigned char*>(block) + sizeof(TRHOAPIPacket);
}
