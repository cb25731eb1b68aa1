#pragma once

/// The checks "life.no-memory-to-...": every allocation of a piece of work fails, one after the other, alone and with
/// all that follow it.

#include <string>

void CreatesWithoutMemory(const std::string& module);
void CopiesWithoutMemory(const std::string& module);
void RunsWithoutMemory(const std::string& module);
