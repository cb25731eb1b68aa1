#include "Host/Validate/CheckedModule.h"

#include "Host/Validate/Check.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>

namespace {

constexpr int kMostCompressors = 1000;

template <class Function>
Function EntryPoint(const Library& library, const char* name) {
  void* const address = library.Find(name);
  Expect(address != nullptr, std::string("the entry point ") + name, "none of that name");
  return reinterpret_cast<Function>(address);
}

template <class... Values>
std::string Formatted(const char* format, Values... values) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

}  // namespace

std::string InfoText(const CompressorInfo& info) {
  std::array<char, 9> codes{};
  KelGetManufactureCodecEightCCString(codes.data(), info.manufacturer, info.codec);
  return Formatted("%s, version 0x%08x", codes.data(), info.version);
}

CheckedModule::CheckedModule(const std::string& path) : m_library(path) {
  m_count = EntryPoint<decltype(m_count)>(m_library, "RhoGetNumberAudioCompressors");
  m_info = EntryPoint<decltype(m_info)>(m_library, "RhoGetAudioCompressorInfo");
  m_create = EntryPoint<decltype(m_create)>(m_library, "CreateAudioCompressor");
}

std::vector<CompressorInfo> CheckedModule::Infos() const {
  const int count = Count();
  Expect(count >= 1 && count <= kMostCompressors, "a number of compressors from 1 up", std::to_string(count));
  std::vector<CompressorInfo> infos(static_cast<std::size_t>(count));
  for (unsigned int index = 0; index < infos.size(); ++index) {
    GetInfo(index, &infos[index].manufacturer, &infos[index].codec, &infos[index].version);
  }
  return infos;
}

CheckedCompressor CheckedModule::CreateCompressor(const CompressorInfo& info) const {
  CheckedCompressor compressor(Create(info.manufacturer, info.codec));
  Expect(compressor != nullptr, "a compressor of " + InfoText(info), "null");
  return compressor;
}

std::string StatusText(RhoStatus status) { return Formatted("status %08X", status); }

void ExpectSuccess(RhoStatus status, const char* call) {
  Expect(status == kRhoStatusSuccess, std::string(call) + " to answer 0", StatusText(status));
}

unsigned int BytesPerSampleFrame(IAudioCompressor& compressor) {
  const unsigned int bytes = compressor.GetSampleSize() / 8 * KelGetNumberChannels(compressor.GetChannelMode());
  if (bytes == 0) {
    throw CheckSkipped{"the compressor does not tell the size of its sample frames by its settings"};
  }
  return bytes;
}

std::vector<unsigned char> TestBytes(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  std::minstd_rand random(1);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random() >> 8U);
  }
  return bytes;
}

RhoStatus Compress(IAudioCompressor& compressor, const std::vector<unsigned char>& bytes, KelEncAudio_t& out) {
  KelAudio_t in{};
  compressor.GetAudioFormatType(in.format);
  in.sampleRate = out.sampleRate;
  in.timeScale = in.sampleRate;
  in.channels = KelGetNumberChannels(compressor.GetChannelMode());
  in.dataSize = static_cast<unsigned int>(bytes.size());
  in.sampleCount = in.dataSize / std::max(1U, BytesPerSampleFrame(compressor));
  in.duration = in.sampleCount;
  // The record is plain for both directions; a compressor only reads its input.
  in.data = const_cast<unsigned char*>(bytes.data());
  return compressor.CompressFrame(&in, &out);
}

std::string PacketsText(const KelEncAudio_t& out) {
  std::string text;
  for (unsigned long index = 0; out.packets != nullptr && index < out.packets->size(); ++index) {
    const IPacket* const packet = out.packets->get(index);
    Expect(packet != nullptr, "a packet at each place of the bundle", "null");
    const std::string_view bytes(reinterpret_cast<const char*>(packet->getData()), packet->getDataSize());
    text += Formatted("type %u, time %llu / %llu, duration %llu, %lu bytes of digest %016zx\n",
                      static_cast<unsigned int>(packet->getType()), packet->getTime(), packet->getTimeBase(),
                      packet->getDuration(), packet->getDataSize(), std::hash<std::string_view>()(bytes));
  }
  return text;
}
