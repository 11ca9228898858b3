// Which drive the preferences keep for a task, such as "Capture".
#pragma once

#include <string>
#include <vector>

#include "console/drives.h"

namespace console {

struct Task {
  std::string name;
  WString path;                  // as stored
  const Drive* drive = nullptr;  // null: no drive has that path now
};

// By name.
std::vector<Task> allTasks(const DriveList& list);
std::vector<Task> tasksOf(const Drive& drive, const DriveList& list);

}  // namespace console
