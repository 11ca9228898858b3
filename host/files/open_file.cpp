#include "host/files/open_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "host/places.h"

namespace host {
namespace {

constexpr int kAlways = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

// A file server takes back at once what it has lent to a living client.
constexpr std::chrono::seconds kLeasePatience{5};
constexpr std::chrono::milliseconds kLeasePause{2};

constexpr int kMostLinks = 40;  // as many as the kernel follows

std::string folderPath(const std::string& path) {
  const size_t separator = path.rfind('/');
  if (separator == std::string::npos) return ".";
  std::string folder = path.substr(0, separator);
  while (!folder.empty() && folder.back() == '/') folder.pop_back();
  return folder.empty() ? "/" : folder;
}

// The folders that every user has from the first write on.
bool isDefaultFolder(const std::string& folder) {
  const std::string& data = places().data;
  const std::array defaults{data + "/projects", data + "/network/projects",
                            data + "/network/material"};
  return std::find(defaults.begin(), defaults.end(), folder) != defaults.end();
}

bool makeDefaultFolder(const std::string& folder) {
  if (!isDefaultFolder(folder)) return false;
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  return std::filesystem::is_directory(folder, failure);
}

}  // namespace

bool Descriptor::close() {
  if (number_ < 0) return true;
  const int before = errno;
  if (::close(std::exchange(number_, -1)) != 0) return false;
  errno = before;
  return true;
}

std::optional<Folder> folderOf(const std::string& path) {
  const std::string folder = folderPath(path);
  struct stat status;
  if (stat(folder.c_str(), &status) != 0) return std::nullopt;
  if (!S_ISDIR(status.st_mode)) {
    errno = ENOTDIR;
    return std::nullopt;
  }
  return Folder{folder, {status.st_dev, status.st_ino}, status.st_mode};
}

std::optional<Folder> folderToWrite(const std::string& path) {
  std::optional<Folder> folder = folderOf(path);
  if (!folder && errno == ENOENT && makeDefaultFolder(folderPath(path))) folder = folderOf(path);
  return folder;
}

bool inDefaultFolder(const std::string& path) { return isDefaultFolder(folderPath(path)); }

std::string lastComponent(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string linkedFile(std::string path) {
  for (int links = 0; links < kMostLinks; ++links) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof(target));
    if (length < 0) return path;
    const std::string next(target, static_cast<size_t>(length));
    path = next.starts_with('/') ? next : path.substr(0, path.rfind('/') + 1) + next;
  }
  return {};
}

std::optional<FileId> fileNamed(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

Descriptor openExisting(const std::string& path, int access) {
  Descriptor file(::open(path.c_str(), access | kAlways));
  struct stat status;
  if (!file && errno == EWOULDBLOCK && lstat(path.c_str(), &status) == 0 &&
      S_ISREG(status.st_mode)) {
    // A lease of somebody who may keep the file's contents to himself; asking has called it back.
    const auto end = std::chrono::steady_clock::now() + kLeasePatience;
    do {
      std::this_thread::sleep_for(kLeasePause);
      file = Descriptor(::open(path.c_str(), access | kAlways));
    } while (!file && errno == EWOULDBLOCK && std::chrono::steady_clock::now() < end);
  }
  if (!file) return file;

  if (fstat(file.number(), &status) != 0) return {};
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return {};
  }
  return file;
}

Descriptor createNew(const std::string& path, int access, const Folder& folder) {
  // O_CREAT never without O_EXCL: in sticky folders the kernel refuses to "create" a file that
  // another user already has there, even where opening it is allowed.
  Descriptor file(::open(path.c_str(), access | O_CREAT | O_EXCL | kAlways, 0666));
  if (!file) return file;

  const mode_t wanted = ((folder.mode & S_IWGRP) ? 0060 : 0) | ((folder.mode & S_IWOTH) ? 0006 : 0);
  struct stat status;
  if (wanted != 0 && fstat(file.number(), &status) == 0 && (status.st_mode & wanted) != wanted) {
    // A file system without modes of its own refuses this, and needs it as little.
    (void)!fchmod(file.number(), (status.st_mode & 07777) | wanted);
  }
  return file;
}

bool createFolder(const std::string& path, const Folder& parent) {
  if (mkdir(path.c_str(), 0777) != 0) return false;

  const mode_t wanted = ((parent.mode & S_IWGRP) ? 0070 : 0) |
                        ((parent.mode & S_IWOTH) ? 0007 : 0) | (parent.mode & S_ISVTX);
  const Descriptor folder = nameWithoutOpening(path);
  struct stat status;
  if (folder && fstat(folder.number(), &status) == 0 && S_ISDIR(status.st_mode) &&
      (status.st_mode & wanted) != wanted) {
    (void)!chmod(pathOfOpen(folder.number()).c_str(), (status.st_mode & 07777) | wanted);
  }
  return true;
}

Descriptor nameWithoutOpening(const std::string& path) {
  return Descriptor(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

std::string pathOfOpen(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

int64_t sizeOf(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

size_t readFully(int descriptor, void* bytes, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t got = ::read(descriptor, static_cast<char*>(bytes) + done, count - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}

bool writeFully(int descriptor, const void* bytes, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t put = ::write(descriptor, static_cast<const char*>(bytes) + done, count - done);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return false;
    done += static_cast<size_t>(put);
  }
  return true;
}

}  // namespace host
