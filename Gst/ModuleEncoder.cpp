#include "Gst/ModuleEncoder.h"

#include "Host/Encode/EncodingFormat.h"
#include "Host/Encode/SpeakerLayout.h"
#include "Host/Settings/Assignment.h"
#include "Host/Settings/SettingText.h"
#include "Host/Settings/SettingTree.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "Toolbox/KelUtils/Media/ChannelModes.h"
#include "Toolbox/KelUtils/Text/FourCharacterCodes.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {

/// The setting's own bytes for the text of one of its entries in UTF-8; other texts are unchanged.
std::string OwnText(ISetting& setting, const std::string& text) {
  if (setting.GetType() == kSettingTypeEnum) {
    auto& choices = static_cast<IEnumSetting&>(setting);
    for (unsigned int index = 0; index < choices.GetNumberOfAllowableValues(); ++index) {
      const char* const entry = choices.GetAllowableValue(index);
      if (entry != nullptr && ToUtf8(entry) == text) {
        return entry;
      }
    }
  }
  return text;
}

/// The name of the layout that this number of channels has by default. Throws Failure if the input's channels are for
/// other speakers.
std::string DefaultLayout(const RunFormat& format) {
  const SpeakerLayout stated = LayoutOf(format.speakers, format.channels);
  const char* const byCount = KelGetChannelModeName(KelGetChannelMode(static_cast<int>(format.channels)));
  if (!stated.isDefault) {
    throw Failure(fmt::format("the input has {} channels ({}): choose a layout for them", format.channels,
                              stated.speakers.empty() ? stated.name : stated.speakers));
  }
  return byCount;
}

}  // namespace

void ModuleEncoder::Load() {
  const std::lock_guard lock(m_mutex);
  Compressor();
}

IAudioCompressor& ModuleEncoder::Compressor() {
  if (m_loaded == nullptr) {
    m_loaded = std::make_unique<Loaded>(m_path);
  }
  return *m_loaded->compressor;
}

ISetting& ModuleEncoder::Find(const std::string& setting) {
  ISetting* const found = FindSetting(ListSettings(Compressor()), setting);
  if (found == nullptr) {
    // The element's properties are those of an earlier description.
    throw Failure(fmt::format("{}: the module has no setting \"{}\" any more", m_path, setting));
  }
  return *found;
}

SettingState ModuleEncoder::Get(const std::string& setting) {
  const std::lock_guard lock(m_mutex);
  ISetting& found = Find(setting);
  return {GetValue(found), ToUtf8(ValueText(found)),
          found.GetIsOptional() == 0 || found.GetIsOptionalValueSpecified() != 0};
}

void ModuleEncoder::Assign(const std::string& setting, const std::optional<SettingValue>& value) {
  if (m_isStarted) {
    throw WrongUse(fmt::format("{}: settings cannot be changed while samples are encoded", setting));
  }
  ::Assign(Compressor(), {{.setting = &Find(setting), .value = value}});
  m_chosen.insert(setting);
}

void ModuleEncoder::Set(const std::string& setting, const SettingValue& value) {
  const std::lock_guard lock(m_mutex);
  Assign(setting, value);
}

void ModuleEncoder::SetText(const std::string& setting, const std::string& text) {
  const std::lock_guard lock(m_mutex);
  ISetting& found = Find(setting);
  const std::optional<SettingValue> value = ParseValue(found, OwnText(found, text));
  if (!value) {
    throw WrongUse(Refusal(found, text));
  }
  Assign(setting, value);
}

void ModuleEncoder::SetIsSpecified(const std::string& setting, bool isSpecified) {
  const std::lock_guard lock(m_mutex);
  Assign(setting, isSpecified ? std::optional(GetValue(Find(setting))) : std::nullopt);
}

std::optional<std::string> ModuleEncoder::Chosen(const std::string& setting) {
  const std::lock_guard lock(m_mutex);
  return m_chosen.contains(setting) ? std::optional(ToUtf8(ValueText(Find(setting)))) : std::nullopt;
}

void ModuleEncoder::SetFramesPerSecond(double framesPerSecond) {
  const std::lock_guard lock(m_mutex);
  if (m_isStarted) {
    throw WrongUse("the frame rate cannot be changed while samples are encoded");
  }
  m_framesPerSecond = framesPerSecond;
}

