// Opening files on shared storage.
//
// Paths are native bytes.  No open follows a symbolic link at the last component, waits for a
// FIFO or a device, or survives exec; what is not an ordinary file is refused.  A file that
// somebody has a lease on (a file server, for one of its clients) is waited for up to 5 seconds,
// EAGAIN after that.
#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "miscdisc/platform/values/export.h"

namespace host {

// An open descriptor, closed with its owner; -1 is none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    other.close();
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }
  MISCDISC_EXPORT bool close();  // true when nothing was lost; errno stays as it was on success

 private:
  int number_ = -1;
};

struct CloseListing {
  void operator()(DIR* listing) const { closedir(listing); }
};
using Listing = std::unique_ptr<DIR, CloseListing>;

// One file or folder, whatever its name.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;

  auto operator<=>(const FileId&) const = default;
};

// The folder in which a path lies.
struct Folder {
  std::string path;  // "." for a bare name; without a separator at its end
  FileId id;
  mode_t mode = 0;
};

// Nothing, with errno set, when there is no such folder.
std::optional<Folder> folderOf(const std::string& path);

// The same for whoever is about to write there: one of the folders that this user has by default
// is made when it is missing.
std::optional<Folder> folderToWrite(const std::string& path);

// The path lies directly in one of those folders.
bool inDefaultFolder(const std::string& path);

std::string lastComponent(const std::string& path);

// The file that a symbolic link leads to, also when it is not there; the path itself when it is no
// link.  Empty for a ring of links.
std::string linkedFile(std::string path);

// The file that carries the name now; nothing when there is none.  A link is not followed.
std::optional<FileId> fileNamed(const std::string& path);

// Access: O_RDONLY, O_WRONLY or O_RDWR.  None, with errno set, on failure.
Descriptor openExisting(const std::string& path, int access);

// Makes the file; EEXIST when the name is taken.  Whoever may write in the folder may read and
// write the new file, whatever the umask: another user's leftover could not be locked otherwise.
Descriptor createNew(const std::string& path, int access, const Folder& folder);

// Makes a folder, for whoever may write in the one around it, likewise; it is sticky where that one
// is.  False, with errno set, when it could not be made or the name is taken.
bool createFolder(const std::string& path, const Folder& parent);

// A descriptor that only stands for what has the name now, be it a link: neither read nor written
// through, so its close drops no lock and its making needs no right to the file.
Descriptor nameWithoutOpening(const std::string& path);

// A path that leads to what the descriptor stands for, whatever becomes of its name.
std::string pathOfOpen(int descriptor);

// Bytes; 0 when the file cannot tell.
int64_t sizeOf(int descriptor);

// Whole requests, over interruptions and short counts.
size_t readFully(int descriptor, void* bytes, size_t count);
bool writeFully(int descriptor, const void* bytes, size_t count);

}  // namespace host
