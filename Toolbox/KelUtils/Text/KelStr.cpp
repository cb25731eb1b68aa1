#include "Toolbox/KelUtils/Text/KelStr.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace {

/// Frees what malloc returned.
struct Free {
  void operator()(char* buffer) const { std::free(buffer); }
};
using Buffer = std::unique_ptr<char, Free>;

// A buffer for `length` characters and their terminator, which is already written.
Buffer Allocate(std::size_t length) {
  // m_length has 32 bits.
  if (length >= std::numeric_limits<unsigned int>::max()) {
    throw std::bad_alloc();
  }
  Buffer buffer(static_cast<char*>(std::malloc(length + 1)));
  if (buffer == nullptr) {
    throw std::bad_alloc();
  }
  buffer.get()[length] = '\0';
  return buffer;
}

/// memcpy for a source that may be null when `length` is 0; memcpy itself requires a valid pointer.
void Append(char* out, const char* characters, std::size_t length) {
  if (length != 0) {
    std::memcpy(out, characters, length);
  }
}

/// Frees the old buffer and gives `text` the new one.
void Replace(CKelStr<char>& text, Buffer buffer, std::size_t length) {
  std::free(text.m_data);
  text.m_data = buffer.release();
  text.m_length = static_cast<unsigned int>(length);
}

}  // namespace

CKelStr<char>::CKelStr(const CKelStr& other) { *this = other; }

CKelStr<char>::~CKelStr() { std::free(m_data); }

CKelStr<char>& CKelStr<char>::operator=(const CKelStr& other) {
  if (this != &other) {
    Buffer buffer = Allocate(other.m_length);
    Append(buffer.get(), other.m_data, other.m_length);
    Replace(*this, std::move(buffer), other.m_length);
  }
  return *this;
}

void CKelStr<char>::assign(const char* text) {
  if (text == nullptr) {
    Replace(*this, nullptr, 0);
    return;
  }
  // The old buffer is freed last, since `text` may point into it.
  const std::size_t length = std::strlen(text);
  Buffer buffer = Allocate(length);
  Append(buffer.get(), text, length);
  Replace(*this, std::move(buffer), length);
}

void CKelStr<char>::fill(unsigned int count, const char& character) {
  Buffer buffer = Allocate(count);
  std::memset(buffer.get(), character, count);
  Replace(*this, std::move(buffer), count);
}

CKelStr<char>& CKelStr<char>::operator+=(const CKelStr& other) {
  if (other.m_length > std::numeric_limits<unsigned int>::max() - m_length) {
    throw std::bad_alloc();
  }
  const std::size_t length = std::size_t{m_length} + other.m_length;
  Buffer buffer = Allocate(length);
  Append(buffer.get(), m_data, m_length);
  Append(buffer.get() + m_length, other.m_data, other.m_length);
  Replace(*this, std::move(buffer), length);
  return *this;
}

CKelStr<char> CKelStr<char>::operator+=(const char* text) {
  CKelStr temporary;
  temporary.assign(text);
  return *this += temporary;
}
