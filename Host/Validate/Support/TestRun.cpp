#include "Host/Validate/Support/TestRun.h"

#include "Host/Validate/Engine/Check.h"

#include <array>
#include <cstdio>
#include <functional>
#include <list>
#include <random>
#include <string_view>

namespace {

constexpr double kFramesPerSecond = 25;
constexpr unsigned int kMatroska = FourCharacterCode(" MKV");

std::vector<unsigned char> SomeBytes(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  std::minstd_rand random(1);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random() >> 8U);
  }
  return bytes;
}

void GiveHints(IAudioCompressor& compressor) {
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  if (!types.empty()) {
    compressor.SetOutputPacketType(types.front());
  }
  compressor.SetFileFormatHint(kMatroska);
  compressor.SetStreamModeHint(kOutputStreamModeDefault);
  compressor.SetFrameRateHint(kFramesPerSecond);
  compressor.ValidateSettings();
}

}  // namespace

TestInput::TestInput(IAudioCompressor& compressor) {
  m_record.sampleRate = compressor.GetSampleRate();
  m_record.channels = KelGetNumberChannels(compressor.GetChannelMode());
  const unsigned int bytesPerSampleFrame = compressor.GetSampleSize() / 8 * m_record.channels;
  if (bytesPerSampleFrame == 0 || m_record.sampleRate == 0) {
    throw CheckSkipped{"the compressor's settings do not tell what its input looks like"};
  }
  compressor.GetAudioFormatType(m_record.format);
  m_record.timeScale = m_record.sampleRate;
  m_record.sampleCount = m_record.sampleRate / static_cast<unsigned int>(kFramesPerSecond) + 17;
  m_record.duration = m_record.sampleCount;
  m_record.dataSize = m_record.sampleCount * bytesPerSampleFrame;
  m_bytes = SomeBytes(m_record.dataSize);
  m_record.data = m_bytes.data();
}

RhoStatus TestInput::CompressInto(IAudioCompressor& compressor, KelEncAudio_t& out) const {
  KelAudio_t in = m_record;
  return compressor.CompressFrame(&in, &out);
}

RhoStatus TestInput::RunInto(IAudioCompressor& compressor, KelEncAudio_t& out) const {
  GiveHints(compressor);
  KelAudio_t format = m_record;
  RhoStatus status = compressor.CompressFrameBegin(&format);
  for (int time = 0; time < 2 && status == kRhoStatusSuccess; ++time) {
    status = CompressInto(compressor, out);
  }
  if (status == kRhoStatusSuccess) {
    status = compressor.CompressFrame(nullptr, &out);
  }
  return status == kRhoStatusSuccess ? compressor.CompressFrameEnd() : status;
}

std::string TestInput::Run(IAudioCompressor& compressor) const {
  OutputRecord out(SampleRate());
  ExpectSuccess(RunInto(compressor, out), "a run");
  return PacketsText(out);
}

std::string PacketsText(const KelEncAudio_t& out) {
  std::string text;
  for (unsigned long index = 0; out.packets != nullptr && index < out.packets->size(); ++index) {
    const IPacket* const packet = out.packets->get(index);
    Expect(packet != nullptr, "a packet at each place of the bundle", "null");
    const std::string_view bytes(reinterpret_cast<const char*>(packet->getData()), packet->getDataSize());
    std::array<char, 160> line{};
    std::snprintf(line.data(), line.size(), "type %u, time %llu / %llu, duration %llu, %zu bytes of digest %016zx\n",
                  static_cast<unsigned int>(packet->getType()), packet->getTime(), packet->getTimeBase(),
                  packet->getDuration(), bytes.size(), std::hash<std::string_view>()(bytes));
    text += line.data();
  }
  return text;
}

void ExpectSuccess(RhoStatus status, const char* call) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "status %08X", status);
  Expect(status == kRhoStatusSuccess, std::string("success of ") + call, text.data());
}
