#pragma once

/// One choice from a list of texts. A value given as text is matched leniently (TEnumTexts::FindLeniently). Both
/// classes look the same to hosts.

#include "RHOAPI/RHOAPIExport.h"
#include "RHOAPI/RhoapiSettings/EnumTexts.h"
#include "RHOAPI/RhoapiSettings/Setting.h"

/// The common part of both classes: the entries and the selection.
template <class Concrete>
class TEnumSetting : public TSetting<Concrete, IEnumSetting, kSettingTypeEnum> {
  using Base = TSetting<Concrete, IEnumSetting, kSettingTypeEnum>;

 public:
  const char* GetValue() const override { return m_texts.At(m_selected); }
  void SetValue(const char* text) override {
    if (const unsigned int index = m_texts.FindLeniently(text); index < m_texts.Size()) {
      m_selected = index;
    }
  }
  void SetSelected(unsigned int index) override {
    if (index < m_texts.Size()) {
      m_selected = index;
    }
  }
  unsigned int GetNumberOfAllowableValues() const override { return m_texts.Size(); }
  const char* GetAllowableValue(unsigned int index) const override { return m_texts.At(index); }
  int FindIndexOf(const char* text) override { return m_texts.FindExactly(text); }
  using Base::SetUnits;

 protected:
  /// A setting without entries.
  TEnumSetting(const char* label, const char* presetLabel) : Base(label, presetLabel, 5, 1) {}

  TEnumTexts m_texts;           ///< the entries
  unsigned int m_selected = 0;  ///< index of the selected entry
};

/// A list of texts; the value is the selected text.
class RHOAPI_EXPORT EnumSetting : public TEnumSetting<EnumSetting> {
 public:
  /// A setting without label and entries.
  EnumSetting();
  EnumSetting(const EnumSetting&) = default;
  /// When out of memory nothing changes.
  EnumSetting& operator=(const EnumSetting& other) { return *this = EnumSetting(other); }
  EnumSetting& operator=(EnumSetting&&) = default;
  /// Lists the `count` texts at `values`, except nulls, then selects `value`. When no entry matches it, selects the
  /// first empty entry, or the first entry when none is empty.
  EnumSetting(const char* label, const char* presetLabel, const char* value, unsigned int count, const char** values);

  /// The selected index.
  unsigned int GetSelected() const override { return m_selected; }

  /// Appends an entry; the selection does not change. Null is ignored. When out of memory nothing changes.
  void AddAnEnum(const char* text);
  /// Replaces the list by the `count` texts at `values`, except nulls. The entry with the selected text stays selected;
  /// when there is none, the first entry is selected. When out of memory nothing changes.
  void ResetAllowableValues(unsigned int count, const char** values);
  /// Index of the entry that matches `text` leniently, or the number of entries. Null matches nothing.
  unsigned int FindIndexOfEnum(const char* text) const;
  /// Sets which control or dialog hosts show.
  void SetDialogHint(unsigned int dialogHint) { StoreDialogHint(dialogHint); }
};

/// A list of pairs of a text, which the host sees, and a number, which the owner reads.
class RHOAPI_EXPORT StringEnumSetting : public TEnumSetting<StringEnumSetting> {
 public:
  /// A setting without entries.
  StringEnumSetting(const char* label, const char* presetLabel);
  StringEnumSetting(const StringEnumSetting&) = default;
  /// When out of memory nothing changes.
  StringEnumSetting& operator=(const StringEnumSetting& other) { return *this = StringEnumSetting(other); }
  StringEnumSetting& operator=(StringEnumSetting&&) = default;

  /// The number of the selected pair, not its index; 0 when no pair is selected.
  unsigned int GetSelected() const override { return static_cast<unsigned int>(GetValueInt()); }

  /// Appends a pair; the selection does not change. A null name counts as empty. When out of memory nothing changes.
  void AddValue(const char* name, int number);
  /// Empties the list. The selected index does not change and selects an entry again once the list is long enough.
  void Clear();
  using TEnumSetting::SetValue;
  /// Selects the first pair with that number; does nothing when there is none.
  void SetValue(int number);
  /// The number of the selected pair; 0 when no pair is selected.
  int GetValueInt() const;
  /// The number of the pair at `index`; 0 when `index` is out of range.
  int GetAllowableIntValue(unsigned int index) const;
  using TEnumSetting::FindIndexOf;
  /// Index of the first pair with that number, or -1.
  int FindIndexOf(int number);
};
