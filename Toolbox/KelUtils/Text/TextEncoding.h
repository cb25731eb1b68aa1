#pragma once

/// Bytes as printable text.

#include "RHOAPI/RHOAPIExport.h"

#include <string>
#include <vector>

/// Encodes `data` in an alphabet of 64 symbols and replaces `out` by the result: 0-9, A-Z, a-z, underscore and full
/// stop stand for 0 to 63. The bits of the data, each byte from its least significant bit upward, are encoded six at a
/// time, the first of the six as the least significant; the last symbol is filled up with zeros. n bytes give ceil(8n /
/// 6) symbols, without padding. This is not the Base64 of RFC 4648: alphabet and bit order differ. Throws
/// std::bad_alloc, or std::length_error for more symbols than any std::string holds; `out` is then unchanged.
///   {0xFF} -> ".3", {'a', 'b', 'c'} -> "X9sO", {1, 2, 3} -> "18m0"
RHOAPI_EXPORT void KelEncodeBase64(std::vector<unsigned char> const& data, std::string& out);
