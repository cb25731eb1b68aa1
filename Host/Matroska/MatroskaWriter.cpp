#include "Host/Matroska/MatroskaWriter.h"

#include "Host/Matroska/MatroskaClock.h"
#include "Host/Text/Errors.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <ebml/EbmlHead.h>
#include <ebml/EbmlSubHead.h>
#include <ebml/EbmlVersion.h>
#include <ebml/EbmlVoid.h>
#include <ebml/IOCallback.h>
#include <matroska/KaxBlock.h>
#include <matroska/KaxBlockData.h>
#include <matroska/KaxCluster.h>
#include <matroska/KaxClusterData.h>
#include <matroska/KaxCues.h>
#include <matroska/KaxCuesData.h>
#include <matroska/KaxInfo.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSeekHead.h>
#include <matroska/KaxSegment.h>
#include <matroska/KaxTag.h>
#include <matroska/KaxTags.h>
#include <matroska/KaxTracks.h>
#include <matroska/KaxVersion.h>

using namespace libmatroska;

namespace {

constexpr unsigned int kTrackNumber = 1;
constexpr unsigned int kTargetIsTrack = 30;  // what a tag speaks of: a piece of music, rather than an album
constexpr std::uint64_t kUnknownSize = (std::uint64_t{1} << 56U) - 1;  // all ones in an eight-byte size
constexpr std::uint64_t kSeekHeadSpace = 120;                          // four entries of at most 21 bytes, and heads
constexpr std::size_t kMostCues = 262'144;

class FileCallback final : public IOCallback {
 public:
  explicit FileCallback(OutputFile& file) : m_file(file) {}

  uint32 read(void* /*buffer*/, size_t /*size*/) override { return 0; }

  void setFilePointer(int64 offset, seek_mode mode) override {
    const std::uint64_t base = mode == seek_current ? m_position : mode == seek_end ? m_file.Size() : 0;
    m_position = base + static_cast<std::uint64_t>(offset);
  }

  size_t write(const void* bytes, size_t size) override {
    if (m_position == m_file.Size()) {
      m_file.Write(bytes, size);
    } else {
      m_file.WriteAt(m_position, bytes, size);
    }
    m_position += size;
    return size;
  }

  uint64 getFilePointer() override { return m_position; }

  void close() override {}

 private:
  OutputFile& m_file;
  std::uint64_t m_position = 0;
};

// A master element whose head is written before its children exist, each of which then is rendered by itself. Its size
// reads as unknown unless Close comes back to it.
template <class Master>
class OpenMaster final : public Master {
 public:
  void Open(IOCallback& output) { this->WriteHead(output, 8); }

  void Close(IOCallback& output) {
    this->SetSize_(output.getFilePointer() - this->GetDataStart());
    this->OverwriteHead(output, true);
  }

  filepos_t UpdateSize(bool /*withDefault*/, bool /*forceRender*/) override {
    this->SetSize_(kUnknownSize);
    return kUnknownSize;
  }
};

template <class Element, class Value>
Element& Set(EbmlMaster& parent, Value value) {
  auto& element = GetChild<Element>(parent);
  element.SetValue(value);
  return element;
}

// The same for an element that has to be in the file even where its value is the default.
template <class Element, class Value>
void SetAlways(EbmlMaster& parent, Value value) {
  Set<Element>(parent, value).ForceNoDefault();
}

template <class Element>
void SetText(EbmlMaster& parent, const std::string& text) {
  GetChild<Element>(parent).SetValueUTF8(text);
}

void CheckDescription(const MatroskaDescription& description) {
  if (description.sampleRate == 0 || description.sampleRate > 1'000'000'000 || description.channels == 0 ||
      description.sampleFramesPerPacket == 0 ||
      (description.bitsPerSample != 16 && description.bitsPerSample != 24 && description.bitsPerSample != 32)) {
    throw Failure("a Matroska file cannot hold linear PCM with " + std::to_string(description.sampleRate) + " Hz, " +
                  std::to_string(description.channels) + " channels, " + std::to_string(description.bitsPerSample) +
                  " bits and " + std::to_string(description.sampleFramesPerPacket) + " sample frames a packet");
  }
}

}  // namespace

class MatroskaWriter::Muxer {
 public:
  Muxer(OutputFile& file, const MatroskaDescription& description)
      : m_file(file),
        m_output(file),
        m_clock(description.sampleRate),
        m_clusterTicks(
            std::min<std::uint64_t>(std::numeric_limits<int16>::max(), 500'000'000 / m_clock.TickNanoseconds())),
        m_simpleSampleFrames(SimpleSampleFrames(description.sampleFramesPerPacket)),
        m_trackEntry(GetChild<KaxTrackEntry>(m_tracks)) {
    WriteEbmlHead();
    m_segment.Open(m_output);
    if (m_file.IsSeekable()) {
      m_space.SetSize(kSeekHeadSpace);
      m_space.Render(m_output);
    }
    WriteInfo(description);
    WriteTracks(description);
    WriteTags(description.tags);
  }

