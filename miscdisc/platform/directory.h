// Directory listings.
//
// A listing is read when it is built and changes only by addFile and removeFile.  It owns its
// entries: a file_info never moves, and stays readable until the listing is destroyed, also
// after it was removed or replaced.  Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

#include "miscdisc/platform/values/text.h"

// One listed file.  The name follows the record in memory, so a file_info is never copied.
struct file_info {
  static constexpr uint32_t kReadOnly = 0x01;
  static constexpr uint32_t kHidden = 0x02;
  static constexpr uint32_t kFolder = 0x10;

  uint64_t size;        // bytes
  int64_t modified;     // nanoseconds since 1970, UTC
  int64_t changed;      // likewise: contents, name or rights
  uint32_t attributes;  // kReadOnly, kHidden, kFolder
  uint32_t nameLength;  // characters
  uint32_t state;       // the listing's own, as is nameHash
  uint32_t nameHash;

  file_info() = default;
  file_info(const file_info&) = delete;
  file_info& operator=(const file_info&) = delete;

  // The bare file name, zero-terminated.
  const wchar_t* name() const { return reinterpret_cast<const wchar_t*>(this + 1); }
  std::wstring_view nameView() const { return {name(), nameLength}; }
};

// A listing of the entries that match a path whose last component may hold wildcards: '?' is one
// character, or none at the end of a stem; ".*" also matches a name without an extension; eight
// '?' match a stem of any length.  A path without wildcards lists that one file, and so does one
// that is the name of a file, wildcards and all: a file may be called "what?.mov".  A folder that
// is missing or cannot be read gives an empty listing.
//
// Ordinary files and links to them are listed.  The selector's bits ask for more: file_info's
// kHidden for names that begin with a dot, kFolder for folders.  The entries "." and ".." never
// appear.
//
// Destroyed as what it is, never through a derived class: nothing derived holds anything.
class MISCDISC_EXPORT Directory {
 public:
  enum eLocking { eUnlocked = 0, eLocked = 1 };  // accepted; a listing is read without locks

  Directory(const WString& path, unsigned selector, int option, eLocking locking);
  Directory(const WString& path, eLocking locking);  // selector 0
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory();

  // The entry of that name (of a path, its last component counts), compared exactly; or null.
  file_info* find(const WString& name);

  unsigned getcount() const;

  // Lists a copy of the entry, at the end; one of the same name gives way to it.  Always true.
  bool addFile(const file_info* entry);
  // Unlists the entry of the same name; false when there is none.
  bool removeFile(const file_info* entry);

 protected:
  struct Listing;
  explicit Directory(Listing* listing) : listing_(listing) {}  // takes it over
  // With named, a file of that very name counts before any wildcards.
  static Listing* read(const WString& path, unsigned selector, bool named);

 private:
  friend class DirectoryIterator;
  Listing* listing_;
};

// A listing whose path may be a layer file name, and whose last component is always a mask.
class MISCDISC_EXPORT FsysDirectory : public Directory {
 public:
  FsysDirectory(const WString& mask, unsigned selector, int option, eLocking locking);
};

// Walks a listing in its order.  The listing may grow and shrink meanwhile, and must outlive
// the walk.
class MISCDISC_EXPORT DirectoryIterator {
 public:
  DirectoryIterator() = default;
  explicit DirectoryIterator(Directory* directory) {
    set(directory);
    first();
  }

  void set(Directory* directory);  // null: nothing to walk
  file_info* first();              // null when there is nothing
  file_info* next();               // null past the end
  file_info* operator*() const { return current_; }

 private:
  Directory* directory_ = nullptr;
  file_info* current_ = nullptr;
  size_t place_ = 0;  // where the walk stands, in the listing's own terms
};
