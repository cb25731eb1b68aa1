#pragma once

/// The settings model as hosts see it. A plug-in describes each of its options as an object with one of these
/// interfaces. A host reads the type code, uses the sub-interface that belongs to it, shows label, units and tool tip,
/// writes the user's choice back and stores it in presets under the preset label.
///
/// The order of the virtual operations is the ABI: hosts call by position. Nothing is inserted, moved or removed; a
/// sub-interface appends its own operations behind the common ones.
///
/// Rules for all of them:
/// - Texts are NUL-terminated byte strings. A setter copies its argument. A getter's result belongs to the setting and
///   stays valid until that text is set again, its list is replaced or cleared, or the setting is assigned to or
///   destroyed. Adding entries to a list invalidates no text. A null text counts as empty, unless an operation says
///   otherwise.
/// - Flags are unsigned integers, 0 for no and anything else for yes, stored exactly as given.
/// - No operation reports an error: a setting ignores a value that it cannot accept, and the caller finds out by
///   reading the value back. Only std::bad_alloc is thrown.
/// - One thread at a time uses a setting. Its owner, normally the plug-in object, destroys it.

#include "Toolbox/KelUtils/Media/TimeCodes.h"

/// The results of GetType, which tell the sub-interface that a setting implements.
enum ESettingType : unsigned int {
  kSettingTypeBool = 1,
  kSettingTypeEnum = 2,
  kSettingTypeInt = 3,
  kSettingTypeUnsignedInt = 4,
  kSettingTypeDouble = 5,
  kSettingTypeFile = 6,
  kSettingTypeTimeInOut = 7,
  kSettingTypeUnsignedIntArray = 8,
  kSettingTypeByteArray = 9,
  kSettingTypeText = 10,
  kSettingTypeTimeCode = 11,
  kSettingTypeArray = 12,
};

/// The highest type code. The codes have no gaps.
inline constexpr ESettingType kLastSettingType = kSettingTypeArray;

/// The operations of every setting.
class ISetting {
 public:
  virtual ~ISetting() = default;
  /// The type code, one of ESettingType.
  virtual unsigned int GetType() const = 0;
  /// The control or dialog to show; the host defines the meaning of the codes.
  virtual unsigned int GetDialogHint() const = 0;
  /// Text beside the control.
  virtual const char* GetLabel() const = 0;
  /// Text behind the value, empty for most.
  virtual const char* GetUnits() const = 0;
  /// Name of the value in presets.
  virtual const char* GetPresetLabel() const = 0;
  /// Whether the setting accepts its allowable values only.
  virtual unsigned int GetIsValueConstrained() const = 0;
  /// Whether the control is enabled. Where a setting does not store it, it is always 1 and setting it does nothing.
  virtual void SetIsActive(unsigned int /*active*/) {}
  virtual unsigned int GetIsActive() const { return 1; }  ///< 1 if it is enabled
  /// A new setting of the same class and state, owned by the caller, who deletes it. Throws std::bad_alloc. A class
  /// derived from one of the module's setting classes must override it: the inherited operation copies only the base.
  virtual ISetting* CreateCopy() const = 0;
  /// Whether the setting may be left unspecified; hosts show a check box for it.
  virtual void SetIsOptional(unsigned int optional) = 0;
  /// Whether the setting is optional, as SetIsOptional stored it.
  virtual unsigned int GetIsOptional() const = 0;
  /// Whether that check box is ticked, which means that the value is used.
  virtual void SetIsOptionalValueSpecified(unsigned int specified) = 0;
  /// Whether the box is ticked, as SetIsOptionalValueSpecified stored it.
  virtual unsigned int GetIsOptionalValueSpecified() const = 0;
  /// Text beside that check box.
  virtual void SetOptionalText(const char* text) = 0;
  /// The text beside the box.
  virtual const char* GetOptionalText() const = 0;
  /// Sets the text that explains the setting.
  virtual void SetToolTipText(const char* text) = 0;
  /// The text that explains the setting; empty in a new one.
  virtual const char* GetToolTipText() const = 0;

