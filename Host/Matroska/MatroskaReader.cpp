#include "Host/Matroska/MatroskaReader.h"

#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

#include <ebml/EbmlHead.h>
#include <ebml/EbmlSubHead.h>
#include <matroska/KaxBlockData.h>
#include <matroska/KaxCluster.h>
#include <matroska/KaxClusterData.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSegment.h>

using namespace libmatroska;

namespace {

constexpr std::uint64_t kLargestHead = 32 << 20;  // titles may be long
constexpr std::uint64_t kBlockHeads = 64;         // a BlockGroup without the bytes of the packet

/// The exception for a missing, unknown or incomplete element. `position` is in bytes from the beginning of the file.
DamagedMatroska InvalidElementAt(std::uint64_t position) {
  return DamagedMatroska{fmt::format("no valid Matroska element at byte {}", position)};
}

/// Throws unless `element` begins at `begin` and ends by `end`: libebml skips bytes that it does not understand until
/// it finds an element that it knows. A null element, one of unknown kind and one of unknown size are invalid too.
void CheckPosition(const EbmlElement* element, std::uint64_t begin, std::uint64_t end) {
  if (element == nullptr || element->GetElementPosition() != begin || element->IsDummy() || !element->IsFiniteSize() ||
      element->GetEndPosition() > end) {
    throw InvalidElementAt(begin);
  }
}

}  // namespace

MatroskaReader::MatroskaReader(OutputFile& file, std::size_t largestPacket, bool hasHelper)
    : m_size(file.Size()), m_largestBlock(largestPacket + kBlockHeads), m_io(file, hasHelper), m_stream(m_io) {
  OpenSegment();
  NextCluster();
  // Packets cannot be told apart and timed without these.
  if (m_tick == 0 || m_tracks.empty()) {
    throw DamagedMatroska("segment information and tracks do not precede the first packet");
  }
}

std::optional<MatroskaPacket> MatroskaReader::Next() {
  while (m_cluster != nullptr) {
    // m_block keeps the bytes of the returned packet alive until the next call.
    while ((m_block = NextChild(*m_cluster)) != nullptr) {
      ReadContent(*m_block, m_largestBlock);
      if (const auto* const time = dynamic_cast<KaxClusterTimecode*>(m_block.get())) {
        m_clusterTick = time->GetValue();
      } else if (auto* const block = dynamic_cast<KaxSimpleBlock*>(m_block.get())) {
        MatroskaPacket packet = PacketOf(*block);
        // A SimpleBlock has no duration of its own.
        packet.durationNanoseconds = m_tracks[packet.track].defaultDuration;
        return packet;
      } else if (auto* const group = dynamic_cast<KaxBlockGroup*>(m_block.get())) {
        return PacketOf(*group);
      }
    }
    NextCluster();
  }
  return std::nullopt;
}

/// Reads the EBML head and opens the segment, which must extend exactly to the end of the file.
void MatroskaReader::OpenSegment() {
  const Element head(m_stream.FindNextID(EBML_INFO(EbmlHead), m_size));
  CheckPosition(head.get(), 0, m_size);
  ReadContent(*head, kLargestHead);
  if (GetChild<EDocType>(static_cast<EbmlHead&>(*head)).GetValue() != "matroska") {
    throw DamagedMatroska("its document type is not Matroska");
  }
  const std::uint64_t begin = head->GetEndPosition();
  m_segment.reset(m_stream.FindNextID(EBML_INFO(KaxSegment), m_size));
  CheckPosition(m_segment.get(), begin, m_size);
  if (m_segment->GetEndPosition() != m_size) {
    throw DamagedMatroska(fmt::format("expected {} bytes in the file, found {}", m_segment->GetEndPosition(), m_size));
  }
}

/// Goes to the next cluster of the segment, or to none at its end. Reads information and tracks on the way.
void MatroskaReader::NextCluster() {
  Element child = NextChild(*m_segment);
  for (; child != nullptr && dynamic_cast<KaxCluster*>(child.get()) == nullptr; child = NextChild(*m_segment)) {
    if (auto* const info = dynamic_cast<KaxInfo*>(child.get())) {
      ReadContent(*info, kLargestHead);
      ReadInfo(*info);
    } else if (auto* const tracks = dynamic_cast<KaxTracks*>(child.get())) {
      ReadContent(*tracks, kLargestHead);
      ReadTracks(*tracks);
    } else {
      m_io.setFilePointer(static_cast<int64>(child->GetEndPosition()), seek_beginning);
    }
  }
  m_cluster = std::move(child);
}

