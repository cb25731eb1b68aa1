#include "RHOAPI/RHOAPIPacketBundle.h"

TPacketBundle::TPacketBundle(const char* desc) : m_descriptor(PacketBytes::fromText(desc)) {}

TPacketBundle::TPacketBundle(const IPacketBundle* source) {
  if (source == nullptr) {
    return;
  }
  m_track = source->getTrack();
  m_time = source->getTime();
  m_timeBase = source->getTimeBase();
  m_duration = source->getDuration();
  m_descriptor = PacketBytes(source->getDescriptor(), source->getDescriptorSize());
  m_packets.reserve(source->size());
  for (unsigned long index = 0; index < source->size(); ++index) {
    m_packets.emplace_back(source->get(index)->clone());
  }
}

void TPacketBundle::setDesc(const char* text) { m_descriptor = PacketBytes::fromText(text); }
