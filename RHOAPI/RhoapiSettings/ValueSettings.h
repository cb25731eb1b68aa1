#pragma once

/// The kinds that have one value and no list of allowable values. They store values without checking them.
/// Constructors take the initial value; the other operations are those of the interface unless a class says more.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RhoapiSettings/Setting.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

/// A flag.
class RHOAPI_EXPORT BoolSetting : public TSetting<BoolSetting, IBoolSetting, kSettingTypeBool> {
 public:
  /// A setting without label: 0.
  BoolSetting();
  /// Takes the initial value.
  BoolSetting(const char* label, const char* presetLabel, unsigned int value);

  unsigned int GetValue() const override { return m_value; }
  void SetValue(unsigned int value) override { m_value = value; }
  /// Sets which control or dialog hosts show.
  void SetDialogHint(unsigned int dialogHint) { StoreDialogHint(dialogHint); }

 private:
  unsigned int m_value;
};

/// A text.
class RHOAPI_EXPORT TextSetting : public TSetting<TextSetting, ITextSetting, kSettingTypeText> {
 public:
  /// A setting without label: the empty text.
  TextSetting();
  /// Takes the initial value.
  TextSetting(const char* label, const char* presetLabel, const char* value);

  const char* GetValue() const override { return m_value.c_str(); }
  void SetValue(const char* text) override { m_value = OrEmpty(text); }
  using TSetting::SetUnits;

 private:
  std::string m_value;
};

/// A path of at most 255 characters; a longer one is truncated.
class RHOAPI_EXPORT FileSetting : public TSetting<FileSetting, IFileSetting, kSettingTypeFile> {
 public:
  /// A setting without label and path.
  explicit FileSetting(unsigned int dialogHint);
  /// Takes the initial value.
  FileSetting(const char* label, const char* presetLabel, const char* value, const char* fileFilter);

  const char* GetValue() const override { return m_value.data(); }
  void SetValue(const char* path) override {
    const char* const text = OrEmpty(path);
    const std::size_t length = strnlen(text, m_value.size() - 1);
    std::fill(std::copy_n(text, length, m_value.begin()), m_value.end(), '\0');
  }
  const char* GetQTFileFilter() const override { return m_fileFilter.c_str(); }
  void SetDialogHint(unsigned int dialogHint) override { StoreDialogHint(dialogHint); }
  using TSetting::SetUnits;

 private:
  std::array<char, 256> m_value{};
  std::string m_fileFilter;
};

/// A time code. Two flags, 0 in a new setting, tell whether it counts milliseconds, frames, or drop-frame frames. They
/// change only the units that hosts show; the value is never converted.
class RHOAPI_EXPORT TimeCodeSetting : public TSetting<TimeCodeSetting, ITimeCodeSetting, kSettingTypeTimeCode> {
 public:
  /// A setting without label: all fields 0.
  TimeCodeSetting();
  /// Takes the initial value.
  TimeCodeSetting(const char* label, const char* presetLabel, KelTimeCode value);

  const char* GetUnits() const override {
    if (m_useFrameCount == 0) {
      return "hh:mm:ss:mmm";
    }
    return m_useDropFrame == 0 ? "hh:mm:ss:ff" : "hh:mm:ss;ff";
  }
  KelTimeCode GetValue() const override { return m_value; }
  void SetValue(KelTimeCode value) override { m_value = value; }

  /// Sets whether frames are counted rather than milliseconds.
  void SetUseFrameCount(unsigned int useFrameCount);
  /// That flag, as stored.
  unsigned int GetUseFrameCount() const;
  /// Sets whether counting frames drops numbers.
  void SetUseDropFrame(unsigned int useDropFrame);
  /// That flag, as stored.
  unsigned int GetUseDropFrame() const;
  /// Sets which control or dialog hosts show.
  void SetDialogHint(unsigned int dialogHint) { StoreDialogHint(dialogHint); }

 private:
  KelTimeCode m_value;
  unsigned int m_useFrameCount = 0;
  unsigned int m_useDropFrame = 0;
};

