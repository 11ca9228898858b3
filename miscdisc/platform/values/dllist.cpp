#include "miscdisc/platform/values/dllist.h"

DLListRec::~DLListRec() {
  if (list_) list_->remove(this);
}

bool DLListRec::operator==(const DLListRec& other) const { return this == &other; }

DLList::~DLList() {
  while (first_) {
    DLListRec* record = first_;
    remove(record);
    if (owns_) delete record;
  }
}

void DLList::append(DLListRec* record) {
  if (record->list_) record->list_->remove(record);
  record->list_ = this;
  record->previous_ = last_;
  (last_ ? last_->next_ : first_) = record;
  last_ = record;
}

void DLList::remove(DLListRec* record) {
  if (record->list_ != this) return;
  (record->previous_ ? record->previous_->next_ : first_) = record->next_;
  (record->next_ ? record->next_->previous_ : last_) = record->previous_;
  record->list_ = nullptr;
  record->previous_ = record->next_ = nullptr;
}
