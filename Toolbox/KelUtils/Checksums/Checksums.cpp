#include "Toolbox/KelUtils/Checksums/Checksums.h"

#include "Toolbox/KelUtils/Checksums/Internal/CarrylessRemainder.h"
#include "Toolbox/KelUtils/Checksums/Internal/CyclicRemainder.h"
#include "Toolbox/KelUtils/Files/Internal/OpenStream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace {

/// x^16 + x^12 + x^5 + 1, written without its x^16: the polynomial of CRC-16/CCITT.
constexpr std::uint16_t kPolynomial16 = 0x1021;
/// x^8 + x^7 + x^6 + x^4 + x^2 + 1 (CRC-8/DVB-S2) times x^8, the form that CyclicRemainder needs for 8 bits.
constexpr std::uint16_t kPolynomial8 = 0xD5 << 8;

/// The fastest method of this processor; one without `update` when the processor has neither. Chosen by the first call,
/// not when the module is loaded: few hosts compute checksums, and each question to the processor traps in a virtual
/// machine.
const CarrylessMethod& FastestMethod() {
  static const CarrylessMethod method = [] {
    const auto methods = FindCarrylessMethods();
    return methods[0].update != nullptr ? methods[0] : methods[1];
  }();
  return method;
}

/// The remainder after `size` more bytes, by the chosen method.
template <std::uint16_t Polynomial>
std::uint16_t Update(std::uint16_t remainder, const unsigned char* data, std::size_t size) {
  return UpdateByMethod<Polynomial>(FastestMethod(), remainder, data, size);
}

/// The remainder after the low byte of each of `count` samples. Collects them in a buffer, since Update needs bytes
/// that follow each other.
std::uint16_t UpdateWithLowBytes(std::uint16_t remainder, const short* samples, std::size_t count) {
  unsigned char bytes[2048];
  while (count != 0) {
    const std::size_t part = std::min(count, std::size(bytes));
    std::transform(samples, samples + part, bytes,
                   [](short sample) { return static_cast<unsigned char>(sample & 0xFF); });
    remainder = Update<kPolynomial16>(remainder, bytes, part);
    samples += part;
    count -= part;
  }
  return remainder;
}

/// The remainder of `byte` in the high byte of a 16-bit register, bit by bit. Bits above 16 remain for the caller to
/// mask: `polynomial` may have more than 16 bits.
unsigned int TableEntry(unsigned int byte, unsigned int polynomial) {
  unsigned int data = byte << 8;
  unsigned int entry = 0;
  for (int bit = 0; bit < 8; ++bit) {
    entry = ((data ^ entry) & 0x8000U) != 0 ? entry << 1 ^ polynomial : entry << 1;
    data <<= 1;
  }
  return entry;
}

}  // namespace

unsigned short Calc8BitCRC(unsigned char* data, int length, unsigned short crc) {
  if (data == nullptr || length <= 0) {
    return crc;
  }
  // The remainder of 8 bits is in the high byte; the conversion drops all but the low byte of `crc`.
  const auto remainder = static_cast<std::uint16_t>(crc << 8);
  return Update<kPolynomial8>(remainder, data, static_cast<std::size_t>(length)) >> 8;
}

unsigned short Calc16BitCRC(unsigned char* data, int length, unsigned short crc) {
  if (data == nullptr || length <= 0) {
    return crc;
  }
  return Update<kPolynomial16>(crc, data, static_cast<std::size_t>(length));
}

unsigned short Calc16BitCRCShort(short* samples, int width, int height, int stride, unsigned short crc) {
  if (samples == nullptr || width <= 0) {
    return crc;
  }
  for (int row = 0; row < height; ++row) {
    crc = UpdateWithLowBytes(crc, samples + std::ptrdiff_t{stride} * row, static_cast<std::size_t>(width));
  }
  return crc;
}

unsigned int CreateCRCTab(unsigned int polynomial, char* path, unsigned int width) {
  const OwnedStream file = OpenStream(path, "wt");
  if (file == nullptr) {
    return 1;
  }
  // `% 32` keeps the shift below 32 bits, where it is defined.
  const unsigned int mask = (1U << width % 32) - 1;
  std::fputs("unsigned int pnCRCTab[256] = {\n\t", file.get());
  for (unsigned int byte = 0; byte < 256; ++byte) {
    if (byte != 0 && byte % 8 == 0) {
      std::fputs("\n\t", file.get());
    }
    std::fprintf(file.get(), "0x%04X,  ", TableEntry(byte, polynomial) & mask);
  }
  std::fputs("\n};\n", file.get());
  return 0;
}
