#pragma once

#include "Host/Audio/InputBytes.h"
#include "Host/Audio/Truncation.h"

#include <memory>

/// Whether the bytes are an Ogg stream (RFC 3533) whose first packet is that of FLAC (RFC 9639, section 10.1).
bool IsOggFlac(InputBytes& bytes);

/// Damage to the pages of an Ogg stream, as far as it has been read.
struct PageDamage {
  const char* first = nullptr;  ///< a clause
  bool lacksEnd = false;        ///< there was no page that is marked as the last one
};

/// Returns the native FLAC stream that an Ogg FLAC stream contains, as a stream of the same name. Pages of other
/// streams between its pages are left out, and so is what follows its last page.
///
/// Bytes that are not a page (a page whose checksum does not match is none), a missing page and a missing last page are
/// damage. Unless truncations are allowed, reading it throws Failure; where they are, it goes on behind the damage, and
/// `damage` tells. Another sound behind the first is a Failure in any case.
std::unique_ptr<InputBytes> ExtractFlac(std::unique_ptr<InputBytes> ogg, Truncation truncation,
                                        std::shared_ptr<PageDamage> damage);
