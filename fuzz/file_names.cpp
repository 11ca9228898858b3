// Names between bytes and wide text.  What the library and the listings make of one is the same,
// and converts back.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/claim.h"
#include "host/listing/file_name.h"
#include "miscdisc/platform/values/text.h"

namespace {

using fuzz::claim;

void nativePathAgrees(const WString& text) {
  const String bytes = Qx::UTF8FromWString(text);
  const host::NativePath path(text);
  const bool named = bytes.size() < PATH_MAX && bytes.find('\0') == String::npos;
  claim(path.bytes() == (named ? bytes : ""), "a native path is the bytes of its text");
  claim(std::strlen(path.c_str()) == path.bytes().size(), "a native path ends in one zero");
}

void fromBytes(std::string_view bytes) {
  const WString text = Qx::WStringFromUTF8(bytes);
  claim(text.size() <= bytes.size(), "a text is not longer than its bytes");
  claim(Qx::UTF8FromWString(text) == bytes, "every byte sequence converts back");

  std::vector<wchar_t> widened(bytes.size() + 1, L'#');
  const size_t count = host::widen(bytes, widened.data());
  claim(std::wstring_view(widened.data(), count) == text, "a listing reads a name as others do");
  claim(widened[count] == L'\0', "a listed name ends in a zero");

  WString taken;
  for (std::string_view rest = bytes; !rest.empty();) taken += host::takeCharacter(rest);
  claim(taken == text, "a mask reads a name as others do");

  claim(Qx::UTF8FromWString(Qx::WStringFromAscii(bytes)) == bytes, "bytes of ASCII convert back");
  nativePathAgrees(text);
}

void fromWideText(std::string_view bytes) {
  WString text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
  const String narrow = Qx::UTF8FromWString(text);
  claim(narrow.size() <= 4 * text.size(), "a character takes four bytes at most");
  claim(Qx::UTF8FromWString(Qx::WStringFromUTF8(narrow)) == narrow, "what was converted is stable");
  nativePathAgrees(text);

  const WString copy = L' ' + text;
  claim(host::hashOf(text) == host::hashOf(std::wstring_view(copy).substr(1)),
        "a name has one hash wherever it lies");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  fromBytes(bytes);
  fromWideText(bytes);
  return 0;
}
