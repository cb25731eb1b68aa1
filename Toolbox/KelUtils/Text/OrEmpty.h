#pragma once

/// `text`, or the empty text when it is null.
inline const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }
