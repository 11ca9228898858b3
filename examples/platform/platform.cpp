#include "platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <fstream>
#include <new>
#include <set>

#include "miscdisc/platform/command_map.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/string_compare.h"

namespace fs = std::filesystem;

namespace {

std::error_code ignored;
std::set<fs::path> locked;  // by this process, which is enough when nobody else is there

WString mediaPath() { return Qx::WStringFromUTF8(mediaFolder().native()); }

fs::path native(const WString& path) {
  const bool complete = path.empty() || path.starts_with(L'/');
  return Qx::UTF8FromWString(complete ? path : getProjectsBaseDirectory() + path);
}

struct File final : iFile {
  File(const fs::path& given, std::ios::openmode mode, bool locks)
      : stream(given, mode | std::ios::binary), path(given), holdsLock(locks && stream) {
    if (holdsLock) locked.insert(path);
  }
  ~File() override {
    if (holdsLock) locked.erase(path);
  }

  bool valid() const override { return stream.is_open(); }
  int64_t size() override { return static_cast<int64_t>(fs::file_size(path, ignored)); }
  size_t read(void* bytes, size_t count) override {
    stream.read(static_cast<char*>(bytes), static_cast<std::streamsize>(count));
    return static_cast<size_t>(stream.gcount());
  }
  bool write(const void* bytes, size_t count) override {
    stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count)).flush();
    return stream.good();
  }

  std::fstream stream;
  const fs::path path;
  const bool holdsLock;
};

struct Files final : iFileManager {
  wchar_t getPathSeparator() override { return L'/'; }
  Qx::Ptr<iFile> open(const WString& name, unsigned access, unsigned sharing, unsigned creation,
                      unsigned flags) override {
    const fs::path path = native(name);
    const bool there = fs::is_regular_file(path, ignored);
    if (flags == 32 && sharing == 1) return new File(path, std::ios::in, false);  // only looks
    if (flags == 32 && locked.contains(path)) return nullptr;
    if (flags == 32 && there) fs::remove(path.native() + ".inf", ignored);  // a crash left it
    auto mode = std::ios::in;
    if (access != 0) mode |= std::ios::out;
    if (creation == 4 || (access != 0 && !there)) mode |= std::ios::trunc;
    return new File(path, mode, flags == 32);
  }
  bool createDirectory(const WString& path) override {
    return fs::create_directory(native(path), ignored);
  }
  bool copy(const WString& from, const WString& to, unsigned, unsigned, unsigned) override {
    return fs::copy_file(native(from), native(to), ignored);
  }
  bool remove(const WString& path) override {
    return !locked.contains(native(path)) && fs::remove(native(path), ignored);
  }
  bool list(const WString& pattern, Vector<DirectoryItem>& items, unsigned, unsigned) override {
    items.clear();
    Directory listing(Qx::WStringFromUTF8(native(pattern).native()), Directory::eLocked);
    for (DirectoryIterator i(&listing); *i; i.next()) items.add({WString((*i)->nameView()), 0});
    return directoryUsable(getPath(pattern));
  }
  bool mark(const WString&, unsigned) override { return false; }
  bool directoryUsable(const WString& path) override {
    return fs::is_directory(native(path), ignored);
  }
  WString getDefaultNetworkMaterialFolder() override { return getLocalProjectsDir(); }
};

struct Memory final : iAllocator {
  void* allocate(size_t size) override { return allocateAligned(size, alignof(max_align_t)); }
  void* allocateAligned(size_t size, size_t alignment) override {
    void* const memory = std::aligned_alloc(alignment, (size / alignment + 1) * alignment);
    return memory ? memory : throw std::bad_alloc();
  }
  void release(void* memory) noexcept override { std::free(memory); }
};

struct NoNetwork final : iNetworkService {
  Qx::Ptr<iNetMessager> getMessager(Qx::Ptr<iNetMessageReceiver>) override { return nullptr; }
};

// There before any code runs and after the last of it: every new and delete comes here.
constinit Files theFiles;
constinit Memory theMemory;
constinit NoNetwork theNetwork;

struct System final : iOS {
  iFileManager& fileManager() override { return theFiles; }
  iAllocator& allocator() override { return theMemory; }
  WString getUserName() override { return L"ann"; }
  WString getDefaultNetworkProjectsFolder(bool) override { return getLocalProjectsDir(); }
  void reportFailure() override {}
};
struct SystemPrivate final : iOSPrivate {
  iNetworkService& networkService() override { return theNetwork; }
};
constinit System theSystem;
constinit SystemPrivate theSystemPrivate;

struct NoSettings final : RegistryConfig {
  String getValue(const String&, const String& fallback, String) override { return fallback; }
  bool setValue(const String&, const String&, String) override { return false; }
};
struct NoConsole final : CommandMap {
  void registerCommand(const char*, void (*)(void*), void*, unsigned, unsigned, unsigned,
                       const MapItem&) override {}
};
constinit NoSettings theSettings;
constinit NoConsole theConsole;

}  // namespace

fs::path& mediaFolder() {
  static fs::path folder;
  return folder;
}

iOS* OS() { return &theSystem; }
iOSPrivate* OSPrivate() { return &theSystemPrivate; }
RegistryConfig& UserConfig() { return theSettings; }
int config_int(const char*, int fallback) { return fallback; }
CommandMap& CommandMap::theCommandMap() { return theConsole; }

bool FsysGetFirstMaterialVolume(wchar_t* id) { return (*id = L'E') != 0; }
bool FsysGetNextMaterialVolume(wchar_t*) { return false; }
bool FsysIsVolumePresent(wchar_t id) { return id == L'E' && fileExists(mediaPath()); }
WString FsysFilenameToWin32Filename(const WString& path) {
  return path.starts_with(L"E:/") ? mediaPath() + path.substr(2) : path;
}
WString FsysConvertLocalToUNC(const WString& path) { return path; }
WString FsysConvertUNCtoFsysFilename(const WString& path) { return path; }

WString getLocalProjectsDir() { return mediaPath() + L"/Projects/"; }
WString getProjectsBaseDirectory() { return getLocalProjectsDir(); }
WString getMediaLocationsFilename() { return L"DefNetDrive.txt"; }
WString getDumpFolder() { return mediaPath() + L"/"; }
WString getPath(const WString& path) { return path.substr(0, path.rfind(L'/') + 1); }
WString stripPath(const WString& path) { return path.substr(path.rfind(L'/') + 1); }
bool fileExists(const WString& path) { return fs::exists(native(path), ignored); }

bool Qx::compareCaseInsensitive(const WString& a, const WString& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](wchar_t c, wchar_t d) {
    return std::towlower(static_cast<wint_t>(c)) == std::towlower(static_cast<wint_t>(d));
  });
}

void Log(const char*, ...) {}
void tolv_printf(const char*, ...) {}
void LogBoth(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}
