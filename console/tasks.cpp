#include "console/tasks.h"

#include "host/state_file.h"
#include "miscdisc/platform/string_compare.h"

namespace console {

std::vector<Task> allTasks(const DriveList& list) {
  static const std::string kBefore = "Media Location (", kAfter = ")";
  std::vector<Task> tasks;
  for (const auto& [key, value] : host::StateFile::instance().values("Preferences")) {
    if (!key.starts_with(kBefore) || !key.ends_with(kAfter)) continue;
    Task task;
    task.name = key.substr(kBefore.size(), key.size() - kBefore.size() - kAfter.size());
    task.path = Qx::WStringFromUTF8(value);
    // As the library finds it: in any letter case, and otherwise exactly.
    for (const Drive& drive : list.drives) {
      if (!task.drive && Qx::compareCaseInsensitive(drive.path, task.path)) task.drive = &drive;
    }
    tasks.push_back(std::move(task));
  }
  return tasks;
}

std::vector<Task> tasksOf(const Drive& drive, const DriveList& list) {
  std::vector<Task> tasks = allTasks(list);
  std::erase_if(tasks, [&](const Task& task) { return task.drive != &drive; });
  return tasks;
}

}  // namespace console
