#include "host/volumes/letters.h"

#include <algorithm>
#include <string_view>

#include "host/state_file.h"

namespace host {
namespace {

constexpr const char* kSection = "Volume letters";
constexpr std::string_view kOrder = "EFGHIJKLMNOPQRSTUVWXYZABCD";

bool contains(std::string_view letters, char letter) {
  return letters.find(letter) != std::string_view::npos;
}

KeptLetters keptLetters() {
  KeptLetters kept;
  for (const auto& [key, point] : StateFile::instance().values(kSection)) {
    if (key.size() == 1 && contains(kOrder, key[0])) kept[key[0]] = point;
  }
  return kept;
}

class Planner {
 public:
  Planner(const std::string& taken, const KeptLetters& kept) : taken_(taken), kept_(kept) {}

  LetterPlan plan(const std::vector<std::string>& points) {
    std::vector<std::string> newcomers;
    for (const std::string& point : points) {
      const char letter = first([&](char l) { return isFree(l) && keptFor(l) == point; });
      if (letter) {
        plan_.points[letter] = point;
      } else {
        newcomers.push_back(point);
      }
    }
    for (const std::string& point : newcomers) claim(point);
    return plan_;
  }

 private:
  template <typename Condition>
  static char first(Condition condition) {
    const auto found = std::find_if(kOrder.begin(), kOrder.end(), condition);
    return found == kOrder.end() ? '\0' : *found;
  }

  bool isFree(char letter) const {
    return !contains(taken_, letter) && !plan_.points.contains(letter);
  }

  std::optional<std::string> keptFor(char letter) const {
    const auto found = kept_.find(letter);
    return found == kept_.end() ? std::nullopt : std::optional(found->second);
  }

  void claim(const std::string& point) {
    char letter = first([&](char l) { return isFree(l) && !keptFor(l); });
    if (!letter) letter = first([&](char l) { return isFree(l); });
    if (!letter) {
      ++plan_.leftOut;
      return;
    }
    plan_.points[letter] = point;
    plan_.claims.push_back({letter, point, keptFor(letter)});
  }

  const std::string& taken_;
  const KeptLetters& kept_;
  LetterPlan plan_;
};

// A mount whose letter somebody else has now is not to come back to it.
void forgetTaken(const std::vector<LetterClaim>& claims, const std::string& taken,
                 const KeptLetters& kept) {
  for (const auto& [letter, point] : kept) {
    const bool moved = std::any_of(claims.begin(), claims.end(),
                                   [&, &was = point](const auto& c) { return c.point == was; });
    if (moved && contains(taken, letter)) {
      StateFile::instance().removeValue(kSection, std::string(1, letter));
    }
  }
}

// False when one cannot be stored; those before it are.
bool store(const std::vector<LetterClaim>& claims) {
  return std::all_of(claims.begin(), claims.end(), [](const LetterClaim& claim) {
    return StateFile::instance().replaceValue(kSection, std::string(1, claim.letter), claim.before,
                                              claim.point);
  });
}

}  // namespace

LetterPlan planLetters(const std::vector<std::string>& points, const std::string& taken,
                       const KeptLetters& kept) {
  return Planner(taken, kept).plan(points);
}

LetterPlan lettersFor(const std::vector<std::string>& points, const std::string& taken, bool keep) {
  while (true) {
    const KeptLetters kept = keptLetters();
    LetterPlan plan = planLetters(points, taken, kept);
    if (!keep || plan.claims.empty()) return plan;
    const bool stored = store(plan.claims);
    if (stored) forgetTaken(plan.claims, taken, kept);
    // Another process was faster with one of them: on with what it has left.
    if (!stored && keptLetters() == kept) return plan;
  }
}

bool hasKeptLetter(const std::string& point) {
  const KeptLetters kept = keptLetters();
  return std::any_of(kept.begin(), kept.end(), [&](const auto& l) { return l.second == point; });
}

}  // namespace host
