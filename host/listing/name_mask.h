// Which names a listing asks for.
#pragma once

#include <string_view>
#include <vector>

namespace host {

// A mask, compiled from its text.
//
//   *   any run of characters
//   ?   one character; at the end of the mask's stem (what precedes its last full stop) one or
//       none
//   .*  at the end of the mask: any extension, or none
//
// Everything else stands for itself, letter case included.  A character is a code point; a byte
// of a name that is not UTF-8 is one too.
class NameMask {
 public:
  // With shortNames, a stem of eight '?' matches stems of up to eight characters.  Without, it
  // matches any: where such masks come from, a longer name has an alias of eight.
  NameMask(std::wstring_view text, bool shortNames);

  static bool isMask(std::string_view name);
  // The stem of eight '?', whose meaning depends on shortNames.
  static bool hasShortStem(std::wstring_view text);

  // Not for two threads at once: the steps of the match are kept in the mask.
  bool matches(std::string_view name) { return matchesAll_ || matchesSteps(name); }

 private:
  struct Token {
    enum Kind { kCharacter, kOne, kOneOrNone, kRun } kind;
    wchar_t character;  // of kCharacter
  };

  void compile(std::wstring_view text, bool atStemEnd);
  bool matchesSteps(std::string_view name);
  void skipWhatMayBeEmpty(std::vector<bool>& reached) const;

  std::vector<Token> tokens_;
  bool extensionOptional_ = false;  // the last two tokens, '.' and a run, may both be missing
  bool matchesAll_ = false;
  // reached[i]: the name so far can be what the first i tokens match.
  std::vector<bool> reached_, next_;
};

}  // namespace host
