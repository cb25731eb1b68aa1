#pragma once

/// Values to try with settings of any kind, as the texts of SettingText.h.

#include <string>
#include <vector>

class ISetting;

/// Values that `setting` should take, the lowest first: its allowable values (64 of a longer list, the ends among
/// them), or else the ends and the middle of its range, or else extreme values of its kind. None for a
/// container.
std::vector<std::string> ValuesToTry(ISetting& setting);

/// What is wrong with the value that `setting` holds, by its own list and range: "192000, which is not among its
/// allowable values". Empty when nothing is.
std::string ValueFault(ISetting& setting);

/// Gives `setting` another value than it has. False when it takes none.
bool ChangeValue(ISetting& setting);

/// Selects, reads and looks up what `setting` does not have: indexes out of range and texts that match nothing.
void MisuseSetting(ISetting& setting);
