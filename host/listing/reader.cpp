#include "host/listing/reader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include "host/files/open_file.h"
#include "host/listing/file_name.h"
#include "host/listing/name_mask.h"
#include "host/listing/read_failures.h"
#include "host/settings.h"
#include "miscdisc/platform/log.h"

namespace host {
namespace {

std::atomic<uint64_t> readFailures{0};

constexpr size_t kReadBytes = 64 * 1024;
constexpr unsigned kDetails = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_MTIME | STATX_CTIME;

template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

bool saysMissing(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG || error == ELOOP;
}

// One failure and one line of the log for each read, whatever it meets.
class FailureReport {
 public:
  explicit FailureReport(const char* path) : path_(path) {}

  void add(int error) {
    if (saysMissing(error) || reported_) return;
    reported_ = true;
    ++readFailures;
    Log("Listing of %s is not complete: %s\n", path_, strerrordesc_np(error));
  }

 private:
  const char* path_;
  bool reported_ = false;
};

int64_t nanoseconds(const statx_timestamp& time) {
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

class EntryReader {
 public:
  EntryReader(unsigned selector, RecordStore& store, FailureReport& failures)
      : folders_(selector & file_info::kFolder),
        hidden_(selector & file_info::kHidden),
        store_(store),
        failures_(failures) {}

  uint32_t count() const { return count_; }

  // What a name and the type in the folder's own entry tell, without asking for details.
  bool mayBeListed(std::string_view name, unsigned char type) const {
    if (name.empty() || name == "." || name == "..") return false;
    if (name[0] == '.' && !hidden_) return false;
    if (type == DT_DIR) return folders_;
    return type == DT_REG || type == DT_LNK || type == DT_UNKNOWN;
  }

  // The path, from the folder on, ends in the name and a zero.
  void list(int folder, const char* path, std::string_view name, unsigned char type) {
    // Follows a link at once: the details of the link itself are in no listing.
    struct statx details;
    if (statx(folder, path, AT_NO_AUTOMOUNT, kDetails, &details) != 0) {
      // A link that leads where this user may not go is as good as dangling.
      if (type != DT_LNK) failures_.add(errno);
      return;
    }
    const bool isFolder = S_ISDIR(details.stx_mode);
    if (!S_ISREG(details.stx_mode) && !(isFolder && folders_)) return;

    file_info* record = store_.prepare(name.size());
    record->size = details.stx_size;
    record->modified = nanoseconds(details.stx_mtime);
    record->changed = nanoseconds(details.stx_ctime);
    record->attributes = (details.stx_mode & 0222 ? 0 : file_info::kReadOnly) |
                         (name[0] == '.' ? file_info::kHidden : 0) |
                         (isFolder ? file_info::kFolder : 0);
    wchar_t* wideName = reinterpret_cast<wchar_t*>(record + 1);
    record->nameLength = static_cast<uint32_t>(widen(name, wideName));
    record->nameHash = hashOf(record->nameView());
    store_.commit();
    ++count_;
  }

 private:
  const bool folders_;
  const bool hidden_;
  RecordStore& store_;
  FailureReport& failures_;
  uint32_t count_ = 0;
};

void readFolder(const String& folder, NameMask& mask, EntryReader& reader,
                FailureReport& failures) {
  const Descriptor descriptor(uninterrupted([&] {
    return open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  if (!descriptor) return failures.add(errno);

  const auto block = std::make_unique_for_overwrite<std::byte[]>(kReadBytes);
  for (;;) {
    const ssize_t bytes =
        uninterrupted([&] { return getdents64(descriptor.number(), block.get(), kReadBytes); });
    if (bytes < 0) return failures.add(errno);
    if (bytes == 0) return;
    for (ssize_t at = 0; at < bytes;) {
      const auto* entry = reinterpret_cast<const dirent64*>(block.get() + at);
      at += entry->d_reclen;
      const std::string_view name(entry->d_name);
      if (!reader.mayBeListed(name, entry->d_type) || !mask.matches(name)) continue;
      reader.list(descriptor.number(), entry->d_name, name, entry->d_type);
    }
  }
}

bool isThere(const char* path) {
  struct statx details;
  return statx(AT_FDCWD, path, AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW, STATX_TYPE, &details) == 0;
}

}  // namespace

uint32_t readEntries(const WString& path, unsigned selector, Wildcards wildcards,
                     RecordStore& store) {
  const NativePath native(path);
  FailureReport failures(native.c_str());
  EntryReader reader(selector, store, failures);
  const std::string_view bytes = native.bytes();
  const void* separator = memrchr(bytes.data(), '/', bytes.size());
  const size_t nameAt =
      separator ? static_cast<size_t>(static_cast<const char*>(separator) - bytes.data()) + 1 : 0;
  const std::string_view name = bytes.substr(nameAt);
  const bool masks =
      NameMask::isMask(name) && (wildcards == Wildcards::kAlways || !isThere(native.c_str()));
  if (masks) {
    const std::wstring_view text = std::wstring_view(path).substr(path.rfind(L'/') + 1);
    NameMask mask(text, NameMask::hasShortStem(text) && settings()->shortNamesOnly);
    readFolder(String(bytes.substr(0, nameAt)), mask, reader, failures);
  } else if (reader.mayBeListed(name, DT_UNKNOWN)) {
    reader.list(AT_FDCWD, native.c_str(), name, DT_UNKNOWN);
  }
  return reader.count();
}

uint64_t listingReadFailures() { return readFailures; }

}  // namespace host
