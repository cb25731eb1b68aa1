#pragma once

#include "RHOAPI/RHOAPIPacketInterface.h"

#include <memory>

/// Frees a packet through its interface, as every owner of a packet must.
struct PacketDestroyer {
  void operator()(IPacket* packet) const { packet->destroy(); }  ///< destroys it
};

/// A packet or a bundle with its owner.
using OwnedPacket = std::unique_ptr<IPacket, PacketDestroyer>;
