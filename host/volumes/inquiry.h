// Asking whether a folder is there and how much room it has.
#pragma once

#include <memory>

#include "host/volumes.h"
#include "host/volumes/errands.h"
#include "host/volumes/volume_table.h"

namespace host {

// Asks from its making on; what comes in too late is the last answer for those who ask next.
class Inquiry {
 public:
  Inquiry(std::shared_ptr<const MountTable> mounts, const Volume& volume);

  VolumeState finish(Deadline deadline);

 private:
  struct Finding;
  static Finding inspect(const Volume& volume, const std::string& folder);

  std::string folder_;
  std::shared_ptr<Finding> finding_;
  std::shared_ptr<Errand> errand_;
};

}  // namespace host
