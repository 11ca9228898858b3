#include "host/listing/name_mask.h"

#include "host/listing/file_name.h"

namespace host {
namespace {

constexpr std::wstring_view kShortStem = L"????????";
constexpr std::wstring_view kAnyExtension = L".*";

std::wstring_view stemOf(std::wstring_view mask) { return mask.substr(0, mask.rfind(L'.')); }

}  // namespace

bool NameMask::isMask(std::string_view name) {
  return name.find('*') != name.npos || name.find('?') != name.npos;
}

bool NameMask::hasShortStem(std::wstring_view text) { return stemOf(text) == kShortStem; }

NameMask::NameMask(std::wstring_view text, bool shortNames) {
  const std::wstring_view stem = stemOf(text);
  const std::wstring_view extension = text.substr(stem.size());
  compile(!shortNames && stem == kShortStem ? L"*" : stem, true);
  compile(extension, false);

  extensionOptional_ = extension == kAnyExtension;
  const size_t always = extensionOptional_ ? 3 : 1;
  matchesAll_ = tokens_.size() == always && tokens_[0].kind == Token::kRun;
  reached_.resize(tokens_.size() + 1);
  next_.resize(tokens_.size() + 1);
}

void NameMask::compile(std::wstring_view text, bool atStemEnd) {
  const size_t last = text.find_last_not_of(L'?');
  const size_t optionalFrom =
      !atStemEnd ? text.size() : (last == std::wstring_view::npos ? 0 : last + 1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'*') {
      tokens_.push_back({Token::kRun, 0});
    } else if (text[i] == L'?') {
      tokens_.push_back({i >= optionalFrom ? Token::kOneOrNone : Token::kOne, 0});
    } else {
      tokens_.push_back({Token::kCharacter, text[i]});
    }
  }
}

bool NameMask::matchesSteps(std::string_view name) {
  const size_t count = tokens_.size();
  reached_.assign(count + 1, false);
  reached_[0] = true;
  skipWhatMayBeEmpty(reached_);

  while (!name.empty()) {
    const wchar_t character = takeCharacter(name);
    next_.assign(count + 1, false);
    for (size_t i = 0; i < count; ++i) {
      if (!reached_[i]) continue;
      const Token& token = tokens_[i];
      if (token.kind == Token::kRun) {
        next_[i] = true;
      } else if (token.kind != Token::kCharacter || token.character == character) {
        next_[i + 1] = true;
      }
    }
    skipWhatMayBeEmpty(next_);
    reached_.swap(next_);
  }
  return reached_[count] || (extensionOptional_ && reached_[count - 2]);
}

void NameMask::skipWhatMayBeEmpty(std::vector<bool>& reached) const {
  for (size_t i = 0; i < tokens_.size(); ++i) {
    const bool mayBeEmpty = tokens_[i].kind == Token::kRun || tokens_[i].kind == Token::kOneOrNone;
    if (reached[i] && mayBeEmpty) reached[i + 1] = true;
  }
}

}  // namespace host
