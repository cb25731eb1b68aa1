// Names every type that crosses the module's boundary, so that debug information describes them all.
// scripts/check-boundary compares the description with the one in this folder.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/AAudioCodec.h"
#include "RHOAPI/RHOAPIPacketBuilder.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiSettings.h"
#include "Toolbox/KelMemory.h"
#include "Toolbox/KelUtils.h"

extern "C" void Probe(
    // What hosts find by name
    decltype(RhoGetNumberAudioCompressors)*, decltype(RhoGetAudioCompressorInfo)*, decltype(CreateAudioCompressor)*,
    // What they call through virtual tables
    IAudioCompressor*, IPluginProperties*, IPacket*, IPacketBundle*, ISetting*, IBoolSetting*, IIntSetting*,
    IUnsignedIntSetting*, IDoubleSetting*, IEnumSetting*, IFileSetting*, ITextSetting*, ITimeCodeSetting*,
    ITimeInOutSetting*, IUnsignedIntArraySetting*, IByteArraySetting*, ISettingArray*, IKelProgressReporter*,
    IKelSomeFileTask*,
    // Records and enumerations
    KelAudio_t*, KelEncAudio_t*, KelImage_t*, KelTimeCode*, IPacket::TPacketType, ESettingType, EOutputStreamMode,
    EAudioFormatType, EChannelMode, EColorFormats,
    // What programs that link the module derive from or construct
    CAAudioCompressor*, PluginProperties*, TRHOAPIPacket*, PacketBuilder*, TPacketBundle*, TEnumTexts*, BoolSetting*,
    IntSetting*, UnsignedIntSetting*, DoubleSetting*, EnumSetting*, StringEnumSetting*, FileSetting*, TextSetting*,
    TimeCodeSetting*, TimeInOutSetting*, UnsignedIntArraySetting*, ByteArraySetting*, SettingsGroup*, SettingArray*,
    CKelStr<char>*, TKelOpenFile*, TKelOpenFolder*, KelMemory_c*, KelUtils*) {}
