#pragma once

/// Null texts, which count as empty.

/// `text`, or the empty text when it is null.
inline const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }
