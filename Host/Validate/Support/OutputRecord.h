#pragma once

#include "RHOAPI/RhoapiAudioCodec.h"

/// An output record with its bundle, which it destroys.
struct OutputRecord : KelEncAudio_t {
  explicit OutputRecord(unsigned int rate) : KelEncAudio_t(Blank(rate)) {}
  OutputRecord(const OutputRecord&) = delete;
  OutputRecord& operator=(const OutputRecord&) = delete;
  ~OutputRecord() { Clear(); }

  /// Destroys the bundle.
  void Clear() {
    if (packets != nullptr) {
      packets->destroy();
      packets = nullptr;
    }
  }

  /// A value that a compressor has no reason to write.
  static constexpr unsigned int kUntouched = 0x5AFEC0DE;

  unsigned int behind = kUntouched;  ///< to see whether anything is written behind the record

 private:
  static KelEncAudio_t Blank(unsigned int rate) {
    KelEncAudio_t record{};
    record.sampleRate = rate;
    record.reserved1 = kUntouched;
    record.reserved2 = kUntouched;
    return record;
  }
};