  void WritePacket(const unsigned char* bytes, std::size_t size, std::uint64_t time, std::uint64_t sampleFrames) {
    const std::uint64_t tick = m_clock.Ticks(time);
    if (m_cluster == nullptr || tick - m_clusterTick >= m_clusterTicks) {
      EndCluster();
      BeginCluster(tick);
      if (m_file.IsSeekable()) {
        AddCue({tick, m_segment.GetRelativePosition(*m_cluster)});
      }
    }
    // The block owns the buffer's record, not the bytes.
    auto frame = std::make_unique<DataBuffer>(const_cast<binary*>(bytes), static_cast<uint32>(size));
    const std::uint64_t nanoseconds = tick * m_clock.TickNanoseconds();
    if (sampleFrames == m_simpleSampleFrames) {
      KaxSimpleBlock block;
      block.SetParent(*m_cluster);
      block.AddFrame(m_trackEntry, nanoseconds, *frame.release(), LACING_NONE);
      block.Render(m_output);
    } else {
      KaxBlockGroup group;
      group.SetParent(*m_cluster);
      group.AddFrame(m_trackEntry, nanoseconds, *frame.release(), LACING_NONE);
      Set<KaxBlockDuration>(group, m_clock.Ticks(sampleFrames));
      group.Render(m_output);
    }
    m_lastTime = time;
    m_endTime = time + sampleFrames;
  }

  std::uint64_t LastTime() const { return m_lastTime; }

  void Finish() {
    if (m_cluster == nullptr) {
      BeginCluster(0);  // readers give up on a file that has none
    }
    EndCluster();
    if (!m_file.IsSeekable()) {
      return;
    }
    OpenMaster<KaxCues> cues;
    KaxSeekHead seekHead;
    seekHead.IndexThis(m_info, m_segment);
    seekHead.IndexThis(m_tracks, m_segment);
    if (m_tags.ListSize() != 0) {
      seekHead.IndexThis(m_tags, m_segment);
    }
    if (!m_cues.empty()) {
      WriteCues(cues);
      seekHead.IndexThis(cues, m_segment);
    }
    m_space.ReplaceWith(seekHead, m_output);
    WriteDuration();
    m_segment.Close(m_output);
  }

 private:
  struct Cue {
    std::uint64_t tick;
    std::uint64_t position;  // of the cluster, in the segment
  };

  // Readers take a SimpleBlock's duration from the track's default duration and cut it to whole ticks. Where that would
  // not give the usual number of sample frames (packets of seconds), every block has to have its own.
  std::uint64_t SimpleSampleFrames(std::uint64_t usual) const {
    return m_clock.Nanoseconds(usual) / m_clock.TickNanoseconds() == m_clock.Ticks(usual) ? usual : 0;
  }

  void WriteEbmlHead() {
    EbmlHead head;
    Set<EDocType>(head, std::string("matroska"));
    Set<EDocTypeVersion>(head, 2U);  // 2 is the first one with SimpleBlock
    Set<EDocTypeReadVersion>(head, 2U);
    head.Render(m_output, true);
  }

  void WriteInfo(const MatroskaDescription& description) {
    SetAlways<KaxTimecodeScale>(m_info, m_clock.TickNanoseconds());
    if (m_file.IsSeekable() || description.sampleFrames.value_or(0) != 0) {
      Set<KaxDuration>(m_info, m_clock.ExactTicks(description.sampleFrames.value_or(0)))
          .SetPrecision(EbmlFloat::FLOAT_64);
    }
    SetText<KaxMuxingApp>(m_info, "libebml " + EbmlCodeVersion + " + libmatroska " + KaxCodeVersion);
    SetText<KaxWritingApp>(m_info, description.application);
    if (!description.tags.title.empty()) {
      SetText<KaxTitle>(m_info, description.tags.title);
    }
    m_info.Render(m_output);
  }

  void WriteTracks(const MatroskaDescription& description) {
    m_trackEntry.SetGlobalTimecodeScale(m_clock.TickNanoseconds());
    Set<KaxTrackNumber>(m_trackEntry, kTrackNumber);
    Set<KaxTrackUID>(m_trackEntry, 1U);
    Set<KaxTrackType>(m_trackEntry, unsigned{track_audio});
    Set<KaxTrackFlagLacing>(m_trackEntry, 0U);
    Set<KaxTrackDefaultDuration>(m_trackEntry, m_clock.Nanoseconds(description.sampleFramesPerPacket));
    Set<KaxTrackLanguage>(m_trackEntry, std::string("und"));
    Set<KaxCodecID>(m_trackEntry, std::string("A_PCM/INT/LIT"));
    auto& audio = GetChild<KaxTrackAudio>(m_trackEntry);
    SetAlways<KaxAudioSamplingFreq>(audio, double{1} * description.sampleRate);
    SetAlways<KaxAudioChannels>(audio, description.channels);
    Set<KaxAudioBitDepth>(audio, description.bitsPerSample);
    m_tracks.Render(m_output);
  }

