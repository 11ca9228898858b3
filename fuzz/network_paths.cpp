// What paths are called on other machines.  The lines of an input:
//
//   path TEXT          a native path
//   network TEXT       what another machine says, with forward slashes
//   file TEXT          a file on the volume E, which is the share //nas/e
//   share NAME=FOLDER  as config.toml has them
//   mount TYPE SOURCE POINT
#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "host/volumes/network_form.h"
#include "miscdisc/platform/fsys.h"

namespace {

using fuzz::claim;

struct Input {
  std::vector<std::string> paths, networks, files;
  host::Shares shares;
  std::string mounts;
};

// What the settings let pass.
void addShare(const std::string& text, host::Shares& shares) {
  const size_t sign = text.find('=');
  if (sign == text.npos) return;
  const std::string network = text.substr(0, sign), folder = text.substr(sign + 1);
  const size_t share = network.find('/', 2);
  const bool named = network.starts_with("//") && share != network.npos && share > 2 &&
                     !network.ends_with('/') && network[share + 1] != '/' &&
                     network.find('\\') == network.npos;
  const bool placed = folder == "/" || (folder.starts_with('/') && !folder.ends_with('/'));
  const bool whole = text.find('\0') == text.npos;
  if (named && placed && whole) shares.push_back({network, folder});
}

// As the kernel has them in its table.
void addMount(const std::string& text, int number, std::string& table) {
  std::string type, source, point;
  std::istringstream(text) >> type >> source >> point;
  if (!point.starts_with('/') || text.find('\0') != text.npos) return;
  const std::string id = std::to_string(number);
  table += id + " 1 0:" + id + " / " + point + " rw - " + type + " " + source + " rw\n";
}

Input inputOf(std::string_view bytes) {
  Input input;
  int mounts = 1;
  for (const std::string& line : fuzz::linesOf(bytes)) {
    const size_t space = std::min(line.find(' '), line.size());
    const std::string kind = line.substr(0, space);
    const std::string text = space < line.size() ? line.substr(space + 1) : "";
    if (kind == "path" && text.starts_with('/')) input.paths.push_back(text);
    if (kind == "network") input.networks.push_back(text);
    if (kind == "file") input.files.push_back(text);
    if (kind == "share") addShare(text, input.shares);
    if (kind == "mount") addMount(text, ++mounts, input.mounts);
  }
  return input;
}

void makeVolume() {
  fuzz::makeFolderInHome("e/Material");
  fuzz::settleVolume("[shares]\n'//nas/e' = \"" + fuzz::fileInHome("e") + "\"\n");
}

std::string withoutLastSeparators(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

void convert(const Input& input) {
  constexpr const char* kRoot = "1 1 0:1 / / rw - ext4 /dev/sda1 rw\n";
  fuzz::writeInHome("mounts", kRoot + input.mounts);
  const host::MountTable mounts(fuzz::fileInHome("mounts"));
  for (const std::string& path : input.paths) {
    const std::string network = host::networkForm(path, input.shares, mounts);
    claim(network.starts_with("//"), "a network form begins with a server");
    const auto back = host::nativeForm(network, input.shares, mounts);
    // Several shares may be parts of each other; then another of its names comes back.
    if (!input.mounts.empty() || input.shares.size() > 1) continue;
    claim(back && withoutLastSeparators(*back) == withoutLastSeparators(path),
          "a path comes back from its network form");
  }
  for (const std::string& network : input.networks) {
    const auto native = host::nativeForm(network, input.shares, mounts);
    if (!native || !input.mounts.empty()) continue;
    claim(native->starts_with('/'), "a native path begins at the root");
    size_t longest = 0;
    for (const auto& share : input.shares) longest = std::max(longest, share.folder.size());
    claim(native->size() <= longest + network.size(), "a native path is no longer than its parts");
  }
}

void convertFile(const std::string& name) {
  const WString path = L"E:/" + Qx::WStringFromUTF8(name);
  const WString network = FsysConvertLocalToUNC(path);
  claim(network.starts_with(L"\\\\nas\\e"), "a file on a share has the share's form");
  claim(network.find(L'/') == network.npos, "a network form has backslashes");
  WString expected = path;
  std::replace(expected.begin(), expected.end(), L'\\', L'/');
  claim(FsysConvertUNCtoFsysFilename(network) == expected, "a file comes back from its share");
}

void convertAnything(const std::string& text) {
  const WString wide = Qx::WStringFromUTF8(text);
  const WString native = FsysConvertUNCtoFsysFilename(wide);
  if (!wide.starts_with(L"\\\\")) claim(native == wide, "what is no network form stays");
  claim(native.size() <= wide.size() + fuzz::home().size() + 2, "a path grows by its folder only");
  FsysConvertLocalToUNC(wide);
  FsysFilenameToWin32Filename(wide);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool made = (makeVolume(), true);
  const Input input = inputOf({reinterpret_cast<const char*>(data), size});
  convert(input);
  for (const std::string& file : input.files) convertFile(file);
  for (std::string network : input.networks) {
    convertAnything(network);
    std::replace(network.begin(), network.end(), '/', '\\');
    convertAnything(network);
  }
  return 0;
}
