#pragma once

/// A small owning C string, for toolbox functions that pass text through a plain interface.
///
///   CKelStr<char> text;
///   text.assign("/a/b");
///   text += "/c";  // text.m_data is "/a/b/c", text.m_length is 6

#include "RHOAPI/RHOAPIExport.h"

template <class Character>
class CKelStr;

/// The text is in one buffer from malloc, which the object frees. An operation throws std::bad_alloc and changes
/// nothing when out of memory or when its result would have 2^32 - 1 characters or more. Arguments may point into the
/// object's own buffer.
template <>
class RHOAPI_EXPORT CKelStr<char> {
 public:
  /// The characters and a terminating NUL; null in a default-constructed object and after assign(nullptr).
  char* m_data = nullptr;
  /// Number of characters, without the terminator.
  unsigned int m_length = 0;

  CKelStr() = default;
  /// A copy with its own buffer, even if `other` has none.
  CKelStr(const CKelStr& other);
  ~CKelStr();

  /// Becomes a copy of `other` with its own buffer, even if `other` has none. Assignment to itself does nothing.
  CKelStr& operator=(const CKelStr& other);

  /// Becomes a copy of `text`; after null there is no text and no buffer.
  void assign(const char* text);

  /// Becomes `count` copies of `character`; an empty text, with a buffer, when `count` is 0.
  void fill(unsigned int count, const char& character);

  /// Appends `other`, which may be this object.
  CKelStr& operator+=(const CKelStr& other);

  /// Appends `text`, where null counts as empty, and returns a copy of the result. When out of memory for that copy
  /// alone, the text has been appended.
  CKelStr operator+=(const char* text);
};
