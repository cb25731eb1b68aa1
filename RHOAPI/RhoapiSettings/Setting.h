#pragma once

#include "RHOAPI/RhoapiSettingsInterface.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"

#include <string>

/// The common part of all leaf settings: their attributes and copying. A kind of setting derives as
///
///   class FooSetting : public TSetting<FooSetting, IFooSetting, kSettingTypeFoo>
///
/// and adds its value. A kind has no setter for an attribute that is fixed in it: SetUnits and SetIsValueConstrained
/// are protected, and kinds that store these attributes make them public with a using declaration; kinds that store a
/// dialog hint implement their SetDialogHint with StoreDialogHint.
///
/// CreateCopy returns a `Concrete`. A class derived from a concrete kind must override it: otherwise its copies are
/// copies of the base only.
template <class Concrete, class Interface, ESettingType kType>
class TSetting : public Interface {
 public:
  unsigned int GetType() const override { return kType; }
  unsigned int GetDialogHint() const override { return m_dialogHint; }
  const char* GetLabel() const override { return m_label.c_str(); }
  const char* GetUnits() const override { return m_units.c_str(); }
  const char* GetPresetLabel() const override { return m_presetLabel.c_str(); }
  unsigned int GetIsValueConstrained() const override { return m_isValueConstrained; }
  void SetIsActive(unsigned int active) override { m_isActive = active; }
  unsigned int GetIsActive() const override { return m_isActive; }
  ISetting* CreateCopy() const override { return new Concrete(static_cast<const Concrete&>(*this)); }
  void SetIsOptional(unsigned int optional) override { m_isOptional = optional; }
  unsigned int GetIsOptional() const override { return m_isOptional; }
  void SetIsOptionalValueSpecified(unsigned int specified) override { m_isOptionalValueSpecified = specified; }
  unsigned int GetIsOptionalValueSpecified() const override { return m_isOptionalValueSpecified; }
  void SetOptionalText(const char* text) override { m_optionalText = OrEmpty(text); }
  const char* GetOptionalText() const override { return m_optionalText.c_str(); }
  void SetToolTipText(const char* text) override { m_toolTipText = OrEmpty(text); }
  const char* GetToolTipText() const override { return m_toolTipText.c_str(); }

 protected:
  /// A setting that is active and not optional.
  TSetting(const char* label, const char* presetLabel, unsigned int dialogHint, unsigned int isValueConstrained)
      : m_label(OrEmpty(label)),
        m_presetLabel(OrEmpty(presetLabel)),
        m_dialogHint(dialogHint),
        m_isValueConstrained(isValueConstrained) {}

  /// Sets the text behind the value.
  void SetUnits(const char* units) { m_units = OrEmpty(units); }
  /// Sets which control or dialog hosts show.
  void StoreDialogHint(unsigned int dialogHint) { m_dialogHint = dialogHint; }
  /// Sets whether only the allowable values are taken.
  void SetIsValueConstrained(unsigned int isValueConstrained) { m_isValueConstrained = isValueConstrained; }

 private:
  std::string m_label;
  std::string m_presetLabel;
  std::string m_units;
  std::string m_optionalText;
  std::string m_toolTipText;
  unsigned int m_dialogHint;
  unsigned int m_isValueConstrained;
  unsigned int m_isActive = 1;
  unsigned int m_isOptional = 0;
  unsigned int m_isOptionalValueSpecified = 0;
};

/// A leaf setting that is always active.
template <class Concrete, class Interface, ESettingType kType>
class TAlwaysActiveSetting : public TSetting<Concrete, Interface, kType> {
 public:
  void SetIsActive(unsigned int /*active*/) override {}

 protected:
  using TSetting<Concrete, Interface, kType>::TSetting;
};