void ModuleEncoder::Begin(const RunFormat& format) {
  const std::lock_guard lock(m_mutex);
  EndRun();
  IAudioCompressor& compressor = Compressor();
  std::vector<Assignment> assignments;
  for (const NamedSetting& named : ListSettings(compressor)) {
    const auto follow = [&](SettingValue value) {
      assignments.push_back({.setting = named.setting, .value = std::move(value), .source = "the input's "});
    };
    // The user's choice stays. If the input does not fit, the comparison below says so.
    if (m_chosen.contains(named.name)) {
      continue;
    }
    if (named.setting == compressor.GetSampleRateSetting()) {
      follow(format.sampleRate);
    } else if (named.setting == compressor.GetSampleSizeSetting()) {
      follow(format.bits);
    } else if (named.setting == compressor.GetChannelModeSetting()) {
      follow(DefaultLayout(format));
    }
  }
  ::Assign(compressor, assignments);
  // Reads the settings back: a choice may have led to another format than the input's.
  const EncodingFormat chosen = ChooseFormat(compressor, nullptr);
  if (chosen.sampleRate != format.sampleRate || chosen.bits != format.bits || chosen.channels != format.channels) {
    throw WrongUse(
        fmt::format("the input has {} Hz, {} bits and {} channels, the settings {} Hz, {} bits and {} channels",
                    format.sampleRate, format.bits, format.channels, chosen.sampleRate, chosen.bits, chosen.channels));
  }
  m_format = chosen;
  BeginRun();
  m_isStarted = true;
}

void ModuleEncoder::BeginRun() {
  constexpr unsigned int kMatroska = FourCharacterCode(" MKV");
  IAudioCompressor& compressor = Compressor();
  const EncoderOptions options{.framesPerSecond = m_framesPerSecond,
                               .fileFormat = compressor.IsFormatSupported(kMatroska) != 0 ? kMatroska : 0};
  // The constructor begins the run; the compressor outlives it.
  m_run = std::make_unique<Encoder>(compressor, m_format, options);
  m_sampleFramesPerPacket = m_run->SampleFramesPerPacket();
  m_taken = 0;
  m_passed = 0;
}

void ModuleEncoder::Encode(std::span<const unsigned char> bytes, const Sink& sink) {
  const std::lock_guard lock(m_mutex);
  if (m_run == nullptr) {
    BeginRun();
  }
  m_taken += bytes.size() / m_format.BytesPerSampleFrame();
  m_run->Encode(bytes, [&](const EncodedPacket& packet) { PassOn(packet, sink); });
}

std::uint64_t ModuleEncoder::Finish(const Sink& sink) {
  const std::lock_guard lock(m_mutex);
  if (m_run == nullptr) {
    return 0;
  }
  // Ends the compressor's run as well, so EndRun is not needed. If it throws, the run stays for EndRun.
  m_run->Finish([&](const EncodedPacket& packet) { PassOn(packet, sink); });
  m_run.reset();
  return m_taken - m_passed;
}

void ModuleEncoder::PassOn(const EncodedPacket& packet, const Sink& sink) {
  // For packets other than linear PCM, time and duration are the compressor's word. What overlaps the last packet or
  // goes beyond the samples of the run is cut off. A packet without a duration counts as a full one.
  const std::uint64_t begin = std::clamp(packet.time, m_passed, m_taken);
  const std::uint64_t frames = packet.sampleFrames != 0 ? packet.sampleFrames : m_sampleFramesPerPacket;
  const std::uint64_t end = begin + std::min(frames, m_taken - begin);
  sink({packet.bytes, begin - m_passed, end - begin});
  m_passed = end;
}

void ModuleEncoder::EndRun() {
  if (m_run != nullptr) {
    m_run.reset();
    m_loaded->compressor->CompressFrameEnd();  // whatever it answers, there is nothing more to do
  }
}

void ModuleEncoder::Discard() {
  const std::lock_guard lock(m_mutex);
  EndRun();
}

void ModuleEncoder::Stop() {
  const std::lock_guard lock(m_mutex);
  EndRun();
  m_isStarted = false;
}

std::uint64_t ModuleEncoder::SampleFramesPerPacket() {
  const std::lock_guard lock(m_mutex);
  return m_sampleFramesPerPacket;
}
