#pragma once

/// Shorthand for building libmatroska's elements.

#include <ebml/EbmlMaster.h>
#include <ebml/EbmlUnicodeString.h>
#include <ebml/IOCallback.h>
#include <cstdint>
#include <string>

/// A master element whose head is written before its children exist; each child is rendered on its own. Its size reads
/// as unknown until Close overwrites it.
template <class Master>
class OpenMaster final : public Master {
 public:
  void Open(libebml::IOCallback& output) { this->WriteHead(output, 8); }

  void Close(libebml::IOCallback& output) {
    this->SetSize_(output.getFilePointer() - this->GetDataStart());
    this->OverwriteHead(output, true);
  }

  filepos_t UpdateSize(bool /*withDefault*/, bool /*forceRender*/) override {
    constexpr std::uint64_t kUnknownSize = (std::uint64_t{1} << 56U) - 1;  // all ones in a size of eight bytes
    this->SetSize_(kUnknownSize);
    return kUnknownSize;
  }
};

/// Sets the child of type Element, which is created if it does not exist.
template <class Element, class Value>
Element& Set(libebml::EbmlMaster& parent, Value value) {
  auto& element = libebml::GetChild<Element>(parent);
  element.SetValue(value);
  return element;
}

/// Like Set, for an element that must be written even when its value is the default.
template <class Element, class Value>
void SetAlways(libebml::EbmlMaster& parent, Value value) {
  Set<Element>(parent, value).ForceNoDefault();
}

/// Like Set, for text in UTF-8.
template <class Element>
void SetText(libebml::EbmlMaster& parent, const std::string& text) {
  libebml::GetChild<Element>(parent).SetValueUTF8(text);
}
