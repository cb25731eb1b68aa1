#include "RHOAPI/RHOAPIPacket.h"

#include <utility>

TRHOAPIPacket::TRHOAPIPacket(TPacketType type, const char* desc, const char* data)
    : m_type(type), m_descriptor(PacketBytes::fromText(desc)), m_data(PacketBytes::fromText(data)) {}

TRHOAPIPacket::TRHOAPIPacket(const IPacket* source) {
  if (source == nullptr) {
    return;
  }
  m_type = source->getType();
  m_track = source->getTrack();
  m_time = source->getTime();
  m_timeBase = source->getTimeBase();
  m_duration = source->getDuration();
  m_descriptor = PacketBytes(source->getDescriptor(), source->getDescriptorSize());
  m_data = PacketBytes(source->getData(), source->getDataSize());
}

void TRHOAPIPacket::setData(const char* text) { m_data = PacketBytes::fromText(text); }

void TRHOAPIPacket::setDesc(const char* text) { m_descriptor = PacketBytes::fromText(text); }

void TRHOAPIPacket::takeData(PacketBytes bytes) noexcept { m_data = std::move(bytes); }