 protected:
  ISetting() = default;
  ISetting(const ISetting&) = default;
  ISetting& operator=(const ISetting&) = default;
};

/// A flag.
class IBoolSetting : public ISetting {
 public:
  /// The value, as SetValue stored it.
  virtual unsigned int GetValue() const = 0;
  /// Stores `value` as given: 2 stays 2.
  virtual void SetValue(unsigned int value) = 0;
};

/// The operations of the three numeric kinds. The range is information for the host; the setting never applies it. It
/// applies the allowable values when GetIsValueConstrained says so.
template <class Value>
class INumericSetting : public ISetting {
 public:
  /// Texts for the ends of the range.
  virtual const char* GetLowLabel() const = 0;
  /// Text for the upper end of the range.
  virtual const char* GetHighLabel() const = 0;
  /// The value.
  virtual Value GetValue() const = 0;
  /// Stores `value`, unless the setting is constrained and `value` is not among its allowable values.
  virtual void SetValue(Value value) = 0;
  /// The lower end of the range.
  virtual Value GetMinValue() const = 0;
  /// The upper end of the range.
  virtual Value GetMaxValue() const = 0;
  /// The number of allowable values.
  virtual unsigned int GetNumberOfAllowableValues() const = 0;
  /// The allowable value at `index`; 0 when `index` is out of range.
  virtual Value GetAllowableValue(unsigned int index) const = 0;
  /// Index of the first allowable value that equals `value`, or -1.
  virtual int FindIndexOf(Value value) = 0;
  /// Stores the allowable value at `index`; does nothing when `index` is out of range.
  virtual void SetSelected(unsigned int index) = 0;
};

/// A signed number.
class IIntSetting : public INumericSetting<int> {};
/// An unsigned number.
class IUnsignedIntSetting : public INumericSetting<unsigned int> {};
/// A floating-point number.
class IDoubleSetting : public INumericSetting<double> {};

/// One choice from a list of texts.
class IEnumSetting : public ISetting {
 public:
  /// Text of the selected entry; empty when no entry is selected.
  virtual const char* GetValue() const = 0;
  /// Selects an entry by its text: an exact match first, then one that ignores letter case, then a prefix match in
  /// either direction. Does nothing when no entry matches or `text` is null.
  virtual void SetValue(const char* text) = 0;
  /// EnumSetting: the selected index. StringEnumSetting: the number that belongs to the selected text, 0 when no entry
  /// is selected.
  virtual unsigned int GetSelected() const = 0;
  /// Selects the entry at `index`; does nothing when `index` is out of range.
  virtual void SetSelected(unsigned int index) = 0;
  /// The number of allowable values.
  virtual unsigned int GetNumberOfAllowableValues() const = 0;
  /// Text of the entry at `index`; empty when `index` is out of range.
  virtual const char* GetAllowableValue(unsigned int index) const = 0;
  /// Index of the first entry with exactly this text; -1 when there is none or `text` is null.
  virtual int FindIndexOf(const char* text) = 0;
};

/// A file's path.
class IFileSetting : public ISetting {
 public:
  /// The value.
  virtual const char* GetValue() const = 0;
  /// Stores the first 255 characters of `path`.
  virtual void SetValue(const char* path) = 0;
  /// The files that the host's dialog offers, in the host's syntax.
  virtual const char* GetQTFileFilter() const = 0;
  /// Sets which dialog the host shows.
  virtual void SetDialogHint(unsigned int dialogHint) = 0;
};

/// A text of any length.
class ITextSetting : public ISetting {
 public:
  /// The value.
  virtual const char* GetValue() const = 0;
  /// Stores a copy of the text.
  virtual void SetValue(const char* text) = 0;
};

