// An intrusive doubly linked list.
//
// A record is in at most one list.  Destroying a record takes it out of its list; destroying a
// list unlinks its records, and deletes them if the list owns them.  Not thread-safe.
#pragma once

#include "miscdisc/platform/values/export.h"

class DLList;

class MISCDISC_EXPORT DLListRec {
 public:
  DLListRec() = default;
  DLListRec(const DLListRec&) = delete;
  DLListRec& operator=(const DLListRec&) = delete;
  virtual ~DLListRec();

  // Identity: true only for the same object.
  virtual bool operator==(const DLListRec& other) const;

 private:
  friend class DLList;
  friend class DLListIterator;
  DLList* list_ = nullptr;
  DLListRec* previous_ = nullptr;
  DLListRec* next_ = nullptr;
};

class MISCDISC_EXPORT DLList {
 public:
  DLList() = default;
  DLList(const DLList&) = delete;
  DLList& operator=(const DLList&) = delete;
  ~DLList();

  // At the end; a record that is in another list leaves that one first.
  void append(DLListRec* record);
  void remove(DLListRec* record);  // unlinks; the caller has the record again

  // An owning list deletes its records, through their destructor, when it is destroyed.
  void ownsRecords(bool owns) { owns_ = owns; }

 private:
  friend class DLListIterator;
  DLListRec* first_ = nullptr;
  DLListRec* last_ = nullptr;
  bool owns_ = false;
};

// Walks a list from its first record to its last.  The record that an iterator stands on must
// not be removed while it stands there.
class MISCDISC_EXPORT DLListIterator {
 public:
  explicit DLListIterator(const DLList& list) : current_(list.first_) {}

  DLListRec* operator*() const { return current_; }  // null past the end

  DLListIterator& operator++() {
    if (current_) current_ = current_->next_;
    return *this;
  }
  DLListIterator operator++(int) {
    DLListIterator before = *this;
    ++*this;
    return before;
  }

 private:
  DLListRec* current_;
};
