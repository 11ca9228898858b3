// state.toml, as others have left it, and what is then stored in it: the whole input as a value,
// and its first line as a key.
#include <cstdint>
#include <map>
#include <string>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "host/state_file.h"

namespace {

using fuzz::claim;
using host::StateFile;
using Values = std::map<std::string, std::string>;
using Sections = std::map<std::string, Values>;

Sections everything() {
  StateFile& file = StateFile::instance();
  Sections sections;
  for (const std::string& name : file.sections()) sections[name] = file.values(name);
  return sections;
}

bool isText(const std::string& bytes) {
  for (const wchar_t c : Qx::WStringFromUTF8(bytes)) {
    if (c >= 0xDC80 && c <= 0xDCFF) return false;
  }
  return true;
}

// A section that holds nothing may go.
Sections withoutEmpty(Sections sections) {
  std::erase_if(sections, [](const auto& section) { return section.second.empty(); });
  return sections;
}

void storeAndRemove(const std::string& key, const std::string& value, const Sections& before) {
  StateFile& file = StateFile::instance();
  Sections expected = before;
  expected[key][key] = value;
  claim(file.setValue(key, key, value), "a value can be stored");
  claim(file.problem().empty(), "what we write we can read");
  claim(withoutEmpty(everything()) == withoutEmpty(expected),
        "a stored value reads back, and the others stay");

  expected[key].erase(key);
  claim(file.removeValue(key, key), "a value can be removed");
  claim(withoutEmpty(everything()) == withoutEmpty(expected), "only the removed value goes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string key = bytes.substr(0, bytes.find('\n'));
  fuzz::writeInHome("state.toml", bytes);

  StateFile& file = StateFile::instance();
  const Sections before = everything();
  const std::string problem = file.problem();
  if (problem.empty() && isText(key)) {
    storeAndRemove(key, bytes, before);
  } else {
    claim(problem.empty() || before.empty(), "a file with a problem gives nothing");
    claim(problem.find('\n') == problem.npos, "a problem is one line");
    claim(!file.setValue(key, key, bytes), "nothing is stored on a misunderstanding");
  }
  return 0;
}
