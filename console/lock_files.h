// The files of locks and logins, as they lie on the disk.
#pragma once

#include "miscdisc/platform/values/text.h"

namespace console {

inline constexpr wchar_t kLoginEnding[] = L".cli";
inline constexpr wchar_t kLockEnding[] = L".lck";  // of a room's
inline constexpr wchar_t kProjectLock[] = L"Lock";
inline constexpr wchar_t kInformationEnding[] = L".inf";  // behind the name of a lock

inline constexpr wchar_t kMediaFolder[] = L"Media";  // of a lobby: no rooms and projects in it

// The path's last name has something before the ending; letters count as they are.
bool endsExactly(const WString& path, const WString& ending);

bool isLockName(const WString& path);  // of a room's lock or a project's

// What is there now; a link is what it is.  For the thread of the mount.

// Ordinary and empty, as all locks, logins and guards are.
bool isEmptyFile(const WString& path);

// Ordinary, with anything in it: another program's, however it is named.
bool isForeignFile(const WString& path);

// There, and no name of a holder.
bool isForeignInformation(const WString& path);

}  // namespace console
