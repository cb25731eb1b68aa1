#pragma once

/// The checks of the group "stream.", each on the module at a path. What each of them is for stands in
/// StreamChecks.cpp, beside its name.

#include <string>

// What the packets of a run are: StreamPackets.cpp
void CheckBlockSizes(const std::string& module);
void CheckBytes(const std::string& module);
void CheckTimes(const std::string& module);
void CheckPacketSizes(const std::string& module);
void CheckFlush(const std::string& module);

// Whose memory they and the input are: StreamMemory.cpp
void CheckInput(const std::string& module);
void CheckOutput(const std::string& module);
void CheckUntaken(const std::string& module);
void CheckMinute(const std::string& module);

// What one run leaves for others: StreamRuns.cpp
void CheckAfterFlush(const std::string& module);
void CheckSecondRun(const std::string& module);
void CheckUnfinishedRun(const std::string& module);
void CheckInterleaved(const std::string& module);
void CheckRunCopies(const std::string& module);

// What else a host tells a compressor: StreamHints.cpp
void CheckHints(const std::string& module);
void CheckRefusals(const std::string& module);