  void WriteTags(const SoundTags& tags) {
    // The title stands in the segment's information; the names are those that players show.
    const std::pair<const char*, const std::string&> texts[] = {{"ARTIST", tags.artist},
                                                                {"ALBUM", tags.album},
                                                                {"COMMENT", tags.comment},
                                                                {"DATE", tags.date},
                                                                {"PART_NUMBER", tags.trackNumber}};
    KaxTag* tag = nullptr;
    for (const auto& [name, text] : texts) {
      if (text.empty()) {
        continue;
      }
      if (tag == nullptr) {
        tag = &AddNewChild<KaxTag>(m_tags);
        Set<KaxTagTargetTypeValue>(GetChild<KaxTagTargets>(*tag), kTargetIsTrack);
      }
      auto& simple = AddNewChild<KaxTagSimple>(*tag);
      SetText<KaxTagName>(simple, name);
      SetText<KaxTagString>(simple, text);
    }
    if (tag != nullptr) {
      m_tags.Render(m_output);
    }
  }

  void BeginCluster(std::uint64_t tick) {
    m_cluster = std::make_unique<OpenMaster<KaxCluster>>();
    m_cluster->SetParent(m_segment);
    m_cluster->InitTimecode(tick, static_cast<int64>(m_clock.TickNanoseconds()));
    m_cluster->Open(m_output);
    KaxClusterTimecode time;
    time.SetValue(tick);
    time.Render(m_output);
    m_clusterTick = tick;
  }

  void EndCluster() {
    if (m_cluster == nullptr) {
      return;
    }
    if (m_file.IsSeekable()) {
      m_cluster->Close(m_output);
    } else {
      m_file.Flush();
    }
    m_cluster.reset();
  }

  void AddCue(const Cue& cue) {
    if (m_clusterCount++ % m_clustersPerCue != 0) {
      return;
    }
    m_cues.push_back(cue);
    if (m_cues.size() == kMostCues) {
      for (std::size_t index = 0; index < kMostCues / 2; ++index) {
        m_cues[index] = m_cues[2 * index];
      }
      m_cues.resize(kMostCues / 2);
      m_clustersPerCue *= 2;
    }
  }

  void WriteCues(OpenMaster<KaxCues>& cues) {
    cues.Open(m_output);
    for (const Cue& cue : m_cues) {
      KaxCuePoint point;
      Set<KaxCueTime>(point, cue.tick);
      auto& positions = GetChild<KaxCueTrackPositions>(point);
      Set<KaxCueTrack>(positions, kTrackNumber);
      Set<KaxCueClusterPosition>(positions, cue.position);
      point.Render(m_output);
    }
    cues.Close(m_output);
  }

  void WriteDuration() {
    auto& duration = GetChild<KaxDuration>(m_info);
    if (m_endTime == 0) {
      duration.VoidMe(m_output);  // zero is not allowed
      return;
    }
    duration.SetValue(m_clock.ExactTicks(m_endTime));
    duration.OverwriteData(m_output);
  }

  OutputFile& m_file;
  FileCallback m_output;
  MatroskaClock m_clock;
  std::uint64_t m_clusterTicks;
  std::uint64_t m_simpleSampleFrames;  // in a packet that becomes a SimpleBlock

  OpenMaster<KaxSegment> m_segment;
  EbmlVoid m_space;  // where the SeekHead comes
  KaxInfo m_info;
  KaxTracks m_tracks;
  KaxTrackEntry& m_trackEntry;
  KaxTags m_tags;
  std::unique_ptr<OpenMaster<KaxCluster>> m_cluster;

  std::uint64_t m_clusterTick = 0;
  std::uint64_t m_lastTime = 0;
  std::uint64_t m_endTime = 0;
  std::vector<Cue> m_cues;
  std::uint64_t m_clusterCount = 0;
  std::uint64_t m_clustersPerCue = 1;
};

MatroskaWriter::MatroskaWriter(OutputFile& file, const MatroskaDescription& description) {
  CheckDescription(description);
  m_muxer = std::make_unique<Muxer>(file, description);
}

MatroskaWriter::~MatroskaWriter() = default;

void MatroskaWriter::WritePacket(const unsigned char* bytes, std::size_t size, std::uint64_t time,
                                 std::uint64_t sampleFrames) {
  constexpr std::size_t kLargestPacket = 0x7FFFFFEF;
  if (size == 0) {
    return;
  }
  if (time < m_muxer->LastTime()) {
    throw Failure("a packet at sample frame " + std::to_string(time) + " follows one at " +
                  std::to_string(m_muxer->LastTime()));
  }
  if (size > kLargestPacket) {
    throw Failure("a packet of " + std::to_string(size) + " bytes is too large for a Matroska file");
  }
  m_muxer->WritePacket(bytes, size, time, sampleFrames);
}

void MatroskaWriter::Finish() { m_muxer->Finish(); }
