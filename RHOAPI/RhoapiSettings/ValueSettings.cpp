#include "RHOAPI/RhoapiSettings/ValueSettings.h"

// The two numbers that constructors here pass to the base class are the initial dialog hint and the constrained flag.
BoolSetting::BoolSetting() : BoolSetting("", "", 0) {}

BoolSetting::BoolSetting(const char* label, const char* presetLabel, unsigned int value)
    : TSetting(label, presetLabel, 1, 0), m_value(value) {}

TextSetting::TextSetting() : TextSetting("", "", "") {}

TextSetting::TextSetting(const char* label, const char* presetLabel, const char* value)
    : TSetting(label, presetLabel, 11, 1), m_value(OrEmpty(value)) {}

FileSetting::FileSetting(unsigned int dialogHint) : TSetting("", "", dialogHint, 1) {}

FileSetting::FileSetting(const char* label, const char* presetLabel, const char* value, const char* fileFilter)
    : TSetting(label, presetLabel, 6, 1), m_fileFilter(OrEmpty(fileFilter)) {
  FileSetting::SetValue(value);
}

TimeCodeSetting::TimeCodeSetting() : TimeCodeSetting("", "", KelTimeCode{}) {}

TimeCodeSetting::TimeCodeSetting(const char* label, const char* presetLabel, KelTimeCode value)
    : TSetting(label, presetLabel, 1, 0), m_value(value) {}

void TimeCodeSetting::SetUseFrameCount(unsigned int useFrameCount) { m_useFrameCount = useFrameCount; }

unsigned int TimeCodeSetting::GetUseFrameCount() const { return m_useFrameCount; }

void TimeCodeSetting::SetUseDropFrame(unsigned int useDropFrame) { m_useDropFrame = useDropFrame; }

unsigned int TimeCodeSetting::GetUseDropFrame() const { return m_useDropFrame; }

TimeInOutSetting::TimeInOutSetting(unsigned long long timeScale, unsigned long long timeIn, unsigned long long timeOut)
    : TAlwaysActiveSetting("", "", 7, 0), m_timeScale(timeScale), m_timeIn(timeIn), m_timeOut(timeOut) {}

UnsignedIntArraySetting::UnsignedIntArraySetting() : UnsignedIntArraySetting("", "", 0, nullptr, nullptr, 0, 0) {}

UnsignedIntArraySetting::UnsignedIntArraySetting(const char* label, const char* presetLabel, unsigned int count,
                                                 unsigned int* values, const char** valueLabels, unsigned int min,
                                                 unsigned int max)
    : TAlwaysActiveSetting(label, presetLabel, 8, 0), m_values(values == nullptr ? 0 : count), m_min(min), m_max(max) {
  // Fills the values, whose number is fixed above.
  UnsignedIntArraySetting::SetValues(values, count);
  if (valueLabels != nullptr) {
    std::transform(valueLabels, valueLabels + count, std::back_inserter(m_valueLabels), OrEmpty);
  }
}

ByteArraySetting::ByteArraySetting() : ByteArraySetting("", "", nullptr, 0) {}

ByteArraySetting::ByteArraySetting(const char* label, const char* presetLabel, const unsigned char* data,
                                   unsigned int size)
    : TAlwaysActiveSetting(label, presetLabel, 7, 0) {
  ByteArraySetting::SetData(data, size);
}