/// Takes the tick and the duration from the segment information. An absent TimestampScale has its default, 1 ms.
void MatroskaReader::ReadInfo(KaxInfo& info) {
  m_tick = GetChild<KaxTimecodeScale>(info).GetValue();
  const auto* const duration = FindChild<KaxDuration>(info);
  m_nanoseconds = duration == nullptr ? 0 : duration->GetValue() * static_cast<double>(m_tick);
}

/// Takes the audio format of each track. Absent elements have the defaults of Matroska.
void MatroskaReader::ReadTracks(KaxTracks& tracks) {
  for (EbmlElement* const child : tracks) {
    if (auto* const entry = dynamic_cast<KaxTrackEntry*>(child)) {
      auto& audio = GetChild<KaxTrackAudio>(*entry);
      const auto* const duration = FindChild<KaxTrackDefaultDuration>(*entry);
      m_tracks.push_back({.number = GetChild<KaxTrackNumber>(*entry).GetValue(),
                          .codec = GetChild<KaxCodecID>(*entry).GetValue(),
                          .sampleRate = GetChild<KaxAudioSamplingFreq>(audio).GetValue(),
                          .channels = GetChild<KaxAudioChannels>(audio).GetValue(),
                          .bitsPerSample = GetChild<KaxAudioBitDepth>(audio).GetValue(),
                          .defaultDuration = duration == nullptr ? std::nullopt : std::optional(duration->GetValue())});
    }
  }
}

/// The packet of a BlockGroup, with the group's own duration if it states one.
MatroskaPacket MatroskaReader::PacketOf(KaxBlockGroup& group) const {
  auto* const block = FindChild<KaxBlock>(group);
  if (block == nullptr) {
    throw InvalidElementAt(group.GetElementPosition());
  }
  MatroskaPacket packet = PacketOf(*block);
  if (const auto* const duration = FindChild<KaxBlockDuration>(group)) {
    packet.durationNanoseconds = duration->GetValue() * m_tick;
  }
  return packet;
}

/// The packet of a block, without a duration. Lacing and unknown tracks are damage.
MatroskaPacket MatroskaReader::PacketOf(KaxInternalBlock& block) const {
  const auto track = std::find_if(m_tracks.begin(), m_tracks.end(),
                                  [&block](const MatroskaTrack& known) { return known.number == block.TrackNum(); });
  if (block.NumberFrames() != 1 || track == m_tracks.end()) {
    throw InvalidElementAt(block.GetElementPosition());
  }
  const DataBuffer& frame = block.GetBuffer(0);
  // A block's timestamp is relative to its cluster and signed; the sum is right modulo 2^64.
  const std::uint64_t tick = m_clusterTick + static_cast<std::uint64_t>(std::int64_t{block.GetRelativeTimestamp()});
  return {
      static_cast<std::size_t>(track - m_tracks.begin()), {frame.Buffer(), frame.Size()}, tick * m_tick, std::nullopt};
}

/// The child of `parent` that begins at the current position; null at the end of `parent`.
MatroskaReader::Element MatroskaReader::NextChild(const EbmlElement& parent) {
  const std::uint64_t begin = m_io.getFilePointer();
  const std::uint64_t end = parent.GetEndPosition();
  if (begin == end) {
    return nullptr;
  }
  int levelsUp = 0;
  Element child(m_stream.FindNextElement(EBML_CONTEXT(&parent), levelsUp, end - begin, true));
  CheckPosition(child.get(), begin, end);
  // The element found belongs to a level above `parent`, whose stated end it lies before.
  if (levelsUp > 0) {
    throw InvalidElementAt(begin);
  }
  return child;
}

/// Reads the whole content of an element of at most `largest` bytes.
void MatroskaReader::ReadContent(EbmlElement& element, std::uint64_t largest) {
  if (element.GetSize() > largest || !Parse(element) || m_io.getFilePointer() != element.GetEndPosition()) {
    throw InvalidElementAt(element.GetElementPosition());
  }
}

/// Returns false when libebml rejects the content or reads beyond it.
bool MatroskaReader::Parse(EbmlElement& element) {
  try {
    int levelsUp = 0;
    EbmlElement* beyond = nullptr;
    element.Read(m_stream, EBML_CONTEXT(&element), levelsUp, beyond, true);
    return Element(beyond) == nullptr;
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {  // libebml has no common base for its exceptions; UTF-8 decoding has its own
    return false;
  }
}
