#include "RHOAPI/RHOAPIPacketBundle.h"

#include <utility>

TPacketBundle::TPacketBundle(const char* desc) : m_descriptor(BytesOf(desc)) {}

TPacketBundle::TPacketBundle(const IPacketBundle* source) {
  if (source == nullptr) {
    return;
  }
  m_track = source->getTrack();
  m_time = source->getTime();
  m_timeBase = source->getTimeBase();
  m_duration = source->getDuration();
  m_descriptor = BytesAt(source->getDescriptor(), source->getDescriptorSize());
  const unsigned long size = source->size();
  // The bundle may be the host's own: get() and clone() may return null.
  m_packets.reserve(size);
  for (unsigned long index = 0; index < size; ++index) {
    const IPacket* const packet = source->get(index);
    OwnedPacket copy(packet == nullptr ? nullptr : packet->clone());
    if (copy != nullptr) {
      m_packets.push_back(std::move(copy));
    }
  }
}

void TPacketBundle::setDesc(const char* text) { m_descriptor = BytesOf(text); }

IPacket* TPacketBundle::take(unsigned long index) {
  // `index` is valid: remove() has checked it.
  const auto taken = m_packets.begin() + static_cast<std::ptrdiff_t>(m_first + index);
  IPacket* const packet = taken->release();
  if (index != 0) {
    m_packets.erase(taken);
  } else if (++m_first > m_packets.size() / 2) {
    // Erase the empty places when they are the majority, so that at most one packet moves per packet removed.
    m_packets.erase(m_packets.begin(), m_packets.begin() + static_cast<std::ptrdiff_t>(m_first));
    m_first = 0;
  }
  return packet;
}
