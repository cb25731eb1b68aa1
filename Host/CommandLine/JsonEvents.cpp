#include "Host/CommandLine/JsonEvents.h"

#include "Host/Settings/SettingJson.h"
#include "Host/Text/Errors.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>

namespace {

using Json = nlohmann::ordered_json;

/// Version of the events, as "start" states it; docs/json.md describes them.
constexpr int kVersion = 1;

/// The value, or null for none: a key is always there.
template <class Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

/// Text rather than a number: many readers of JSON hold 53 bits of a number, a hash has 64.
std::string HashText(std::uint64_t hash) { return fmt::format("{:016x}", hash); }

Json FormatJson(const EncodingFormat& format) {
  return {{"sampleRate", format.sampleRate},
          {"bits", format.bits},
          {"channels", format.channels},
          {"layout", format.layout}};
}

/// Name and, once they are encoded, hash of each track that is a channel; empty for a sound of one track.
Json TracksJson(const std::vector<std::string>& names, const std::vector<std::uint64_t>& hashes) {
  Json tracks = Json::array();
  for (std::size_t track = 0; track < names.size(); ++track) {
    tracks.push_back({{"name", TextJson(names[track])}});
    if (track < hashes.size()) {
      tracks.back()["audioXxh3"] = HashText(hashes[track]);
    }
  }
  return tracks;
}

Json ConversionJson(const Conversion& conversion) {
  return {{"resampledFrom", OrNull(conversion.resampledFrom)}, {"ditheredFrom", OrNull(conversion.ditheredFrom)}};
}

}  // namespace

template <class MakeEvent>
void JsonEvents::Print(const MakeEvent& makeEvent) {
  if (m_stream == nullptr) {
    return;
  }
  // One write for each line, flushed: a reader at the other end of a pipe sees it at once, and lines do not mix.
  const std::string line = makeEvent().dump() + '\n';
  const std::lock_guard lock(m_mutex);
  if (m_error == 0 &&
      (std::fwrite(line.data(), 1, line.size(), m_stream) != line.size() || std::fflush(m_stream) != 0)) {
    // Nothing is written after the first error: the stream would have a gap.
    m_error = errno;
  }
}

void BatchCounts::Add(const EncodedFile& file) {
  ++encoded;
  resampled += file.conversion.resampledFrom ? 1 : 0;
  dithered += file.conversion.ditheredFrom ? 1 : 0;
  clipped += file.clippedSamples != 0 ? 1 : 0;
  split += file.trackNames.empty() ? 0 : 1;
  soundSeconds += file.SoundSeconds();
}

void JsonEvents::Start(std::size_t files, std::uint64_t bytes, bool isDryRun) {
  Print([&] {
    return Json{{"event", "start"}, {"version", kVersion}, {"program", "rhohost " RHOHOST_VERSION},
                {"files", files},   {"bytes", bytes},      {"dryRun", isDryRun}};
  });
}

void JsonEvents::Plan(const FileEncoding& encoding, const std::string& listName) {
  Print([&] {
    const SoundFormat& sound = encoding.Sound();
    Json input{{"name", TextJson(sound.name)},
               {"sampleRate", sound.sampleRate},
               {"channels", sound.channels},
               {"significantBits", sound.significantBits},
               {"frames", OrNull(sound.frames)}};
    return Json{{"event", "plan"},
                {"input", std::move(input)},
                {"listName", TextJson(listName)},
                {"output", TextJson(encoding.Output())},
                {"format", FormatJson(encoding.Format())},
                {"tracks", TracksJson(encoding.TrackNames(), {})},
                {"framesPerPacket", encoding.SampleFramesPerPacket()},
                {"frames", OrNull(encoding.SampleFrames())},
                {"conversion", ConversionJson(ConversionOf(encoding))},
                {"verify", encoding.IsToBeVerified()}};
  });
}

void JsonEvents::Progress(double fraction, double seconds) {
  {
    const std::lock_guard lock(m_mutex);
    // In a block of its own: Print locks the mutex again.
    const auto now = std::chrono::steady_clock::now();
    if (m_stream == nullptr || now < m_nextProgress) {
      return;
    }
    m_nextProgress = now + std::chrono::milliseconds(200);
  }
  Print([&] { return Json{{"event", "progress"}, {"fraction", fraction}, {"seconds", seconds}}; });
}

void JsonEvents::Encoded(const EncodedFile& file) {
  Print([&] {
    Json notes = Json::array();
    for (const std::string& note : file.notes) {
      notes.push_back(TextJson(note));
    }
    return Json{{"event", "encoded"},
                {"input", TextJson(file.input)},
                {"output", TextJson(file.output)},
                {"format", FormatJson(file.format)},
                {"tracks", TracksJson(file.trackNames, file.audioHashes)},
                {"frames", file.sampleFrames},
                {"packets", file.packets},
                {"conversion", ConversionJson(file.conversion)},
                {"clippedSamples", file.clippedSamples},
                {"notes", std::move(notes)},
                {"verified", file.isVerified},
                {"audioXxh3", file.audioHashes.size() == 1 ? Json(HashText(file.audioHashes.front())) : Json(nullptr)},
                {"soundSeconds", file.SoundSeconds()},
                {"seconds", file.seconds}};
  });
}

void JsonEvents::Skipped(const std::string& input, const std::string& output) {
  Print([&] { return Json{{"event", "skipped"}, {"input", TextJson(input)}, {"output", TextJson(output)}}; });
}

void JsonEvents::Failed(const std::string& input, const std::string& listName, const std::string& message) {
  Print([&] {
    return Json{{"event", "failed"},
                {"input", TextJson(input)},
                {"listName", TextJson(listName)},
                {"message", TextJson(message)}};
  });
}

void JsonEvents::Summary(const BatchCounts& counts, bool isInterrupted, double seconds) {
  Print([&] {
    return Json{{"event", "summary"},
                {"encoded", counts.encoded},
                {"resampled", counts.resampled},
                {"dithered", counts.dithered},
                {"clipped", counts.clipped},
                {"split", counts.split},
                {"skipped", counts.skipped},
                {"outdated", counts.outdated},
                {"clashing", counts.clashing},
                {"repeated", counts.repeated},
                {"excluded", counts.excluded},
                {"others", counts.others},
                {"failed", counts.failed},
                {"notReached", counts.notReached},
                {"interrupted", isInterrupted},
                {"soundSeconds", counts.soundSeconds},
                {"seconds", seconds}};
  });
}

void JsonEvents::Check() {
  if (m_error != 0) {
    throw SystemFailure(m_stream == stdout ? "standard output" : "standard error", "write", m_error);
  }
}
