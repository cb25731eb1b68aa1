#include "Host/Matroska/MatroskaWriter.h"

#include "Host/Matroska/MatroskaMetadata.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>

#include <ebml/EbmlHead.h>
#include <ebml/EbmlSubHead.h>
#include <ebml/EbmlVersion.h>
#include <matroska/KaxBlock.h>
#include <matroska/KaxBlockData.h>
#include <matroska/KaxClusterData.h>
#include <matroska/KaxCuesData.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSeekHead.h>
#include <matroska/KaxVersion.h>

using namespace libmatroska;

namespace {

constexpr unsigned int kFirstTrackNumber = 1;
constexpr std::uint64_t kLargestShortNumber = 126;  // of a track, in one byte of an EBML variable-size integer
constexpr std::size_t kMostTracks = 16'000;         // a block states its track in two bytes
constexpr std::uint64_t kSeekHeadSpace = 160;       // six entries of at most 21 bytes, and heads
/// The number of cues that AddCue halves. It is even.
constexpr std::size_t kMostCues = 262'144;
/// Length after which a cluster ends.
constexpr std::uint64_t kClusterNanoseconds = 500'000'000;

/// Returns `description`. Throws Failure if it is out of bounds.
const MatroskaDescription& Checked(const MatroskaDescription& description) {
  if (description.trackNames.empty() || description.trackNames.size() > kMostTracks) {
    throw Failure(fmt::format("a Matroska file cannot hold {} tracks", description.trackNames.size()));
  }
  if (description.sampleRate == 0 || description.sampleRate > 1'000'000'000 || description.channels == 0 ||
      description.sampleFramesPerPacket == 0 ||
      (description.bitsPerSample != 16 && description.bitsPerSample != 24 && description.bitsPerSample != 32)) {
    throw Failure(fmt::format(
        "a Matroska file cannot hold linear PCM with {} Hz, {} channels, {} bits and {} sample frames per packet",
        description.sampleRate, description.channels, description.bitsPerSample, description.sampleFramesPerPacket));
  }
  return description;
}

}  // namespace

MatroskaWriter::MatroskaWriter(OutputFile& file, const MatroskaDescription& description)
    : m_file(file),
      m_io(file),
      m_clock(Checked(description).sampleRate),
      // A block's timestamp relative to its cluster has 16 bits.
      m_clusterTicks(
          std::min<std::uint64_t>(std::numeric_limits<int16>::max(), kClusterNanoseconds / m_clock.TickNanoseconds())),
      m_simpleSampleFrames(SimpleSampleFrames(description.sampleFramesPerPacket)) {
  WriteEbmlHead();
  m_segment.Open(m_io);
  if (m_file.IsSeekable()) {
    // A Void element keeps room for the SeekHead, whose positions are known at the end only.
    m_seekHeadSpace.SetSize(kSeekHeadSpace);
    m_seekHeadSpace.Render(m_io);
  }
  WriteInfo(description);
  WriteTracks(description);
  // Before the first cluster, so that a reader of a pipe gets it too.
  WriteMetadata(description.metadata);
}

void MatroskaWriter::WritePacket(std::span<const unsigned char> bytes, std::uint64_t time, std::uint64_t sampleFrames,
                                 std::size_t track) {
  // The packet and the head of its block must stay below 2^31 bytes together.
  constexpr std::size_t kLargestPacket = 0x7FFFFFEF;
  if (bytes.empty()) {
    return;
  }
  if (time < m_lastTime) {
    throw Failure(fmt::format("a packet at sample frame {} follows one at {}", time, m_lastTime));
  }
  if (bytes.size() > kLargestPacket) {
    throw Failure(fmt::format("a packet of {} bytes is too large for a Matroska file", bytes.size()));
  }
  const std::uint64_t tick = m_clock.Ticks(time);
  if (m_cluster == nullptr || tick - m_clusterTick >= m_clusterTicks) {
    EndCluster();
    BeginCluster(tick);
    if (m_file.IsSeekable()) {
      // A cue points to the beginning of a cluster, relative to the segment's content.
      AddCue({tick, m_segment.GetRelativePosition(*m_cluster)});
    }
  }
  WriteBlock(bytes, tick, sampleFrames, *m_trackEntries.at(track));
  m_lastTime = time;
  m_endTime = time + sampleFrames;
}

void MatroskaWriter::Finish() {
  if (m_cluster == nullptr) {
    BeginCluster(0);  // readers reject a file without a cluster
  }
  EndCluster();
  if (m_file.IsSeekable()) {
    // The cues come first, since the SeekHead lists their position; the segment's size comes last, since it covers
    // all.
    WriteCues();
    WriteSeekHead();
    WriteDuration();
    m_segment.Close(m_io);
  }
}

/// Readers take a SimpleBlock's duration from the track's default duration, truncated to whole ticks. Where that does
/// not give the usual number of sample frames (packets of seconds), every block needs a duration of its own: returns 0.
std::uint64_t MatroskaWriter::SimpleSampleFrames(std::uint64_t usual) const {
  return m_clock.Nanoseconds(usual) / m_clock.TickNanoseconds() == m_clock.Ticks(usual) ? usual : 0;
}

