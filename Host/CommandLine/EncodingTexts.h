#pragma once

/// What there is to say about the encoding of one file.

#include <string>

class FileEncoding;
struct EncodingResult;

/// Four lines: input, conversion, encoding and output, as they would be.
std::string PlanText(const FileEncoding& encoding);

/// One line without a line feed: output, format, length, whether it is verified, speed, and what NotesText says.
std::string SummaryText(const FileEncoding& encoding, const EncodingResult& result, double timesRealTime);

/// What the result lacks or has lost, as in "3 samples were beyond full scale and clipped"; empty when it is nothing.
std::string NotesText(const EncodingResult& result);

/// CountText(1, "file", "files") == "1 file", CountText(3, "file", "files") == "3 files"
std::string CountText(unsigned long long number, const char* singular, const char* plural);
