#pragma once

/// Cyclic redundancy checks of 8 and 16 bits, most significant bit first, without reflection or final XOR, and a
/// generator of lookup tables as source text. The caller passes the initial value: a check over several buffers passes
/// each result to the next call. The time does not depend on the data.

#include "RHOAPI/RHOAPIExport.h"

/// The check of the polynomial 0xD5 over `length` bytes; with the initial value 0 it is CRC-8/DVB-S2. `crc` is 0 to
/// 255; of a larger one only the low byte counts. Returns `crc` itself when `length` is not positive or `data` is null.
///   Calc8BitCRC over "123456789": 0xBC from 0, 0x7C from 0xFF
RHOAPI_EXPORT unsigned short Calc8BitCRC(unsigned char* data, int length, unsigned short crc);

/// The check of the polynomial 0x1021 over `length` bytes: CRC-16/CCITT-FALSE from 0xFFFF, CRC-16/XMODEM from 0.
/// Returns `crc` itself when `length` is not positive or `data` is null.
///   Calc16BitCRC over "123456789": 0x29B1 from 0xFFFF, 0x31C3 from 0
RHOAPI_EXPORT unsigned short Calc16BitCRC(unsigned char* data, int length, unsigned short crc);

/// Calc16BitCRC over the low bytes of `height` rows of `width` samples, row by row. Rows start `stride` samples apart.
/// Returns `crc` itself when there are no samples or `samples` is null.
RHOAPI_EXPORT unsigned short Calc16BitCRCShort(short* samples, int width, int height, int stride, unsigned short crc);

/// Writes the file `path`: a C array of 256 numbers, the remainders of each byte shifted through `polynomial` in the
/// high byte of a 16-bit register, each reduced to its low `width` (1 to 31) bits; of other widths the low five bits
/// count, so 32 leaves no bits. Polynomial 0x1021 and width 16 give Calc16BitCRC's table; the high bytes of 0xD500 and
/// 16 are that of Calc8BitCRC. 0 when written, 1 when the file cannot be opened; later failures are ignored.
RHOAPI_EXPORT unsigned int CreateCRCTab(unsigned int polynomial, char* path, unsigned int width);