/// Writes the EBML head (RFC 8794). SimpleBlock came with version 2 of Matroska.
void MatroskaWriter::WriteEbmlHead() {
  constexpr unsigned int kFirstVersionWithSimpleBlock = 2;
  EbmlHead head;
  Set<EDocType>(head, std::string("matroska"));
  Set<EDocTypeVersion>(head, kFirstVersionWithSimpleBlock);
  Set<EDocTypeReadVersion>(head, kFirstVersionWithSimpleBlock);
  head.Render(m_io, true);
}

/// Writes the segment information. It has neither DateUTC nor SegmentUID, so that equal input gives equal files.
void MatroskaWriter::WriteInfo(const MatroskaDescription& description) {
  SetAlways<KaxTimecodeScale>(m_info, m_clock.TickNanoseconds());
  if (m_file.IsSeekable() || description.sampleFrames.value_or(0) != 0) {
    // WriteDuration overwrites the value of a seekable file in place, so its width must not depend on it.
    Set<KaxDuration>(m_info, m_clock.ExactTicks(description.sampleFrames.value_or(0)))
        .SetPrecision(EbmlFloat::FLOAT_64);
  }
  SetText<KaxMuxingApp>(m_info, fmt::format("libebml {} + libmatroska {}", EbmlCodeVersion, KaxCodeVersion));
  SetText<KaxWritingApp>(m_info, description.application);
  if (!description.metadata.title.empty()) {
    SetText<KaxTitle>(m_info, description.metadata.title);
  }
  m_info.Render(m_io);
}

/// Writes one TrackEntry for each name, all of the same format.
void MatroskaWriter::WriteTracks(const MatroskaDescription& description) {
  for (const std::string& name : description.trackNames) {
    const bool isFirst = m_trackEntries.empty();
    const auto number = static_cast<unsigned int>(kFirstTrackNumber + m_trackEntries.size());
    // libmatroska creates Tracks with a first TrackEntry, since one is mandatory.
    auto& entry = isFirst ? GetChild<KaxTrackEntry>(m_tracks) : AddNewChild<KaxTrackEntry>(m_tracks);
    m_trackEntries.push_back(&entry);
    // KaxBlockGroup takes timestamps in nanoseconds and divides them by this.
    entry.SetGlobalTimecodeScale(m_clock.TickNanoseconds());
    Set<KaxTrackNumber>(entry, number);
    Set<KaxTrackUID>(entry, number);
    Set<KaxTrackType>(entry, unsigned{track_audio});
    // Players choose the first track by themselves; the default of the flag is 1.
    if (!isFirst) {
      Set<KaxTrackFlagDefault>(entry, 0U);
    }
    Set<KaxTrackFlagLacing>(entry, 0U);
    Set<KaxTrackDefaultDuration>(entry, m_clock.Nanoseconds(description.sampleFramesPerPacket));
    if (!name.empty()) {
      SetText<KaxTrackName>(entry, name);
    }
    Set<KaxTrackLanguage>(entry, std::string("und"));
    Set<KaxCodecID>(entry, std::string("A_PCM/INT/LIT"));
    auto& audio = GetChild<KaxTrackAudio>(entry);
    // libebml omits values that equal Matroska's defaults (8000 Hz, one channel); some readers do not know these.
    SetAlways<KaxAudioSamplingFreq>(audio, double{1} * description.sampleRate);
    SetAlways<KaxAudioChannels>(audio, description.channels);
    Set<KaxAudioBitDepth>(audio, description.bitsPerSample);
  }
  m_tracks.Render(m_io);
}

/// Writes chapters, attachments and tags, as far as there are any: an element without children is invalid.
void MatroskaWriter::WriteMetadata(const SoundMetadata& metadata) {
  FillChapters(m_chapters, metadata);
  FillAttachments(m_attachments, metadata);
  FillTags(m_tags, metadata);
  for (EbmlMaster* const element : std::initializer_list<EbmlMaster*>{&m_chapters, &m_attachments, &m_tags}) {
    if (element->ListSize() != 0) {
      element->Render(m_io);
    }
  }
}

/// Writes a packet as a SimpleBlock where its duration is the track's default, else as a BlockGroup with its duration.
void MatroskaWriter::WriteBlock(std::span<const unsigned char> bytes, std::uint64_t tick, std::uint64_t sampleFrames,
                                const KaxTrackEntry& track) {
  const std::uint64_t number = track.TrackNumber().GetValue();
  if (sampleFrames == m_simpleSampleFrames && number <= kLargestShortNumber) {
    WriteSimpleBlock(bytes, static_cast<std::uint16_t>(tick - m_clusterTick), static_cast<unsigned char>(number));
    return;
  }
  // The block takes ownership of the DataBuffer, which only refers to the bytes and does not change them. WritePacket
  // has limited their size to 31 bits.
  auto frame = std::make_unique<DataBuffer>(const_cast<binary*>(bytes.data()), static_cast<uint32>(bytes.size()));
  KaxBlockGroup group;
  group.SetParent(*m_cluster);
  group.AddFrame(track, tick * m_clock.TickNanoseconds(), *frame.release(), LACING_NONE);
  Set<KaxBlockDuration>(group, m_clock.Ticks(sampleFrames));
  group.Render(m_io);
}

