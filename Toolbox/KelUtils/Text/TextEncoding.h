#pragma once

/// Bytes as printable text.

#include "RHOAPI/RHOAPIExport.h"

#include <string>
#include <vector>

/// Replaces `out` by `data` in an alphabet of 64 symbols: 0-9, A-Z, a-z, underscore and full stop stand for 0 to 63.
/// The bits of the data, each byte from its least significant bit upwards, are taken six at a time, the first of the
/// six being the least significant; zeros fill up the last symbol. ceil(8n / 6) symbols for n bytes and no filler.
/// Neither in alphabet nor in bit order is this the published Base64. Throws std::bad_alloc or, for more symbols
/// than any std::string holds, std::length_error; both leave `out` as it was.
///   {0xFF} -> ".3", {'a', 'b', 'c'} -> "X9sO", {1, 2, 3} -> "18m0"
RHOAPI_EXPORT void KelEncodeBase64(std::vector<unsigned char> const& data, std::string& out);
