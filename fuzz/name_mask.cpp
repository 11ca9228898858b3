// A mask, on the first line, and a name, on the second.
#include <algorithm>
#include <cstdint>
#include <map>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "host/listing/name_mask.h"

namespace {

using fuzz::claim;
using host::NameMask;

constexpr size_t kLongest = 64;  // the plain way takes its time

// The same question answered in the plain way: what the mask's first character can stand for,
// and then the rest.
class PlainMatch {
 public:
  PlainMatch(std::wstring_view mask, std::wstring_view name) : mask_(mask), name_(name) {
    stem_ = std::min(mask.rfind(L'.'), mask.size());
    tail_ = stem_;
    while (tail_ > 0 && mask[tail_ - 1] == L'?') --tail_;
  }

  bool matches() { return from(0, 0); }

 private:
  bool from(size_t at, size_t in) {
    const auto [known, first] = known_.try_emplace({at, in}, false);
    if (!first) return known->second;
    const bool matched = work(at, in);
    return known_[{at, in}] = matched;
  }

  bool work(size_t at, size_t in) {
    const bool more = in < name_.size();
    if (at == stem_ && mask_.substr(at) == L".*" && !more) return true;
    if (at == mask_.size()) return !more;
    if (mask_[at] == L'*') return from(at + 1, in) || (more && from(at, in + 1));
    if (mask_[at] == L'?') {
      const bool mayBeNone = at >= tail_ && at < stem_;
      return (mayBeNone && from(at + 1, in)) || (more && from(at + 1, in + 1));
    }
    return more && name_[in] == mask_[at] && from(at + 1, in + 1);
  }

  const std::wstring_view mask_, name_;
  size_t stem_, tail_;  // where the stem ends, and where the '?' at its end begin
  std::map<std::pair<size_t, size_t>, bool> known_;
};

bool matches(const WString& mask, const String& name, bool shortNames) {
  return NameMask(mask, shortNames).matches(name);
}

WString withOneForEach(WString name) {
  for (wchar_t& c : name) c = c == L'.' ? c : L'?';
  return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto lines = fuzz::linesOf({reinterpret_cast<const char*>(data), size});
  lines.resize(2);
  const String maskBytes = lines[0].substr(0, kLongest), name = lines[1].substr(0, kLongest);
  const WString mask = Qx::WStringFromUTF8(maskBytes), wide = Qx::WStringFromUTF8(name);

  const bool found = matches(mask, name, true);
  claim(found == PlainMatch(mask, wide).matches(), "a mask matches what its characters stand for");
  if (NameMask::hasShortStem(mask)) {
    claim(matches(mask, name, false) || !found, "a longer name has an alias beside itself");
  } else {
    claim(matches(mask, name, false) == found, "only a short stem has two meanings");
  }
  if (found) claim(matches(L'*' + mask, name, true), "a run before a mask may be empty");

  claim(matches(L"*.*", name, true) && matches(L"*", name, true), "these match every name");
  claim(matches(withOneForEach(wide), name, true), "a '?' stands for any character");
  if (!NameMask::isMask(name)) claim(matches(wide, name, true), "a name matches itself");
  return 0;
}
