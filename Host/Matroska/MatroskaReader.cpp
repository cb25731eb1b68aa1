#include "Host/Matroska/MatroskaReader.h"

#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <ebml/EbmlHead.h>
#include <ebml/EbmlStream.h>
#include <ebml/EbmlSubHead.h>
#include <ebml/IOCallback.h>
#include <matroska/KaxBlock.h>
#include <matroska/KaxBlockData.h>
#include <matroska/KaxCluster.h>
#include <matroska/KaxClusterData.h>
#include <matroska/KaxInfo.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSegment.h>
#include <matroska/KaxTracks.h>

using namespace libmatroska;

namespace {

constexpr std::size_t kBufferSize = 256 * std::size_t{1024};
constexpr std::uint64_t kLargestHead = 32 << 20;  // titles may be long
constexpr std::uint64_t kBlockHeads = 64;         // what a BlockGroup has beside the packet's bytes

DamagedMatroska NoElementAt(std::uint64_t position) {
  return DamagedMatroska{"no whole Matroska element at byte " + std::to_string(position)};
}

class ReadingCallback final : public IOCallback {
 public:
  explicit ReadingCallback(const OutputFile& file) : m_file(file), m_buffer(kBufferSize) {}

  uint32 read(void* buffer, size_t size) override {
    auto* target = static_cast<unsigned char*>(buffer);
    std::size_t done = 0;
    while (done < size && Fill()) {
      const std::size_t offset = m_position - m_bufferPosition;
      const std::size_t taken = std::min(size - done, m_buffered - offset);
      std::memcpy(target + done, m_buffer.data() + offset, taken);
      done += taken;
      m_position += taken;
    }
    return static_cast<uint32>(done);
  }

  void setFilePointer(int64 offset, seek_mode mode) override {
    const std::uint64_t base = mode == seek_current ? m_position : mode == seek_end ? m_file.Size() : 0;
    m_position = base + static_cast<std::uint64_t>(offset);
  }

  size_t write(const void* /*bytes*/, size_t /*size*/) override { return 0; }

  uint64 getFilePointer() override { return m_position; }

  void close() override {}

 private:
  // Sees to it that the byte at the position is in the buffer; false at the end of the file.
  bool Fill() {
    if (m_position < m_bufferPosition || m_position - m_bufferPosition >= m_buffered) {
      m_buffered = m_file.ReadAt(m_position, m_buffer.data(), m_buffer.size());
      m_bufferPosition = m_position;
    }
    return m_buffered != 0;
  }

  const OutputFile& m_file;
  std::vector<unsigned char> m_buffer;
  std::size_t m_buffered = 0;
  std::uint64_t m_bufferPosition = 0;
  std::uint64_t m_position = 0;
};

}  // namespace

class MatroskaReader::Demuxer {
 public:
  Demuxer(const OutputFile& file, std::size_t largestPacket)
      : m_size(file.Size()), m_largestBlock(largestPacket + kBlockHeads), m_input(file), m_stream(m_input) {
    OpenSegment();
    ReadHeads();
  }

  const MatroskaTrack& Track() const { return m_track; }

  std::optional<MatroskaPacket> Next() {
    while (m_cluster != nullptr) {
      while ((m_block = NextChild(*m_cluster)) != nullptr) {
        Read(*m_block, m_largestBlock);
        if (const auto* const time = dynamic_cast<KaxClusterTimecode*>(m_block.get())) {
          m_clusterTick = time->GetValue();
        } else if (auto* const block = dynamic_cast<KaxSimpleBlock*>(m_block.get())) {
          MatroskaPacket packet = Packet(*block);
          packet.durationNanoseconds = m_defaultDuration;
          return packet;
        } else if (auto* const group = dynamic_cast<KaxBlockGroup*>(m_block.get())) {
          return Packet(*group);
        }
      }
      NextCluster();
    }
    return std::nullopt;
  }

 private:
  using Element = std::unique_ptr<EbmlElement>;

  void OpenSegment() {
    const Element head(m_stream.FindNextID(EBML_INFO(EbmlHead), m_size));
    CheckPlace(head.get(), 0, m_size);
    Read(*head, kLargestHead);
    if (GetChild<EDocType>(static_cast<EbmlHead&>(*head)).GetValue() != "matroska") {
      throw DamagedMatroska("not called a Matroska file");
    }
    const std::uint64_t begin = head->GetEndPosition();
    m_segment.reset(m_stream.FindNextID(EBML_INFO(KaxSegment), m_size));
    CheckPlace(m_segment.get(), begin, m_size);
    if (m_segment->GetEndPosition() != m_size) {
      throw DamagedMatroska("the file has " + std::to_string(m_size) + " bytes, not " +
                            std::to_string(m_segment->GetEndPosition()));
    }
  }

  void ReadHeads() {
    NextCluster();
    if (m_tick == 0 || m_track.codec.empty()) {
      throw DamagedMatroska("information and track do not stand before the first packet");
    }
  }