/// A range of time. It has no label and no preset label.
class RHOAPI_EXPORT TimeInOutSetting
    : public TAlwaysActiveSetting<TimeInOutSetting, ITimeInOutSetting, kSettingTypeTimeInOut> {
 public:
  /// Takes the initial value.
  TimeInOutSetting(unsigned long long timeScale, unsigned long long timeIn, unsigned long long timeOut);

  void GetValue(unsigned long long& timeScale, unsigned long long& timeIn, unsigned long long& timeOut) const override {
    timeScale = m_timeScale;
    timeIn = m_timeIn;
    timeOut = m_timeOut;
  }
  void SetValue(unsigned long long timeScale, unsigned long long timeIn, unsigned long long timeOut) override {
    m_timeScale = timeScale;
    m_timeIn = timeIn;
    m_timeOut = timeOut;
  }
  unsigned long long GetTimeScale() const override { return m_timeScale; }
  unsigned long long GetTimeIn() const override { return m_timeIn; }
  unsigned long long GetTimeOut() const override { return m_timeOut; }

 private:
  unsigned long long m_timeScale;
  unsigned long long m_timeIn;
  unsigned long long m_timeOut;
};

/// A fixed number of unsigned values, each with a label.
class RHOAPI_EXPORT UnsignedIntArraySetting
    : public TAlwaysActiveSetting<UnsignedIntArraySetting, IUnsignedIntArraySetting, kSettingTypeUnsignedIntArray> {
 public:
  /// A setting without label and values, in the range from 0 to 0.
  UnsignedIntArraySetting();
  /// Copies the `count` numbers at `values` and, unless `valueLabels` is null, `count` labels, of which a null one
  /// counts as empty. With null `values` the setting has the labels but no values.
  UnsignedIntArraySetting(const char* label, const char* presetLabel, unsigned int count, unsigned int* values,
                          const char** valueLabels, unsigned int min, unsigned int max);

  unsigned int GetNumberOfValues() const override { return static_cast<unsigned int>(m_values.size()); }
  unsigned int GetValue(unsigned int index) const override { return index < m_values.size() ? m_values[index] : 0; }
  void SetValue(unsigned int index, unsigned int value) override {
    if (index < m_values.size()) {
      m_values[index] = value;
    }
  }
  void GetValues(unsigned int* dest, unsigned int capacity) const override {
    if (dest != nullptr && capacity >= m_values.size()) {
      std::copy(m_values.begin(), m_values.end(), dest);
    }
  }
  void SetValues(unsigned int* src, unsigned int count) override {
    if (src != nullptr && count >= m_values.size()) {
      std::copy_n(src, m_values.size(), m_values.begin());
    }
  }
  const char* GetValueLabel(unsigned int index) const override {
    return index < m_valueLabels.size() ? m_valueLabels[index].c_str() : nullptr;
  }
  unsigned int GetMinValue() const override { return m_min; }
  unsigned int GetMaxValue() const override { return m_max; }
  /// Sets which control or dialog hosts show.
  void SetDialogHint(unsigned int dialogHint) { StoreDialogHint(dialogHint); }

 private:
  std::vector<unsigned int> m_values;
  std::vector<std::string> m_valueLabels;
  unsigned int m_min;
  unsigned int m_max;
};

/// Bytes of any number.
class RHOAPI_EXPORT ByteArraySetting
    : public TAlwaysActiveSetting<ByteArraySetting, IByteArraySetting, kSettingTypeByteArray> {
 public:
  /// A setting without label and bytes.
  ByteArraySetting();
  /// Copies the `size` bytes at `data`; null counts as no bytes.
  ByteArraySetting(const char* label, const char* presetLabel, const unsigned char* data, unsigned int size);

  unsigned int GetDataSize() const override { return static_cast<unsigned int>(m_data.size()); }
  const unsigned char* GetData() const override { return m_data.data(); }
  /// `data` may point into the setting's own bytes. Null counts as no bytes. When out of memory nothing changes.
  void SetData(const unsigned char* data, unsigned int size) override {
    m_data = data == nullptr ? std::vector<unsigned char>() : std::vector<unsigned char>(data, data + size);
  }

 private:
  std::vector<unsigned char> m_data;
};
