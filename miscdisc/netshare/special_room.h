// Rooms that lockRoom() does not lock: all whose paths end with this, in whatever letter case.
#pragma once

#include "miscdisc/platform/string_compare.h"

inline bool isSpecialRoom(const WString& room) { return Qx::endsWith(room, L"CARDVT.Room", false); }
