#pragma once

class IAudioCompressor;

/// Asks the compressor everything that it answers, and has it refuse a packet type. Changes nothing.
void AskEverything(IAudioCompressor& compressor);
