#include "miscdisc/platform/values/ref_count.h"

Qx::InternalRefCount::~InternalRefCount() = default;
iObject::~iObject() = default;
