#include "Host/Audio/ChannelOrder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

namespace {

/// The place of one of libsndfile's channels in WAV's order, which is its bit in dwChannelMask; -1 for channels that
/// have none.
int PlaceOf(int channel) {
  switch (channel) {
    case SF_CHANNEL_MAP_MONO:
    case SF_CHANNEL_MAP_LEFT:
    case SF_CHANNEL_MAP_FRONT_LEFT:
      return 0;
    case SF_CHANNEL_MAP_RIGHT:
    case SF_CHANNEL_MAP_FRONT_RIGHT:
      return 1;
    case SF_CHANNEL_MAP_CENTER:
    case SF_CHANNEL_MAP_FRONT_CENTER:
      return 2;
    case SF_CHANNEL_MAP_LFE:
      return 3;
    case SF_CHANNEL_MAP_REAR_LEFT:
      return 4;
    case SF_CHANNEL_MAP_REAR_RIGHT:
      return 5;
    case SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER:
      return 6;
    case SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER:
      return 7;
    case SF_CHANNEL_MAP_REAR_CENTER:
      return 8;
    case SF_CHANNEL_MAP_SIDE_LEFT:
      return 9;
    case SF_CHANNEL_MAP_SIDE_RIGHT:
      return 10;
    default:
      return -1;
  }
}

/// The order of the channels that Vorbis I and Opus (RFC 7845) define for `count` channels. Empty where the order is
/// WAV's already (1, 2 and 4 channels) or not defined.
std::vector<int> VorbisChannels(std::size_t count) {
  constexpr int kLeft = SF_CHANNEL_MAP_FRONT_LEFT;
  constexpr int kCenter = SF_CHANNEL_MAP_FRONT_CENTER;
  constexpr int kRight = SF_CHANNEL_MAP_FRONT_RIGHT;
  constexpr int kBackLeft = SF_CHANNEL_MAP_REAR_LEFT;
  constexpr int kBackRight = SF_CHANNEL_MAP_REAR_RIGHT;
  constexpr int kSideLeft = SF_CHANNEL_MAP_SIDE_LEFT;
  constexpr int kSideRight = SF_CHANNEL_MAP_SIDE_RIGHT;
  constexpr int kLfe = SF_CHANNEL_MAP_LFE;
  switch (count) {
    case 3:
      return {kLeft, kCenter, kRight};
    case 5:
      return {kLeft, kCenter, kRight, kBackLeft, kBackRight};
    case 6:
      return {kLeft, kCenter, kRight, kBackLeft, kBackRight, kLfe};
    case 7:
      return {kLeft, kCenter, kRight, kSideLeft, kSideRight, SF_CHANNEL_MAP_REAR_CENTER, kLfe};
    case 8:
      return {kLeft, kCenter, kRight, kSideLeft, kSideRight, kBackLeft, kBackRight, kLfe};
    default:
      return {};
  }
}

/// libsndfile's name (SF_CHANNEL_MAP_...) for each channel of the file; empty where the file does not say, or where
/// there is nothing to reorder.
std::vector<int> ChannelsOf(SNDFILE* file, const SF_INFO& info) {
  const auto count = static_cast<std::size_t>(info.channels);
  const int subtype = info.format & SF_FORMAT_SUBMASK;
  if (subtype == SF_FORMAT_VORBIS || subtype == SF_FORMAT_OPUS) {
    return VorbisChannels(count);
  }
  // WAV's channels are in order by definition, and libsndfile's answer for AIFF is unreliable.
  std::vector<int> channels(count);
  if ((info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_CAF ||
      sf_command(file, SFC_GET_CHANNEL_MAP_INFO, channels.data(), static_cast<int>(count * sizeof(int))) == SF_FALSE) {
    channels.clear();
  }
  return channels;
}

}  // namespace

ChannelOrder WavChannelOrder(SNDFILE* file, const SF_INFO& info) {
  std::vector<int> places = ChannelsOf(file, info);
  std::transform(places.begin(), places.end(), places.begin(), PlaceOf);
  std::vector<std::size_t> order(places.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return places[a] < places[b]; });
  // A channel without a place, or two channels in the same place.
  const bool isUnclear = std::any_of(places.begin(), places.end(), [](int place) { return place < 0; }) ||
                         std::adjacent_find(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
                           return places[a] == places[b];
                         }) != order.end();
  ChannelOrder result;
  if (isUnclear || places.empty()) {
    return result;
  }
  result.speakers = std::accumulate(places.begin(), places.end(), std::uint32_t{0},
                                    [](std::uint32_t mask, int place) { return mask | 1U << place; });
  if (!std::is_sorted(order.begin(), order.end())) {
    result.sources = std::move(order);
  }
  return result;
}

std::optional<std::uint32_t> DefinedSpeakers(unsigned int channels) {
  // 1 to 8 channels: C, L R, L R C, quadraphonic, 5.0, 5.1, 6.1 with a back center, 7.1 with back and side speakers.
  constexpr std::array<std::uint32_t, 8> kMasks{0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
  return channels >= 1 && channels <= kMasks.size() ? std::optional(kMasks.at(channels - 1)) : std::nullopt;
}

void ReorderChannels(void* samples, std::size_t frames, std::size_t sampleSize,
                     const std::vector<std::size_t>& sources) {
  const std::size_t frameSize = sources.size() * sampleSize;
  std::vector<unsigned char> source(frameSize);
  auto* frame = static_cast<unsigned char*>(samples);
  for (std::size_t i = 0; i < frames; ++i, frame += frameSize) {
    // A copy of the frame, since channels move within it.
    std::memcpy(source.data(), frame, frameSize);
    for (std::size_t channel = 0; channel < sources.size(); ++channel) {
      std::memcpy(frame + channel * sampleSize, source.data() + sources[channel] * sampleSize, sampleSize);
    }
  }
}
