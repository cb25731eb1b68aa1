#pragma once

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RHOAPIOwnedPacket.h"
#include "RHOAPI/RHOAPIPacketBytes.h"
#include "RHOAPI/RHOAPIPacketInterface.h"

#include <cstddef>
#include <vector>

/// The module's packet bundle. Its destructor destroys the packets that it still holds.
class RHOAPI_EXPORT TPacketBundle : public IPacketBundle {
 public:
  /// Track, time and duration 0, time base 1000, no packets; descriptor from the text, or empty where null. Throws
  /// std::bad_alloc.
  explicit TPacketBundle(const char* desc);

  /// A deep copy of any bundle: every packet is cloned. Null packets and packets whose clone() is null are left out. An
  /// empty bundle when `source` is null. Throws std::bad_alloc.
  explicit TPacketBundle(const IPacketBundle* source);

  TPacketBundle(const TPacketBundle&) = delete;
  TPacketBundle& operator=(const TPacketBundle&) = delete;

  unsigned int getTrack() const override { return m_track; }
  unsigned long long getTime() const override { return m_time; }
  unsigned long long getTimeBase() const override { return m_timeBase; }
  unsigned long long getDuration() const override { return m_duration; }
  const unsigned char* getDescriptor() const override { return FirstOf(m_descriptor); }
  unsigned long getDescriptorSize() const override { return m_descriptor.size(); }
  IPacket* clone() const override { return new TPacketBundle(this); }
  void destroy() override { delete this; }

  void clear() override {
    m_packets.clear();
    m_first = 0;
  }
  unsigned long size() const override { return m_packets.size() - m_first; }
  IPacket* get(unsigned long index) const override {
    return index < size() ? m_packets[m_first + index].get() : nullptr;
  }
  IPacket* remove(unsigned long index) override { return index < size() ? take(index) : nullptr; }
  void append(IPacket* packet) override {
    if (packet != nullptr) {
      m_packets.emplace_back().reset(packet);
    }
  }
  IPacket* replace(unsigned long index, IPacket* packet) override {
    if (index >= size() || packet == nullptr) {
      return nullptr;
    }
    OwnedPacket& place = m_packets[m_first + index];
    IPacket* const previous = place.release();
    place.reset(packet);
    return previous;
  }

  /// Replaces the descriptor with the characters of `text` up to its terminating NUL. Null empties it. Throws
  /// std::bad_alloc and then changes nothing.
  void setDesc(const char* text);

 private:
  IPacket* take(unsigned long index);

  unsigned int m_track = 0;
  unsigned long long m_time = 0;
  unsigned long long m_timeBase = 1000;
  unsigned long long m_duration = 0;
  std::vector<unsigned char> m_descriptor;
  /// The places before m_first are empty: hosts remove packets from the front, which thus takes constant time however
  /// many packets follow.
  std::vector<OwnedPacket> m_packets;
  std::size_t m_first = 0;
};
