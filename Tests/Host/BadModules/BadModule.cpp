/// An encoder module with one fault, the one that its file is called after; none at all for "Healthy.so", which tells
/// each call of a run on standard error instead.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cfenv>
#include <clocale>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <thread>

namespace {

std::string_view FaultOfThisFile() {
  Dl_info file{};
  dladdr(reinterpret_cast<void*>(&FaultOfThisFile), &file);
  const std::string_view path = file.dli_fname;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name.substr(0, name.find('.'));
}

const std::string_view kFault = FaultOfThisFile();
volatile int g_ended;

/// What a fault does to the process, and in which call.
struct ProcessFault {
  std::string_view name;
  std::string_view call;
  void (*act)();
};

template <std::size_t kSize>
void UseStack() {
  volatile unsigned char bytes[kSize];
  bytes[0] = 0;
  bytes[kSize - 1] = bytes[0];
  g_ended = bytes[kSize - 1];
}

constexpr std::array kProcessFaults{
    ProcessFault{"PrintsAtFlush", "flush", [] { std::puts("done"); }},
    ProcessFault{"ReadsInput", "CompressFrameBegin", [] { std::getchar(); }},
    ProcessFault{"SetsLocale", "ValidateSettings", [] { std::setlocale(LC_NUMERIC, "C.UTF-8"); }},
    ProcessFault{"UsesRand", "CompressFrame", [] { std::rand(); }},
    ProcessFault{"FlushesToZero", "CompressFrame", [] { std::fesetround(FE_UPWARD); }},
    ProcessFault{"SetsTimer", "CompressFrameEnd", [] { alarm(1000); }},
    ProcessFault{"ChangesMask", "Release", [] { umask(077); }},
    ProcessFault{"StartsThread", "CompressFrame", [] { std::thread([] { pause(); }).detach(); }},
    ProcessFault{"StartsProcess", "flush", [] { g_ended = fork() == 0 ? (_exit(0), 0) : wait(nullptr); }},
    ProcessFault{"MakesFile", "CompressFrameBegin", [] { std::ofstream("/dev/null"); }},
    ProcessFault{"PrintsLate", "CompressFrame",
                 [] {
                   struct Late {
                     ~Late() { std::puts("late"); }
                     volatile int used = 0;
                   };
                   thread_local Late late;
                   late.used = 1;
                 }},
    ProcessFault{"ResetsLocale", "ValidateSettings", [] { std::setlocale(LC_ALL, "C"); }},
    ProcessFault{"ExitsOtherwise", "CompressFrameBegin", [] { on_exit([](int, void*) { _exit(9); }, nullptr); }},
    ProcessFault{"KeepsKey", "ValidateSettings",
                 [] {
                   pthread_key_t key = 0;
                   pthread_key_create(&key, nullptr);
                 }},
    ProcessFault{"UnsafeMemory", "flush",
                 [] {
                   constexpr int kRights = PROT_READ | PROT_WRITE | PROT_EXEC;
                   static_cast<void>(mmap(nullptr, 4096, kRights, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
                 }},
    ProcessFault{"NeedsStack", "CompressFrame", UseStack<200'000>}};

void Note(std::string_view call) {
  if (kFault == "Healthy") {
    std::fprintf(stderr, "%s ", call.data());
  }
  for (const ProcessFault& fault : kProcessFaults) {
    if (fault.name == kFault && fault.call == call) {
      fault.act();
    }
  }
}

void AddLine(const char* file) { std::ofstream(file, std::ios::app) << getpid() << std::endl; }

bool Load() {
  if (kFault == "CrashesOnLoad") {
    std::abort();
  } else if (kFault == "ExitsOnLoad") {
    std::exit(0);
  } else if (kFault == "HangsOnLoad") {
    pause();
  } else if (kFault == "PrintsOnLoad") {
    std::printf("Welcome \xFF\1<&]]>\n");
  } else if (kFault == "ClaimsToPass") {
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
      g_ended = static_cast<int>(write(descriptor, "{\"verdict\":\"passed\"}\n", 21));
    }
    _exit(0);
  } else if (kFault == "StaysLoaded") {
    Dl_info file{};
    dladdr(reinterpret_cast<void*>(&FaultOfThisFile), &file);
    dlopen(file.dli_fname, RTLD_NOW | RTLD_NODELETE);
  } else if (kFault == "LoadsOnce") {
    std::getenv("LOADED") == nullptr ? static_cast<void>(setenv("LOADED", "yes", 1)) : std::abort();
  } else if (kFault == "Litters") {
    open("/dev/null", O_RDONLY);
    std::signal(SIGUSR1, SIG_IGN);
    setenv("LITTER", "yes", 1);
  }
  return true;
}

[[maybe_unused]] const bool kIsLoaded = Load();

/// Waits for ever, and so does a daemon: a child's child in a session of its own.
void Hang() {
  if (fork() == 0) {
    setsid();
    if (fork() != 0) {
      _exit(0);
    }
    AddLine("grandchild");
  }
  for (;;) {
    pause();
  }
}

/// A block of memory, in a way that the compiler cannot see through.
void* volatile g_block;

/// What nobody has written to.
unsigned int UnknownNumber() {
  g_block = std::malloc(100);
  const auto* const bytes = static_cast<unsigned char*>(g_block);
  const unsigned int number = bytes[51] * 256U + bytes[50];
  std::free(g_block);
  return number;
}

std::array<unsigned int, 3> g_listed{1, 2, 2};
unsigned int g_shared = 2;
const std::size_t kLabelStart = kFault == "SettingNotUtf8" ? 4 : kFault == "SettingEmpty" ? 5 : 0;
const void* g_current;
std::atomic<int> g_inside{0};

void UseMemoryUnasked() {
  g_block = std::malloc(1);
  *static_cast<char*>(g_block) = 1;
  std::free(g_block);
}

/// Gives an object a virtual table of its own that ends early.
void CutSlots(void* object, std::size_t count) {
  static std::array<void*, 64> slots{};
  void**& table = *static_cast<void***>(object);
  std::copy_n(table, count, slots.begin());
  table = slots.data();
}

/// A setting of 1 or 2, for the faults that settings have.
class Extra : public UnsignedIntSetting {
 public:
  Extra()
      : UnsignedIntSetting("", "Extra", kFault == "SettingOddDefault" ? 3 : 2, 1, 2,
                           kFault == "SettingListsTwice" ? 3 : 2, g_listed.data()) {
    SetIsValueConstrained(1);
  }
  ISetting* CreateCopy() const override { return new Extra(*this); }
  const char* GetLabel() const override {
    const bool isEmpty = kFault == "SettingRelabels" && GetIsActive() == 0;
    return kFault == "SettingNull" ? nullptr : isEmpty ? "" : &"Caf\xC3\xA9"[kLabelStart];
  }
  unsigned int GetValue() const override {
    return kFault == "SettingSharesValue" ? g_shared : UnsignedIntSetting::GetValue();
  }
  unsigned int GetAllowableValue(unsigned int index) const override {
    return kFault == "SettingReadsBeyond" && index > 1 ? 7 : UnsignedIntSetting::GetAllowableValue(index);
  }
  void SetIsOptional(unsigned int optional) override {
    UnsignedIntSetting::SetIsOptional(kFault == "SettingSquashesFlags" && optional != 0 ? 1 : optional);
    SetIsOptionalValueSpecified(kFault == "SettingUnticks" ? 0 : GetIsOptionalValueSpecified());
  }
  void SetToolTipText(const char* text) override {
    UnsignedIntSetting::SetToolTipText(kFault == "SettingForgetsText" ? "" : text);
    UnsignedIntSetting::SetToolTipText(text);
  }
  void SetValue(unsigned int value) override {
    g_shared = value;
    SetIsValueConstrained(kFault == "SettingTakesAll" ? 0 : 1);
    UnsignedIntSetting::SetValue(kFault == "SettingTakesNone" ? 0 : value);
    SetIsValueConstrained(1);
  }
};

/// Channel layouts that are found by their exact text alone.
class ExactLayouts : public StringEnumSetting {
 public:
  ExactLayouts() : StringEnumSetting("Channels", "Channels") {
    AddValue("Mono", 1);
    AddValue("Stereo", 2);
  }
  void SetValue(const char* text) override {
    SetSelected(static_cast<unsigned int>(StringEnumSetting::FindIndexOf(text)));
  }
};

/// A bundle with the faults of bundles.
class Bundle : public TPacketBundle {
 public:
  Bundle() : TPacketBundle(static_cast<const char*>(nullptr)) {}
  IPacket* remove(unsigned long index) override {
    for (unsigned long behind = kFault == "BundleRemovesSlowly" ? size() : 0; behind != 0; --behind) {
      g_ended = 0;
    }
    return TPacketBundle::remove(kFault == "BundleRemovesLast" && index != 0 ? size() - 1 : index);
  }
  IPacket* clone() const override {
    if (kFault == "BundleLeaksClones") {
      auto* const copy = new Bundle();
      for (unsigned long index = 0; index < size(); ++index) {
        copy->append(get(index)->clone());
      }
      return copy;
    }
    return kFault == "BundleClonesNothing" ? new TPacketBundle(static_cast<const char*>(nullptr))
                                           : TPacketBundle::clone();
  }
};

class Compressor : public CPCMCompressor {
 public:
  explicit Compressor(unsigned int codec) : CPCMCompressor(codec) {
    if (kFault == "Leaks") {
      g_block = std::malloc(100);
    } else if (kFault == "NeedsMemory") {
      UseMemoryUnasked();
    } else if (kFault == "SettingSlotless") {
      CutSlots(&m_extra, 28);
    }
  }

  const char* GetAbbreviatedName() override {
    if (kFault == "CrashesInASlot") {
      std::abort();
    }
    return CPCMCompressor::GetAbbreviatedName();
  }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override {
    CPCMCompressor::GetAudioCompressorInfo(manufacturer, codec);
    codec += kFault == "OtherCodec" ? 1 : 0;
  }
  const char* GetName() override { return kFault == "OtherName" ? "Linear" : CPCMCompressor::GetName(); }
  int GetCodecDelay() override {
    return kFault == "Delays" && CPCMCompressor::GetSampleSizeSetting()->GetValue() == 24 ? 1 : 0;
  }
  unsigned int PlaceholderDoesNotCompress() const override { return kFault == "IsPlaceholder" ? 1 : 0; }
  unsigned int GetDataRate() override { return CPCMCompressor::GetDataRate() * (kFault == "TellsBits" ? 8 : 1); }
  IEnumSetting* GetChannelModeSetting() override {
    return kFault == "ExactLayouts" ? &m_exact : CPCMCompressor::GetChannelModeSetting();
  }
  IUnsignedIntSetting* GetSampleSizeSetting() override {
    return kFault == "NewSettings" ? new UnsignedIntSetting("Sample Size", "SampleSize", 16, 16, 24, 0, nullptr)
                                   : CPCMCompressor::GetSampleSizeSetting();
  }
  IAudioCompressor* CreateCopy() override {
    if (kFault == "NeedsMemory") {
      UseMemoryUnasked();
    }
    const bool isPlain = kFault == "CopiesNothing" || kFault == "CopiesOtherCodec";
    const unsigned int codec = kPCMCodecCode + (kFault == "CopiesOtherCodec" ? 1 : 0);
    return kFault == "NoCopy" ? nullptr : isPlain ? new Compressor(codec) : CPCMCompressor::CreateCopy();
  }
  ISetting* GetNonStandardSettings() override { return kFault.starts_with("Setting") ? &m_extra : nullptr; }
  void SetFrameRateHint(double rate) override { kFault == "NoHint" ? void() : CPCMCompressor::SetFrameRateHint(rate); }
  void ValidateSettings() override {
    Note("ValidateSettings");
    CPCMCompressor::ValidateSettings();
    m_wasLow = m_wasLow || m_extra.GetValue() == 1;
    if (kFault == "LeaksAt24Bits" && CPCMCompressor::GetSampleSizeSetting()->GetValue() == 24) {
      g_block = std::malloc(1);
    } else if (kFault == "NoRespect") {
      CPCMCompressor::GetSampleRateSetting()->SetValue(8000);
    } else if (kFault == "SettingSpoilsAnother" && m_extra.GetValue() == 1) {
      CPCMCompressor::GetChannelModeSetting()->SetSelected(4);
      CPCMCompressor::GetDataRateSetting()->SetValue(7);
    } else if (kFault == "SettingRemembers" && m_wasLow) {
      m_extra.UnsignedIntSetting::SetToolTipText("was 1");
    } else if (kFault == "StaleDataRate") {
      CPCMCompressor::GetDataRateSetting()->SetValue(176400);
    } else if (kFault == "ResetsHint") {
      CPCMCompressor::SetFrameRateHint(30);
    }
  }
  IUnsignedIntSetting* GetSampleRateSetting() override {
    return kFault == "NoRate" ? nullptr : CPCMCompressor::GetSampleRateSetting();
  }
  RhoStatus GetAudioFormatType(EAudioFormatType& type) override {
    const RhoStatus status = CPCMCompressor::GetAudioFormatType(type);
    type = kFault == "TypeOfTheRun" && m_hasBegun ? m_type : type;
    return kFault == "NoTypeAt24Bits" && type == kAudioFormat24Bit ? kRhoStatusNotSupported : status;
  }
  unsigned int IsFormatSupported(unsigned int fileFormat) override {
    Note("IsFormatSupported");
    if (kFault == "BeginsWhenAsked" && m_hasBegun) {
      CPCMCompressor::CompressFrameBegin(nullptr);
    }
    return kFault == "NoMatroska" ? 0 : kFault == "AllFormats" ? 1 : CPCMCompressor::IsFormatSupported(fileFormat);
  }
  void SetFileFormatHint(unsigned int fileFormat) override {
    Note(fileFormat == FourCharacterCode(" MKV") ? "SetFileFormatHint" : "wrong hint");
  }
  unsigned int SetOutputPacketType(IPacket::TPacketType type) override {
    Note("SetOutputPacketType");
    return kFault == "NoPackets" ? 0 : CPCMCompressor::SetOutputPacketType(type) | (kFault == "AnyPackets" ? 1U : 0U);
  }
  RhoStatus CompressFrameBegin(KelAudio_t* format) override {
    Note("CompressFrameBegin");
    g_current = this;
    m_emitted = 0;
    m_thread = std::this_thread::get_id();
    if (kFault == "ReopensStream") {
      CPCMCompressor::CompressFrameEnd();
    } else if (kFault == "RoundsDown") {
      const double rate = CPCMCompressor::GetSampleRate();
      CPCMCompressor::SetFrameRateHint(rate / std::max(1.0, std::floor(rate / m_frameRateHint)));
    }
    if (kFault == "BeginsOnce" && m_hasBegun) {
      return kRhoStatusSuccess;
    }
    m_hasBegun = true;
    CPCMCompressor::GetAudioFormatType(m_type);
    m_bits = CPCMCompressor::GetSampleSizeSetting()->GetValue();
    if (kFault == "Uninitialised") {
      SetFrameRateHint(20.0 + UnknownNumber() / 256.0);  // of three bits, one run in eight would look sound
    } else if (kFault == "NeedsMemory") {
      UseMemoryUnasked();
    }
    const RhoStatus status = CPCMCompressor::CompressFrameBegin(format);
    return kFault == "NoBegin"                                        ? kRhoStatusNoObject
           : kFault == "OtherRefusal" && status == kRhoStatusNoObject ? kRhoStatusBadArgument
                                                                      : status;
  }
  RhoStatus CompressFrame(KelAudio_t* in, KelAudio_t* out) override {
    Note(in == nullptr ? "flush" : "CompressFrame");
    if (kFault == "Hangs") {
      Hang();
    } else if (kFault == "NeedsBegin" && !m_hasBegun) {
      std::abort();
    }
    if (kFault == "BeginsInPart" && m_bits == 0) {
      return kRhoStatusBadArgument;
    }
    if (kFault == "SmallBlocks" && in != nullptr && in->dataSize > (1U << 24U)) {
      return kRhoStatusBadArgument;
    }
    if (kFault == "ReadsSampleCount" && in != nullptr) {
      in->dataSize = in->sampleCount * CPCMCompressor::GetSampleSizeSetting()->GetValue() / 8 *
                     KelGetNumberChannels(CPCMCompressor::GetChannelMode());
    }
    if (kFault == "OtherStatus" && out == nullptr) {
      return kRhoStatusNotSupported;
    }
    const bool isShared = g_inside++ != 0;
    if (out != nullptr && kFault.starts_with("Bundle") && static_cast<KelEncAudio_t*>(out)->packets == nullptr) {
      static_cast<KelEncAudio_t*>(out)->packets = new Bundle();
    }
    const bool fails = in == nullptr ? kFault == "NoFlush" : kFault == "NoFrame";
    if (in != nullptr && in->dataSize != 0 && in->data != nullptr) {
      SpoilInput(*in, in->data);
    }
    const bool skips = kFault == "SkipsSmall" && in != nullptr && in->sampleCount == 1;
    const RhoStatus status = fails ? kRhoStatusBadArgument : skips ? 0 : CPCMCompressor::CompressFrame(in, out);
    if (out != nullptr && static_cast<KelEncAudio_t*>(out)->packets != nullptr) {
      m_bundle = static_cast<KelEncAudio_t*>(out)->packets;
      SpoilOutput(in == nullptr);
      m_emitted += out->sampleCount;
      Spend();
      if (kFault == "SharesScratch") {
        sched_yield();
      }
      if (m_bundle->size() != 0) {
        Change(static_cast<TRHOAPIPacket&>(*m_bundle->get(m_bundle->size() - 1)), isShared);
      }
    }
    --g_inside;
    return status;
  }
  RhoStatus CompressFrameEnd() override {
    Note("CompressFrameEnd");
    return kFault == "NoEnd" ? kRhoStatusNotSupported : CPCMCompressor::CompressFrameEnd();
  }
  RhoStatus Release() override {
    Note("Release");
    if (kFault == "OwnsPackets" && m_bundle != nullptr) {
      m_bundle->destroy();
    }
    const RhoStatus status = CPCMCompressor::Release();
    return kFault == "DeniesRelease" ? kRhoStatusNotSupported : status;
  }

 private:
  static void SpoilInput(const KelAudio_t& in, volatile unsigned char* bytes) {
    const unsigned char read = bytes[kFault == "ReadsBeyond" ? in.dataSize : 0];
    if (kFault == "WritesInput") {
      bytes[0] = read;
    }
    g_block = kFault == "Hoards" ? std::malloc(100) : nullptr;
  }
  void SpoilOutput(bool isFlush) {
    // No other fault module is to look at all packets each time.
    const bool spoilsAll = kFault == "TimesJump" || kFault == "SharesState" || kFault == "ChangesBytes";
    for (unsigned long index = 0; spoilsAll && index < m_bundle->size(); ++index) {
      auto& packet = static_cast<TRHOAPIPacket&>(*m_bundle->get(index));
      packet.m_time |= kFault == "TimesJump" || (kFault == "SharesState" && g_current != this) ? 1U : 0U;
      const_cast<unsigned char&>(*packet.getData()) |= static_cast<unsigned char>(kFault == "ChangesBytes");
    }
    if (isFlush && (kFault == "LosesTail" || (kFault == "ClearsBundle" && m_bundle->size() > 2))) {
      m_bundle->remove(m_bundle->size() - 1)->destroy();
    } else if (isFlush && kFault == "GoesOn") {
      CPCMCompressor::CompressFrameEnd();
    }
  }

  /// Faults that take time or memory.
  void Spend() {
    if (kFault == "SlowsDown") {
      for (unsigned long long i = 0; i < m_emitted / 8; ++i) {
        g_ended = 0;
      }
    } else if (kFault == "AllocatesPerSample") {
      for (unsigned long long i = 0; i < 20 * m_emitted / std::max(1U, CPCMCompressor::GetSampleRate()); ++i) {
        g_block = std::malloc(1);
        std::free(g_block);
      }
    } else if (kFault == "Overruns") {
      g_block = std::malloc(40);
      static_cast<volatile char*>(g_block)[40] = 0;
      std::free(g_block);
    }
  }
  /// Faults of single packets.
  void Change(TRHOAPIPacket& packet, bool isShared) const {
    auto* const bytes = const_cast<unsigned char*>(packet.getData());
    const bool isSilent =
        std::all_of(bytes, bytes + packet.getDataSize(), [](unsigned char byte) { return byte == 0; });
    if ((kFault == "ChangesSilence" && isSilent) || (kFault == "SharesScratch" && isShared) ||
        (kFault == "NeedsItsThread" && m_thread != std::this_thread::get_id())) {
      bytes[0] ^= 1U;
    } else if (kFault == "FloatTimes") {
      packet.m_time = static_cast<unsigned long long>(static_cast<float>(packet.m_time));
    }
  }

  bool m_hasBegun = false;
  EAudioFormatType m_type{};
  unsigned int m_bits = 16;
  bool m_wasLow = false;
  unsigned long long m_emitted = 0;
  std::thread::id m_thread;
  ExactLayouts m_exact;
  Extra m_extra;
  IPacketBundle* m_bundle = nullptr;
};

}  // namespace

int RhoGetNumberAudioCompressors() {
  static int calls = 0;
  const int count = kFault == "CountsUp" ? 1 + calls++ : 1;
  return kFault == "NoCompressors" ? 0 : kFault == "TwoCompressors" ? 2 : count;
}

void RhoGetAudioCompressorInfo(unsigned int, unsigned int* manufacturer, unsigned int* codec, unsigned int* version) {
  unsigned int unwanted = 0;
  *(manufacturer != nullptr ? manufacturer : &unwanted) = kPCMManufacturerCode;
  *(codec != nullptr || kFault == "NeedsPointers" ? codec : &unwanted) = kPCMCodecCode;
  *(version != nullptr ? version : &unwanted) = kFault == "NewVersion" ? static_cast<unsigned int>(getpid()) : 1;
}

#ifndef WITHOUT_ENTRY_POINT
IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec) {
  if (kFault == "NoObject") {
    return nullptr;
  }
  if (kFault != "AnyCodes" && (manufacturer != kPCMManufacturerCode || codec != kPCMCodecCode)) {
    return kFault == "Throws" ? throw 1 : nullptr;
  }
  return NullOnFailure([codec]() -> IAudioCompressor* { return new Compressor(codec); });
}
#endif
