// How README calls the module: 5.1 sound of 24 bits comes out as it goes in.
#include <RHOAPI/RhoapiAudioCodec.h>

#include <dlfcn.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const unsigned int manufacturer = FourCharacterCode("ZAV ");
const unsigned int codecCode = FourCharacterCode("LPCM");
std::string taken;

IAudioCompressor* CreateAudioCompressor(unsigned int manufacturerCode, unsigned int code) {
  void* const module = dlopen("PCMPlugin.so", RTLD_NOW | RTLD_NOLOAD);
  return reinterpret_cast<IAudioCompressor* (*)(unsigned int, unsigned int)>(dlsym(module, "CreateAudioCompressor"))(
      manufacturerCode, code);
}

void write(const unsigned char* bytes, unsigned long size, unsigned long long time) {
  if (time != taken.size() / 12) {
    throw std::runtime_error("a packet with another time");
  }
  taken.append(reinterpret_cast<const char*>(bytes), size);
}

}  // namespace

int main() {
  std::string samples(12 * 10007, 'x');
  std::vector<KelAudio_t> buffers(2);
  buffers[0].data = reinterpret_cast<unsigned char*>(samples.data());
  buffers[0].dataSize = 12 * 7;
  buffers[1].data = buffers[0].data + buffers[0].dataSize;
  buffers[1].dataSize = static_cast<unsigned int>(samples.size()) - buffers[0].dataSize;
  // @BLOCK@
  return module != nullptr && taken == samples ? 0 : 1;
}
