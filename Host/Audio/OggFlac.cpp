#include "Host/Audio/OggFlac.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>
#include <ogg/ogg.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kFirstPacket =
    "\x7F"
    "FLAC";
/// Bytes of the first packet before the native stream: kFirstPacket, a version of two bytes, a count of two.
constexpr std::size_t kPrefix = kFirstPacket.size() + 4;

/// The bodies of a stream's pages are its packets one after another, and these are the native stream.
class PageReader {
 public:
  PageReader(std::unique_ptr<InputBytes> ogg, Truncation truncation, std::shared_ptr<PageDamage> damage)
      : m_ogg(std::move(ogg)), m_truncation(truncation), m_damage(std::move(damage)) {
    m_ogg->StopKeeping();
    ogg_sync_init(&m_sync);
  }
  PageReader(const PageReader&) = delete;
  PageReader& operator=(const PageReader&) = delete;
  ~PageReader() { ogg_sync_clear(&m_sync); }

  /// Reads like read(2), but fewer bytes than `size` only at the end.
  std::size_t Read(unsigned char* to, std::size_t size) {
    std::size_t done = 0;
    while (done < size && (!m_body.empty() || NextBody())) {
      const std::span<const unsigned char> part = m_body.first(std::min(m_body.size(), size - done));
      std::copy(part.begin(), part.end(), to + done);
      m_body = m_body.subspan(part.size());
      done += part.size();
    }
    return done;
  }

 private:
  /// Goes to the next page of the stream with bytes for the reader. Returns false at the end.
  bool NextBody() {
    ogg_page page{};
    while (NextPage(page)) {
      const int stream = ogg_page_serialno(&page);
      if (m_hasEnded && ogg_page_bos(&page) != 0) {
        throw Failure(m_ogg->Name() + ": holds several sounds one after another: split it first");
      }
      if (m_hasEnded || m_stream.value_or(stream) != stream) {
        continue;
      }
      m_stream = stream;
      if (ogg_page_pageno(&page) != m_nextNumber) {
        NoteDamage("a page is missing");
      }
      m_nextNumber = ogg_page_pageno(&page) + 1;
      m_hasEnded = ogg_page_eos(&page) != 0;
      m_body = {page.body, static_cast<std::size_t>(page.body_len)};
      m_body = m_body.subspan(std::min(m_body.size(), std::exchange(m_prefix, 0)));
      if (!m_body.empty()) {
        return true;
      }
    }
    return false;
  }

  /// Finds the next page of any stream. It is valid until the next call. Returns false at the end of the bytes.
  bool NextPage(ogg_page& page) {
    constexpr long kPiece = 16384;
    constexpr std::uint64_t kLongestSearch = std::uint64_t{64} << 20;
    for (;;) {
      const int found = ogg_sync_pageout(&m_sync, &page);
      if (found > 0) {
        m_lastPage = m_position;
        return true;
      }
      if (found < 0) {
        NoteDamage("bytes are not a page of Ogg");
        continue;
      }
      char* const piece = ogg_sync_buffer(&m_sync, kPiece);
      if (piece == nullptr) {
        throw std::bad_alloc();
      }
      const std::size_t size = m_position - m_lastPage > kLongestSearch ? 0 : m_ogg->ReadAt(m_position, piece, kPiece);
      if (size == 0) {
        m_damage->lacksEnd = !m_hasEnded;
        if (m_damage->lacksEnd && m_truncation == Truncation::kRefused) {
          throw Failure(m_ogg->Name() + ": is incomplete: the Ogg stream has no last page");
        }
        return false;
      }
      ogg_sync_wrote(&m_sync, static_cast<long>(size));
      m_position += size;
    }
  }

  /// Bytes behind the last page do not matter.
  void NoteDamage(const char* damage) {
    if (m_hasEnded || m_damage->first != nullptr) {
      return;
    }
    m_damage->first = damage;
    if (m_truncation == Truncation::kRefused) {
      throw Failure(fmt::format("{}: is damaged before byte {}: {}", m_ogg->Name(), m_position, damage));
    }
  }

  std::unique_ptr<InputBytes> m_ogg;
  Truncation m_truncation;
  std::shared_ptr<PageDamage> m_damage;
  ogg_sync_state m_sync{};
  std::uint64_t m_position = 0;           ///< of the next byte to be read
  std::uint64_t m_lastPage = 0;           ///< the position at which the last page was found
  std::optional<int> m_stream;            ///< serial number of the FLAC stream
  long m_nextNumber = 0;                  ///< of the next page
  bool m_hasEnded = false;                ///< the last page was found
  std::size_t m_prefix = kPrefix;         ///< bytes that are still to be skipped
  std::span<const unsigned char> m_body;  ///< of the current page, as far as it has not been read; in m_sync
};

}  // namespace

bool IsOggFlac(InputBytes& bytes) {
  // The header of a page is 27 bytes, the last of which is the number of segments, and one byte for each segment.
  constexpr std::size_t kHeader = 27;
  std::array<char, kHeader> page{};
  if (bytes.ReadAt(0, page.data(), page.size()) != page.size() ||
      !std::string_view(page.data(), page.size()).starts_with("OggS")) {
    return false;
  }
  std::array<char, kFirstPacket.size()> packet{};
  const std::size_t start = kHeader + static_cast<unsigned char>(page.back());
  return bytes.ReadAt(start, packet.data(), packet.size()) == packet.size() &&
         std::string_view(packet.data(), packet.size()) == kFirstPacket;
}

std::unique_ptr<InputBytes> ExtractFlac(std::unique_ptr<InputBytes> ogg, Truncation truncation,
                                        std::shared_ptr<PageDamage> damage) {
  std::string name = ogg->Name();
  // Shared, since std::function copies what it holds.
  const auto reader = std::make_shared<PageReader>(std::move(ogg), truncation, std::move(damage));
  return std::make_unique<InputBytes>(std::move(name),
                                      [reader](unsigned char* to, std::size_t size) { return reader->Read(to, size); });
}
