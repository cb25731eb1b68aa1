/// WriteSounds FOLDER: writes a short sound in every format and encoding that libsndfile can write (raw samples aside),
/// 16-bit samples in every byte order, with two channels where it can, as FOLDER/FORMAT-ENCODING-ORDER.EXTENSION.

#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kFrames = 4011;

std::vector<SF_FORMAT_INFO> Formats(int countCommand, int command) {
  int count = 0;
  sf_command(nullptr, countCommand, &count, sizeof count);
  std::vector<SF_FORMAT_INFO> formats;
  for (int index = 0; index < count; ++index) {
    formats.push_back({.format = index, .name = nullptr, .extension = nullptr});
    sf_command(nullptr, command, &formats.back(), sizeof formats.back());
  }
  return formats;
}

void WriteSound(const std::string& path, SF_INFO info) {
  SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
  if (file == nullptr) {
    std::remove(path.c_str());
    return;
  }
  std::vector<float> samples;
  for (int frame = 0; frame < kFrames; ++frame) {
    for (int channel = 1; channel <= info.channels; ++channel) {
      samples.push_back(0.4F * std::sin(0.031F * static_cast<float>(frame * channel)));
    }
  }
  sf_writef_float(file, samples.data(), kFrames);
  sf_close(file);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    return 2;
  }
  for (const SF_FORMAT_INFO& major : Formats(SFC_GET_FORMAT_MAJOR_COUNT, SFC_GET_FORMAT_MAJOR)) {
    for (const SF_FORMAT_INFO& encoding : Formats(SFC_GET_FORMAT_SUBTYPE_COUNT, SFC_GET_FORMAT_SUBTYPE)) {
      for (const int order : {int{SF_ENDIAN_LITTLE}, int{SF_ENDIAN_BIG}, int{SF_ENDIAN_FILE}}) {
        SF_INFO info{.frames = 0,
                     .samplerate = major.format == SF_FORMAT_WVE ? 8000 : 48000,
                     .channels = 2,
                     .format = major.format | encoding.format | order,
                     .sections = 0,
                     .seekable = 0};
        info.channels = sf_format_check(&info) != 0 ? 2 : 1;
        if (sf_format_check(&info) != 0 && major.format != SF_FORMAT_RAW) {
          char name[64];
          std::snprintf(name, sizeof name, "/%02x-%02x-%d.%s", static_cast<unsigned>(major.format) >> 16U,
                        static_cast<unsigned>(encoding.format), static_cast<unsigned>(info.format) >> 28U,
                        major.extension);
          WriteSound(arguments[1] + std::string(name), info);
          if (encoding.format != SF_FORMAT_PCM_16) {
            break;
          }
        }
      }
    }
  }
}