/// A time code. The units tell whether it counts frames or milliseconds.
class ITimeCodeSetting : public ISetting {
 public:
  /// The time code.
  virtual KelTimeCode GetValue() const = 0;
  /// Stores the time code as given.
  virtual void SetValue(KelTimeCode value) = 0;
};

/// A range of time, in ticks of a time scale (ticks per second). The three numbers are independent.
class ITimeInOutSetting : public ISetting {
 public:
  /// The three numbers at once.
  virtual void GetValue(unsigned long long& timeScale, unsigned long long& timeIn,
                        unsigned long long& timeOut) const = 0;
  /// Stores the three numbers as given.
  virtual void SetValue(unsigned long long timeScale, unsigned long long timeIn, unsigned long long timeOut) = 0;
  /// Ticks per second.
  virtual unsigned long long GetTimeScale() const = 0;
  /// Start of the range, in ticks.
  virtual unsigned long long GetTimeIn() const = 0;
  /// End of the range, in ticks.
  virtual unsigned long long GetTimeOut() const = 0;
};

/// A fixed number of unsigned values, each with a label. The range is information for the host.
class IUnsignedIntArraySetting : public ISetting {
 public:
  /// The number of values.
  virtual unsigned int GetNumberOfValues() const = 0;
  /// The value at `index`; 0 when `index` is out of range.
  virtual unsigned int GetValue(unsigned int index) const = 0;
  /// Stores `value` at `index`; does nothing when `index` is out of range.
  virtual void SetValue(unsigned int index, unsigned int value) = 0;
  /// Copies all values to `dest`; copies none when there are more than `capacity`.
  virtual void GetValues(unsigned int* dest, unsigned int capacity) const = 0;
  /// Stores as many of the `count` values at `src` as the setting has; stores none when `count` is less.
  virtual void SetValues(unsigned int* src, unsigned int count) = 0;
  /// The label of the value at `index`; null when it has none.
  virtual const char* GetValueLabel(unsigned int index) const = 0;
  /// The lower end of the range of each value.
  virtual unsigned int GetMinValue() const = 0;
  /// The upper end of the range of each value.
  virtual unsigned int GetMaxValue() const = 0;
};

/// Bytes of any number.
class IByteArraySetting : public ISetting {
 public:
  /// The number of bytes.
  virtual unsigned int GetDataSize() const = 0;
  /// The first byte, which must not be read when the size is 0. Valid until the next SetData.
  virtual const unsigned char* GetData() const = 0;
  /// Stores a copy of the `size` bytes at `data`; null counts as no bytes.
  virtual void SetData(const unsigned char* data, unsigned int size) = 0;
};

/// A list of settings that is a setting itself. It is never optional and has no units.
class ISettingArray : public ISetting {
 public:
  unsigned int GetType() const override { return kSettingTypeArray; }
  unsigned int GetDialogHint() const override { return 13; }
  const char* GetUnits() const override { return ""; }
  unsigned int GetIsValueConstrained() const override { return 0; }
  void SetIsOptional(unsigned int /*optional*/) override {}
  /// 0: a list is never optional.
  unsigned int GetIsOptional() const override { return 0; }
  void SetIsOptionalValueSpecified(unsigned int /*specified*/) override {}
  /// 1: the list counts.
  unsigned int GetIsOptionalValueSpecified() const override { return 1; }
  void SetOptionalText(const char* /*text*/) override {}
  /// The empty text.
  const char* GetOptionalText() const override { return ""; }
  /// Does nothing, unless a class stores it.
  void SetToolTipText(const char* /*text*/) override {}
  /// The empty text, unless a class stores one.
  const char* GetToolTipText() const override { return ""; }

  /// The number of settings in the list.
  virtual unsigned int GetNumberOfSettings() const = 0;
  /// The setting at `index`; null when that element is null or `index` is out of range.
  virtual ISetting* GetSetting(unsigned int index) const = 0;
};
