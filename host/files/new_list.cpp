#include "host/files/new_list.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/files/list_guard.h"
#include "host/files/replace_file.h"
#include "host/read_file.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/text_file.h"

namespace host {
namespace {

bool writeNew(const std::string& path, const Folder& folder, const std::string& bytes) {
  Descriptor file = createNew(path, O_WRONLY, folder);
  if (!file) return false;
  const bool written =
      writeFully(file.number(), bytes.data(), bytes.size()) && fsync(file.number()) == 0;
  if (file.close() && written) return true;
  const int error = errno;
  unlink(path.c_str());
  errno = error;
  return false;
}

// Gives the temporary file the name.  EEXIST when that is taken, and never replaces anything.
bool giveName(const std::string& temporary, const std::string& path, const Folder& folder) {
  if (link(temporary.c_str(), path.c_str()) == 0) {
    unlink(temporary.c_str());
    return true;
  }
  if (errno == EEXIST) return false;
  // Storage that knows no links, such as a FAT disk.
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno == EEXIST) return false;
  // Storage that can do neither: the only place where a crash may leave half a list.
  const FileContents text = readFile(temporary);
  errno = text.error;
  if (text.error != 0 || !writeNew(path, folder, text.bytes)) return false;
  unlink(temporary.c_str());
  return true;
}

bool hasLine(const TextFile& file, const String& line) {
  for (size_t i = 0; i < file.getNumLines(); ++i) {
    if (file[i] == line) return true;
  }
  return false;
}

// Those that the other list lacks; a list that lacks none is left as it is.
bool addLines(const std::string& from, const std::string& to) {
  const TextFile added(Qx::WStringFromUTF8(from), true);
  TextFile list(Qx::WStringFromUTF8(to), true);
  const size_t before = list.getNumLines();
  for (size_t i = 0; i < added.getNumLines(); ++i) {
    if (!hasLine(list, added[i])) list.appendLine(added[i]);
  }
  return list.getNumLines() == before || list.save(WString(), TextFile::eLF);
}

class NewList final : public iFile {
 public:
  NewList(std::string path, Folder folder, std::string temporary, Descriptor file)
      : path_(std::move(path)),
        folder_(std::move(folder)),
        temporary_(std::move(temporary)),
        file_(std::move(file)) {}

  ~NewList() override {
    const bool whole = written_ && fsync(file_.number()) == 0;
    if (file_.close() && whole) {
      publish();
    } else {
      unlink(temporary_.c_str());
    }
  }

  bool valid() const override { return true; }

  int64_t size() override { return sizeOf(file_.number()); }

  size_t read(void*, size_t) override { return 0; }

  bool write(const void* bytes, size_t count) override {
    written_ = writeFully(file_.number(), bytes, count) && written_;
    return written_;
  }

 private:
  void publish() {
    // Another machine may just be saving a list of this name, and would replace what it does not
    // know of.  Where the guard cannot be had, a list all the same is better than none.
    FileLock guard = takeListGuard(folder_, lastComponent(path_));
    const bool named = giveName(temporary_, path_, folder_);
    const int error = errno;
    guard.removeFile();

    if (named) {
      syncFolder(folder_.path);
    } else if (error == EEXIST && addLines(temporary_, path_)) {
      unlink(temporary_.c_str());
    } else {
      Log("%s: the new list could not be put there: %s; its text is in %s until "
          "a list is saved there an hour from now or later\n",
          path_.c_str(), std::strerror(error), temporary_.c_str());
    }
  }

  const std::string path_;
  const Folder folder_;
  const std::string temporary_;
  Descriptor file_;
  bool written_ = true;  // all that was asked for
};

}  // namespace

Qx::Ptr<iFile> openNewList(const std::string& path, const Folder& folder) {
  const std::string temporary = temporaryBeside(folder, lastComponent(path));
  Descriptor file = createNew(temporary, O_WRONLY, folder);
  if (!file) return nullptr;
  return new NewList(path, folder, temporary, std::move(file));
}

}  // namespace host
