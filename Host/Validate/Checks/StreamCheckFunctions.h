#pragma once

/// The checks of the group "stream.", each on the module at `path`. What each of them is for stands in
/// StreamChecks.cpp, beside its name.

#include <string>

// What the packets of a run are: StreamPackets.cpp
void CheckBlockSizes(const std::string& path);
void CheckBytes(const std::string& path);
void CheckTimes(const std::string& path);
void CheckPacketSizes(const std::string& path);
void CheckFlush(const std::string& path);

// Whose memory they and the input are: StreamMemory.cpp
void CheckInput(const std::string& path);
void CheckOutput(const std::string& path);
void CheckUntaken(const std::string& path);
void CheckMinute(const std::string& path);

// What one run leaves for others: StreamRuns.cpp
void CheckAfterFlush(const std::string& path);
void CheckSecondRun(const std::string& path);
void CheckUnfinishedRun(const std::string& path);
void CheckInterleaved(const std::string& path);
void CheckRunCopies(const std::string& path);

// What else a host tells a compressor: StreamHints.cpp
void CheckHints(const std::string& path);
void CheckRefusals(const std::string& path);
