#pragma once

#include <string>

/// The text as XML can hold it: UTF-8, with a question mark for each control character and U+FFFD for U+FFFE and
/// U+FFFF.
std::string XmlText(const std::string& text);
