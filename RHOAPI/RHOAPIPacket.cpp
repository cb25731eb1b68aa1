#include "RHOAPI/RHOAPIPacket.h"

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
  // Memory of its own for both, even where the source holds its payload behind itself.
  m_descriptor = BytesAt(source->getDescriptor(), source->getDescriptorSize());
  m_data = BytesAt(source->getData(), source->getDataSize());
}

void TRHOAPIPacket::setData(const char* text) {
  m_data = BytesOf(text);
  // After the copy, which may throw: the old payload then stays, wherever it is.
  m_sizeBehind = 0;
}

void TRHOAPIPacket::setDesc(const char* text) { m_descriptor = BytesOf(text); }
