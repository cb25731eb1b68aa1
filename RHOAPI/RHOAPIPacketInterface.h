#pragma once

/// Packets carry encoded media from a compressor to a host. Hosts use them only through the two interfaces in this
/// file; the module implements them with TRHOAPIPacket and TPacketBundle.
///
/// The order of the virtual operations is the ABI: hosts call by position. Nothing is inserted, moved or removed.
///
/// Packets are allocated inside the module, so their owner frees them with destroy(), never with delete. Nothing here
/// is synchronised; one thread at a time uses a packet or a bundle.

#include <algorithm>

/// One packet: a payload, bytes that describe it (the descriptor), and its time.
class IPacket {
 public:
  /// Kinds of payload. Hosts define more values; the module uses these.
  enum TPacketType : unsigned int {
    kPacketTypeNone = 0,        ///< no type chosen
    kPacketTypeLinearPCM = 24,  ///< interleaved linear PCM sample frames
    kPacketTypeBundle = 28,     ///< the packet is an IPacketBundle
  };

  /// The kind of payload.
  virtual TPacketType getType() const = 0;
  /// The number of the track that the packet belongs to.
  virtual unsigned int getTrack() const = 0;
  /// Time stamp, in ticks of the time base.
  virtual unsigned long long getTime() const = 0;
  /// Ticks per second.
  virtual unsigned long long getTimeBase() const = 0;
  /// Duration, in ticks of the time base; 0 where the producer states none.
  virtual unsigned long long getDuration() const = 0;
  /// First descriptor byte, or null when the descriptor is empty. The bytes belong to the packet.
  virtual const unsigned char* getDescriptor() const = 0;
  /// The number of descriptor bytes.
  virtual unsigned long getDescriptorSize() const = 0;
  /// First payload byte, or null when the payload is empty. The bytes belong to the packet.
  virtual const unsigned char* getData() const = 0;
  /// The number of payload bytes.
  virtual unsigned long getDataSize() const = 0;
  /// A deep copy that shares nothing with this packet; the caller owns it. Throws std::bad_alloc.
  virtual IPacket* clone() const = 0;
  /// Deletes the packet.
  virtual void destroy() = 0;
  virtual ~IPacket() = default;

 protected:
  IPacket() = default;
  IPacket(const IPacket&) = default;
  IPacket& operator=(const IPacket&) = default;
};

/// A packet of type 28 that owns a list of packets and has no payload of its own.
class IPacketBundle : public IPacket {
 public:
  /// kPacketTypeBundle.
  TPacketType getType() const override { return kPacketTypeBundle; }
  const unsigned char* getData() const override { return nullptr; }
  /// 0: the payload is empty.
  unsigned long getDataSize() const override { return 0; }

  /// Destroys every packet in the list and empties it.
  virtual void clear() = 0;
  /// The number of packets in the list.
  virtual unsigned long size() const = 0;
  /// The packet at `index`, still owned by the bundle; null when `index` is not below size().
  virtual IPacket* get(unsigned long index) const = 0;
  /// Removes the packet at `index` from the list and returns it; the packets behind it move up by one. The caller owns
  /// it. Null, and no change, when `index` is not below size().
  virtual IPacket* remove(unsigned long index) = 0;
  /// Adds `packet` at the end and takes ownership of it. Null is ignored. Throws std::bad_alloc; the caller then still
  /// owns the packet.
  virtual void append(IPacket* packet) = 0;
  /// Puts `packet` at `index` and returns the packet that stood there, which the caller now owns. Null, and no change,
  /// when `index` is not below size() or `packet` is null.
  virtual IPacket* replace(unsigned long index, IPacket* packet) = 0;
};

/// Appends `value` to `list` unless the list contains it. `List` is a sequence with back(), forward iteration and
/// push_back(). The last element is compared first, so adding the value that was added last costs one comparison.
///
///   std::list<IPacket::TPacketType> types{a, b};
///   add_if_not_already_there(types, a);  // a, b
///   add_if_not_already_there(types, c);  // a, b, c
template <class List, class Value>
void add_if_not_already_there(List& list, const Value& value) {
  if (!list.empty() && list.back() == value) {
    return;
  }
  if (std::find(list.begin(), list.end(), value) == list.end()) {
    list.push_back(value);
  }
}
