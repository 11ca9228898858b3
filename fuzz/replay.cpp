// Runs a fuzz target once for every file that is named, or lies in a folder that is named.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::set<std::string> filesOf(const std::string& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) files.insert(entry.path());
  return files;
}

bool run(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  std::fprintf(stderr, "%s\n", path.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::string& path : filesOf(argv[i])) {
      if (!run(path)) {
        std::fprintf(stderr, "%s cannot be read\n", path.c_str());
        return 1;
      }
      ++inputs;
    }
  }
  if (inputs == 0) std::fprintf(stderr, "No input was named: give files, or folders of them\n");
  return inputs == 0 ? 2 : 0;
}