  // Goes to the next cluster in the segment, past all else; to none at the end.
  void NextCluster() {
    Element child = NextChild(*m_segment);
    for (; child != nullptr && dynamic_cast<KaxCluster*>(child.get()) == nullptr; child = NextChild(*m_segment)) {
      if (auto* const info = dynamic_cast<KaxInfo*>(child.get())) {
        Read(*info, kLargestHead);
        TakeInfo(*info);
      } else if (auto* const tracks = dynamic_cast<KaxTracks*>(child.get())) {
        Read(*tracks, kLargestHead);
        TakeTrack(*tracks);
      } else {
        m_input.setFilePointer(static_cast<int64>(child->GetEndPosition()), seek_beginning);
      }
    }
    m_cluster = std::move(child);
  }

  void TakeInfo(KaxInfo& info) {
    m_tick = GetChild<KaxTimecodeScale>(info).GetValue();
    const auto* const duration = FindChild<KaxDuration>(info);
    m_track.nanoseconds = duration == nullptr ? 0 : duration->GetValue() * static_cast<double>(m_tick);
  }

  void TakeTrack(KaxTracks& tracks) {
    if (tracks.ListSize() != 1) {
      throw DamagedMatroska(std::to_string(tracks.ListSize()) + " tracks");
    }
    auto& entry = GetChild<KaxTrackEntry>(tracks);
    auto& audio = GetChild<KaxTrackAudio>(entry);
    m_trackNumber = GetChild<KaxTrackNumber>(entry).GetValue();
    if (const auto* const duration = FindChild<KaxTrackDefaultDuration>(entry)) {
      m_defaultDuration = duration->GetValue();
    }
    m_track.codec = GetChild<KaxCodecID>(entry).GetValue();
    m_track.sampleRate = GetChild<KaxAudioSamplingFreq>(audio).GetValue();
    m_track.channels = GetChild<KaxAudioChannels>(audio).GetValue();
    m_track.bitsPerSample = GetChild<KaxAudioBitDepth>(audio).GetValue();
  }

  MatroskaPacket Packet(KaxBlockGroup& group) const {
    auto* const block = FindChild<KaxBlock>(group);
    if (block == nullptr) {
      throw NoElementAt(group.GetElementPosition());
    }
    MatroskaPacket packet = Packet(*block);
    if (const auto* const duration = FindChild<KaxBlockDuration>(group)) {
      packet.durationNanoseconds = duration->GetValue() * m_tick;
    }
    return packet;
  }

  MatroskaPacket Packet(KaxInternalBlock& block) const {
    if (block.NumberFrames() != 1 || block.TrackNum() != m_trackNumber) {
      throw NoElementAt(block.GetElementPosition());
    }
    const DataBuffer& frame = block.GetBuffer(0);
    const std::uint64_t tick = m_clusterTick + static_cast<std::uint64_t>(std::int64_t{block.GetRelativeTimestamp()});
    return {{frame.Buffer(), frame.Size()}, tick * m_tick, std::nullopt};
  }

  // What begins where `parent` is read; null at its end. The library would look on for something that it knows.
  Element NextChild(const EbmlElement& parent) {
    const std::uint64_t begin = m_input.getFilePointer();
    const std::uint64_t end = parent.GetEndPosition();
    if (begin == end) {
      return nullptr;
    }
    int levelsUp = 0;
    Element child(m_stream.FindNextElement(EBML_CONTEXT(&parent), levelsUp, end - begin, true));
    CheckPlace(child.get(), begin, end);
    if (levelsUp > 0) {
      throw NoElementAt(begin);
    }
    return child;
  }

  // Whether that has been found which stands at `begin`, and ends by `end`.
  static void CheckPlace(const EbmlElement* element, std::uint64_t begin, std::uint64_t end) {
    if (element == nullptr || element->GetElementPosition() != begin || element->IsDummy() ||
        !element->IsFiniteSize() || element->GetEndPosition() > end) {
      throw NoElementAt(begin);
    }
  }

  // Reads the whole of an element, of `largest` bytes at most.
  void Read(EbmlElement& element, std::uint64_t largest) {
    if (element.GetSize() > largest || !Parse(element) || m_input.getFilePointer() != element.GetEndPosition()) {
      throw NoElementAt(element.GetElementPosition());
    }
  }

  // Whether the library can make something of an element's bytes, and does not look beyond them.
  bool Parse(EbmlElement& element) {
    try {
      int levelsUp = 0;
      EbmlElement* beyond = nullptr;
      element.Read(m_stream, EBML_CONTEXT(&element), levelsUp, beyond, true);
      return Element(beyond) == nullptr;
    } catch (const Failure&) {
      throw;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {  // from parts of the library, such as the one for UTF-8
      return false;
    }
  }

  std::uint64_t m_size;
  std::uint64_t m_largestBlock;
  ReadingCallback m_input;
  EbmlStream m_stream;
  Element m_segment;
  Element m_cluster;
  Element m_block;
  MatroskaTrack m_track;
  std::uint64_t m_trackNumber = 0;
  std::optional<std::uint64_t> m_defaultDuration;  // of a SimpleBlock, in nanoseconds
  std::uint64_t m_tick = 0;                        // in nanoseconds
  std::uint64_t m_clusterTick = 0;
};

MatroskaReader::MatroskaReader(const OutputFile& file, std::size_t largestPacket)
    : m_demuxer(std::make_unique<Demuxer>(file, largestPacket)) {}

MatroskaReader::~MatroskaReader() = default;

const MatroskaTrack& MatroskaReader::Track() const { return m_demuxer->Track(); }

std::optional<MatroskaPacket> MatroskaReader::Next() { return m_demuxer->Next(); }
