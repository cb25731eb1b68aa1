#pragma once

/// The values of options, from text. Each function throws WrongUse that names the option and the text.

#include "Host/Audio/RawFormat.h"
#include "Host/CommandLine/WorkList.h"

#include <string>

/// Not empty.
std::string ReadFileName(const char* option, const std::string& text);

unsigned int ReadWholeNumber(const char* option, const std::string& text);

/// From 1 to `most`.
unsigned int ReadCount(const char* option, const std::string& text, unsigned int most);

/// Frames per second from "25", "29.97" or "30000/1001", at least 1.
///   ReadFrameRate("--fps", "30000/1001") == 30000.0 / 1001
double ReadFrameRate(const char* option, const std::string& text);

/// The length of a test signal in seconds: up to a week.
double ReadSeconds(const char* option, const std::string& text);

/// "RATE:FORMAT:CHANNELS", see ParseRawFormat.
RawFormat ReadRawFormat(const char* option, const std::string& text);

/// "fail", "skip", "number" or "keep-extension".
OnClash ReadOnClash(const char* option, const std::string& text);

/// ".mkv" or ".mka", from a text with or without the dot.
std::string ReadSuffix(const char* option, const std::string& text);

/// TemporaryName removes at most this many files when a signal ends the program.
inline constexpr unsigned int kMostJobs = 256;

/// The number of processors that this process may use, at most kMostJobs.
unsigned int DefaultJobs();
