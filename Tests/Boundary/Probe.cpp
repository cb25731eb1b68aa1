// Names every type that crosses the boundary of the module or of the library for hosts, so that debug information
// describes them all. scripts/check-boundary compares the description with the one in this folder.

#include "Host/Library/rho.h"
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

extern "C" void ProbeLibrary(decltype(rho_error_text)*, decltype(rho_version)*, decltype(rho_free)*,
                             decltype(rho_find_module)*, decltype(rho_list_modules)*, decltype(rho_describe_module)*,
                             decltype(rho_module_load)*, decltype(rho_module_unload)*, decltype(rho_compressor_create)*,
                             decltype(rho_compressor_destroy)*, decltype(rho_describe)*, decltype(rho_set)*,
                             decltype(rho_set_all)*, decltype(rho_set_integer)*, decltype(rho_set_double)*,
                             decltype(rho_set_json)*, decltype(rho_get_text)*, decltype(rho_get_json)*,
                             decltype(rho_get_integer)*, decltype(rho_get_double)*, decltype(rho_set_frame_rate)*,
                             decltype(rho_load_preset)*, decltype(rho_preset)*, decltype(rho_encoder_create)*,
                             decltype(rho_encoder_destroy)*, decltype(rho_encoder_format)*, decltype(rho_encode)*,
                             decltype(rho_finish)*) {}
