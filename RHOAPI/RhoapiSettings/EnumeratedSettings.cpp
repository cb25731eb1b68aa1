#include "RHOAPI/RhoapiSettings/EnumeratedSettings.h"

#include <algorithm>
#include <utility>

EnumSetting::EnumSetting() : TEnumSetting("", "") {}

EnumSetting::EnumSetting(const char* label, const char* presetLabel, const char* value, unsigned int count,
                         const char** values)
    : TEnumSetting(label, presetLabel) {
  ResetAllowableValues(count, values);
  // Qualified, since virtual calls in a constructor do not reach derived classes.
  TEnumSetting::SetValue(value);
}

void EnumSetting::AddAnEnum(const char* text) {
  if (text != nullptr) {
    m_texts.Append(text, 0);
  }
}

void EnumSetting::ResetAllowableValues(unsigned int count, const char** values) {
  // Built aside, so that the setting keeps its list when memory runs out.
  TEnumTexts replacement;
  for (unsigned int index = 0; values != nullptr && index < count; ++index) {
    if (values[index] != nullptr) {
      replacement.Append(values[index], 0);
    }
  }
  // GetValue still reads the old list: "" if that is empty. -1, not found, selects the first entry.
  m_selected = static_cast<unsigned int>(std::max(replacement.FindExactly(GetValue()), 0));
  m_texts = std::move(replacement);
}

unsigned int EnumSetting::FindIndexOfEnum(const char* text) const { return m_texts.FindLeniently(text); }

StringEnumSetting::StringEnumSetting(const char* label, const char* presetLabel) : TEnumSetting(label, presetLabel) {}

void StringEnumSetting::AddValue(const char* name, int number) { m_texts.Append(OrEmpty(name), number); }

void StringEnumSetting::Clear() { m_texts.Clear(); }

void StringEnumSetting::SetValue(int number) {
  if (const int index = FindIndexOf(number); index >= 0) {
    m_selected = static_cast<unsigned int>(index);
  }
}

int StringEnumSetting::GetValueInt() const { return m_texts.NumberAt(m_selected); }

int StringEnumSetting::GetAllowableIntValue(unsigned int index) const { return m_texts.NumberAt(index); }

int StringEnumSetting::FindIndexOf(int number) { return m_texts.FindNumber(number); }
