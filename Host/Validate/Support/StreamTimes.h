#pragma once

/// Where packets lie in time.

#include "Host/Validate/Support/StreamRun.h"

#include <cstdint>
#include <vector>

/// Sample frames in a packet of linear PCM. Fails the check for a payload of anything but whole ones.
std::uint64_t SampleFramesOf(const PacketRecord& packet, const StreamSetup& setup);

/// Fails the check unless the packets of linear PCM from one call, and what the output record says of them, continue
/// the stream at sample frame `position`, which moves on.
void ExpectContinues(const StreamCall& call, const StreamSetup& setup, std::uint64_t& position);

/// Fails the check unless packets, of whatever type, come in the order of their times, each where the one before it
/// ends if that states a duration.
void ExpectInOrder(const std::vector<PacketRecord>& packets, const StreamSetup& setup);
