#include "RHOAPI/RhoapiAudioCodec.h"

PluginProperties::PluginProperties() : PluginProperties(0, 1, 1, 1) {}

PluginProperties::PluginProperties(unsigned int topDown, unsigned int vbr, unsigned int twoPass,
                                   unsigned int fixedQuality)
    : m_topDown(topDown), m_vbr(vbr), m_twoPass(twoPass), m_fixedQuality(fixedQuality) {}

PluginProperties* PluginProperties::CreateCopy() const { return new PluginProperties(*this); }
