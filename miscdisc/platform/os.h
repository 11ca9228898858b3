// The platform: the operating system's services as one object.
#pragma once

#include <cstddef>

#include "miscdisc/platform/file_manager.h"
#include "miscdisc/platform/messenger.h"

// Where every operator new and delete of the process ends.
class MISCDISC_EXPORT iAllocator {
 public:
  // Memory for size bytes (0 counts as 1) at an address that suits every ordinary type, or any
  // power of two given as alignment.  Throws std::bad_alloc when there is none.
  virtual void* allocate(size_t size) = 0;
  virtual void* allocateAligned(size_t size, size_t alignment) = 0;
  // Takes back what either of them gave; null is nothing.
  virtual void release(void* memory) noexcept = 0;

 protected:
  ~iAllocator() = default;
};

class MISCDISC_EXPORT iOS {
 public:
  virtual iFileManager& fileManager() = 0;
  virtual iAllocator& allocator() = 0;

  // The name under which this user logs in and holds locks: not empty, without a separator or a
  // leading dot, the same for the whole run.
  virtual WString getUserName() = 0;

  // The folder of network lobbies when none is configured; it ends in the separator.  The flag
  // is reserved: every caller passes true.
  virtual WString getDefaultNetworkProjectsFolder(bool flag) = 0;

  // Records that an open failed, for whoever looks for the cause.  Nothing depends on it.
  virtual void reportFailure() = 0;

 protected:
  ~iOS() = default;
};

// Hands out messengers.
class MISCDISC_EXPORT iNetworkService {
 public:
  // A messenger that hands every text of the other machines to the receiver, which it keeps for
  // as long as it lives; null where there is no network to speak of.
  virtual Qx::Ptr<iNetMessager> getMessager(Qx::Ptr<iNetMessageReceiver> receiver) = 0;

 protected:
  ~iNetworkService() = default;
};

class MISCDISC_EXPORT iOSPrivate {
 public:
  virtual iNetworkService& networkService() = 0;

 protected:
  ~iOSPrivate() = default;
};

// Never null; never built or destroyed.  OS() and its allocator answer before main, after the
// last destructor, from any thread, and without allocating: the allocation operators ask them.
MISCDISC_EXPORT iOS* OS();
MISCDISC_EXPORT iOSPrivate* OSPrivate();
