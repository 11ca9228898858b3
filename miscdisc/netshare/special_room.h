// The one room that lockRoom() does not lock.
#pragma once

#include "miscdisc/platform/string_compare.h"

inline bool isSpecialRoom(const WString& room) { return Qx::endsWith(room, L"CARDVT.Room", false); }
