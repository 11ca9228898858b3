// The ids of volumes that have no letter.
#pragma once

namespace host {

constexpr wchar_t kLocationIds = 0xE030;  // media location n has the id U+E030 + n

}  // namespace host
