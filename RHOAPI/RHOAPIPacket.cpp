#include "RHOAPI/RHOAPIPacket.h"

#include <limits>
#include <new>

TRHOAPIPacket::TRHOAPIPacket(TPacketType type, const char* desc, const char* data)
    : m_type(type), m_descriptor(BytesOf(desc)), m_data(BytesOf(data)) {}

TRHOAPIPacket::TRHOAPIPacket(const IPacket* source) {
  if (source == nullptr) {
    return;
  }
  m_type = source->getType();
  m_track = source->getTrack();
  m_time = source->getTime();
  m_timeBase = source->getTimeBase();
  m_duration = source->getDuration();
  m_descriptor = BytesAt(source->getDescriptor(), source->getDescriptorSize());
  m_data = BytesAt(source->getData(), source->getDataSize());
}

TRHOAPIPacket* TRHOAPIPacket::withRoom(TPacketType type, unsigned long size) {
  if (size > std::numeric_limits<std::size_t>::max() - sizeof(TRHOAPIPacket)) {
    throw std::bad_alloc();
  }
  void* const block = ::operator new(sizeof(TRHOAPIPacket) + size);
  auto* const packet = ::new (block) TRHOAPIPacket(type, nullptr, nullptr);
  packet->m_roomSize = size;
  return packet;
}

void TRHOAPIPacket::truncateRoom(unsigned long size) {
  if (size < m_roomSize) {
    m_roomSize = size;
  }
}

void TRHOAPIPacket::setData(const char* text) {
  m_data = BytesOf(text);
  m_roomSize = 0;
}

void TRHOAPIPacket::setDesc(const char* text) { m_descriptor = BytesOf(text); }
