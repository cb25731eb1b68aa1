#pragma once

/// A short run of any compressor with its settings as they are, and its packets in a form that can be compared.

#include "RHOAPI/RhoapiAudioCodec.h"

#include <cstddef>
#include <string>
#include <vector>

/// An output record with its bundle, which it destroys.
struct OutputRecord : KelEncAudio_t {
  explicit OutputRecord(unsigned int rate) : KelEncAudio_t(Blank(rate)) {}
  OutputRecord(const OutputRecord&) = delete;
  OutputRecord& operator=(const OutputRecord&) = delete;
  ~OutputRecord() {
    if (packets != nullptr) {
      packets->destroy();
    }
  }

 private:
  static KelEncAudio_t Blank(unsigned int rate) {
    KelEncAudio_t record{};
    record.sampleRate = rate;
    return record;
  }
};

/// What goes into a run: a buffer of more than one packet, with an odd number of sample frames, always the same. It
/// belongs to the settings that `compressor` has when it is made; a compressor whose settings do not tell how large its
/// sample frames are skips the check.
class TestInput {
 public:
  explicit TestInput(IAudioCompressor& compressor);

  unsigned int SampleRate() const { return m_record.sampleRate; }

  /// Hands it to a run. Allocates nothing.
  RhoStatus CompressInto(IAudioCompressor& compressor, KelEncAudio_t& out) const;

  /// Hints, packet type, and one run from its beginning to its end: the first status that is no success. Allocates
  /// nothing itself.
  RhoStatus RunInto(IAudioCompressor& compressor, KelEncAudio_t& out) const;

  /// The same on a record of its own, and PacketsText of that. Fails the check when a status is no success.
  std::string Run(IAudioCompressor& compressor) const;

 private:
  std::vector<unsigned char> m_bytes;
  KelAudio_t m_record{};
};

/// The bundle of the record, a line for each packet: type, time, time base, duration, size and a digest of the bytes.
std::string PacketsText(const KelEncAudio_t& out);

/// Fails the check (CheckFailed) unless `status`, which `call` has answered, is success.
void ExpectSuccess(RhoStatus status, const char* call);
