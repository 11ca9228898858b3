// What makes a shell complete the words of this command.
#pragma once

namespace console {

extern const char* const kBashCompletion;
extern const char* const kZshCompletion;
extern const char* const kFishCompletion;

}  // namespace console
