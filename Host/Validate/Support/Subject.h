#pragma once

/// What the checks of settings and streams begin with. Where another check says already what is wrong, these throw
/// CheckSkipped, so that one fault is not told twice.

#include "Host/Settings/SettingTree.h"
#include "Host/Validate/Support/CheckedModule.h"

#include <string>
#include <vector>

/// The module at `path`, loaded.
CheckedModule LoadModule(const std::string& path);

/// A new compressor of `module`, the first that it offers. It must not outlive the module.
CompressorOwner NewCompressor(const CheckedModule& module);

/// All settings of `compressor`, as ListSettings names them, once nothing about them would harm who walks them.
std::vector<NamedSetting> SettingsOf(IAudioCompressor& compressor);

/// The same without containers: what has a value.
std::vector<NamedSetting> ValueSettingsOf(IAudioCompressor& compressor);

/// Freed memory is filled with other bytes from now on: what still reads it is found out.
void SpoilFreedMemory();
