#pragma once

/// Null counts as empty wherever a text may be null.
inline const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }
