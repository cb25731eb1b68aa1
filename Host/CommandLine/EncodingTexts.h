#pragma once

/// Texts about the encoding of one file.

#include <string>

class FileEncoding;
struct EncodingResult;

/// What happens to the samples on their way into the encoder.
struct Conversion {
  bool isResampled = false;
  bool isDithered = false;  ///< bits are lost, after a change of rate too
};
Conversion ConversionOf(const FileEncoding& encoding);

/// "resampled from 44100 to 48000 Hz, dithered to 16 bits"; empty when the samples stay as they are.
std::string ConversionText(const FileEncoding& encoding);

/// A line each for input, conversion, encoding, metadata and output, as they would be.
std::string PlanText(const FileEncoding& encoding);

/// One line without a line feed: output, format, length, whether it is verified, speed, conversions, and NotesText.
std::string SummaryText(const FileEncoding& encoding, const EncodingResult& result, double timesRealTime);

/// What the result lacks or has lost, as in "3 samples were beyond full scale and clipped"; empty when it is complete.
std::string NotesText(const EncodingResult& result);

/// CountText(1, "file", "files") == "1 file", CountText(3, "file", "files") == "3 files"
std::string CountText(unsigned long long number, const char* singular, const char* plural);
