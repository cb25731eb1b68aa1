#include "Host/Validate/Checks/StreamCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"

#include <array>

std::span<const Check> StreamChecks() {
  static constexpr std::array kChecks{
      Check{"stream.block-sizes", "Hosts cut their input as it comes; the encoding must not depend on where.",
            CheckBlockSizes},
      Check{"stream.bytes", "Packets of linear PCM whose bytes differ from the input's are another sound.", CheckBytes},
      Check{"stream.times", "Sound whose times jump or drift is out of step with the picture.", CheckTimes},
      Check{"stream.packet-sizes", "Hosts write one packet of linear PCM for each video frame.", CheckPacketSizes},
      Check{"stream.flush", "What the flush loses is missing at the end of every file.", CheckFlush},
      Check{"stream.input", "A read beyond the input, or a write into it, crashes hosts or spoils their sound.",
            CheckInput},
      Check{"stream.output", "Hosts keep packets until they are written, also when the compressor is gone.",
            CheckOutput},
      Check{"stream.untaken", "Hosts may take packets out late; they pile up meanwhile.", CheckUntaken},
      Check{"stream.minute", "Memory that grows with the length of the sound runs out in the middle of it.",
            CheckMinute},
      Check{"stream.after-flush", "Packets behind the end of the stream would be heard as an echo of it.",
            CheckAfterFlush},
      Check{"stream.second-run", "A host that encodes files one after another uses one compressor.", CheckSecondRun},
      Check{"stream.unfinished-run", "After a cancelled encoding the next one must not begin with its remains.",
            CheckUnfinishedRun},
      Check{"stream.interleaved", "Hosts encode several files at a time; what is shared in secret mixes them up.",
            CheckInterleaved},
      Check{"stream.run-copies", "A copy made during a run goes on from the same point, independently.",
            CheckRunCopies},
      Check{"stream.hints", "Hosts tell settings and hints in an order of their own.", CheckHints},
      Check{"stream.refusals", "Hosts ask for what is not possible and go on with something else.", CheckRefusals},
  };
  return kChecks;
}