/// Writes the same bytes as a rendered KaxSimpleBlock. Building such an object for each packet would take a tenth of
/// the time of a whole encoding.
void MatroskaWriter::WriteSimpleBlock(std::span<const unsigned char> bytes, std::uint16_t ticksInCluster,
                                      unsigned char trackNumber) {
  constexpr unsigned char kId = 0xA3;
  constexpr unsigned char kKeyframe = 0x80;
  constexpr std::size_t kLongestSize = 8;
  // Track number as a variable-size integer of one byte, timestamp relative to the cluster (16 bits, big-endian),
  // flags.
  const std::array<unsigned char, 4> blockHead{static_cast<unsigned char>(0x80U | trackNumber),
                                               static_cast<unsigned char>(ticksInCluster >> 8U),
                                               static_cast<unsigned char>(ticksInCluster & 0xFFU), kKeyframe};
  std::array<unsigned char, 1 + kLongestSize + blockHead.size()> head{kId};
  const std::uint64_t size = blockHead.size() + bytes.size();
  const int sizeLength = CodedValueLength(size, CodedSizeLength(size, 0), head.data() + 1);
  auto* const end = std::copy(blockHead.begin(), blockHead.end(), head.begin() + 1 + sizeLength);
  m_io.write(head.data(), static_cast<std::size_t>(end - head.begin()));
  m_io.write(bytes.data(), bytes.size());
}

/// Begins a cluster at `tick`, the timestamp of its first block.
void MatroskaWriter::BeginCluster(std::uint64_t tick) {
  m_cluster = std::make_unique<OpenMaster<KaxCluster>>();
  m_cluster->SetParent(m_segment);
  m_cluster->InitTimecode(tick, static_cast<int64>(m_clock.TickNanoseconds()));
  m_cluster->Open(m_io);
  // OpenMaster renders no children of its own.
  KaxClusterTimecode time;
  time.SetValue(tick);
  time.Render(m_io);
  m_clusterTick = tick;
}

/// Ends the current cluster, if there is one.
void MatroskaWriter::EndCluster() {
  if (m_cluster == nullptr) {
    return;
  }
  if (m_file.IsSeekable()) {
    m_cluster->Close(m_io);
  } else {
    // The size stays unknown, which tells readers of a pipe to go on until the next cluster.
    m_file.Flush();
  }
  m_cluster.reset();
}

/// Adds a cue for every m_clustersPerCue-th cluster.
void MatroskaWriter::AddCue(const Cue& cue) {
  if (m_clusterCount++ % m_clustersPerCue != 0) {
    return;
  }
  m_cues.push_back(cue);
  if (m_cues.size() == kMostCues) {
    // Every second cue stays, and twice as many clusters share a cue from here on: memory is bounded, the cues stay
    // evenly spaced.
    for (std::size_t index = 0; index < kMostCues / 2; ++index) {
      m_cues[index] = m_cues[2 * index];
    }
    m_cues.resize(kMostCues / 2);
    m_clustersPerCue *= 2;
  }
}

/// Writes the cues one by one, without an element in memory for each.
void MatroskaWriter::WriteCues() {
  if (m_cues.empty()) {
    return;
  }
  m_cuesElement.Open(m_io);
  for (const Cue& cue : m_cues) {
    KaxCuePoint point;
    Set<KaxCueTime>(point, cue.tick);
    auto& positions = GetChild<KaxCueTrackPositions>(point);
    Set<KaxCueTrack>(positions, kFirstTrackNumber);
    Set<KaxCueClusterPosition>(positions, cue.position);
    point.Render(m_io);
  }
  m_cuesElement.Close(m_io);
}

/// Writes the SeekHead into the space that the constructor has kept for it.
void MatroskaWriter::WriteSeekHead() {
  KaxSeekHead seekHead;
  seekHead.IndexThis(m_info, m_segment);
  seekHead.IndexThis(m_tracks, m_segment);
  for (const EbmlMaster* const element : std::initializer_list<EbmlMaster*>{&m_chapters, &m_attachments, &m_tags}) {
    if (element->ListSize() != 0) {
      seekHead.IndexThis(*element, m_segment);
    }
  }
  if (!m_cues.empty()) {
    seekHead.IndexThis(m_cuesElement, m_segment);
  }
  m_seekHeadSpace.ReplaceWith(seekHead, m_io);
}

/// Overwrites the duration by that of the packets written. It ends with the last of them.
void MatroskaWriter::WriteDuration() {
  auto& duration = GetChild<KaxDuration>(m_info);
  if (m_endTime == 0) {
    duration.VoidMe(m_io);  // a duration of zero is invalid
    return;
  }
  duration.SetValue(m_clock.ExactTicks(m_endTime));
  duration.OverwriteData(m_io);
}
