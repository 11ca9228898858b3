// Questions of the volumes' own to mounts.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "host/volumes/errands.h"
#include "host/volumes/mount_table.h"

namespace host {

// From now, as long as setVolumeDeadline says.
Deadline volumeDeadline();

// Asks the mounts of all these paths the same question at the same time.  The question gets the
// path without links, on the thread of its mount; the answers come in the order of the paths, and
// nothing for a mount that did not answer.
template <typename Question, typename Answer = std::invoke_result_t<Question, std::string>>
std::vector<std::optional<Answer>> askAll(const std::vector<std::string>& paths, Deadline deadline,
                                          Question question) {
  const auto mounts = currentMounts();
  std::vector<std::shared_ptr<Answer>> answers;
  std::vector<std::shared_ptr<Errand>> errands;
  for (const std::string& path : paths) {
    const auto& answer = answers.emplace_back(std::make_shared<Answer>());
    const auto job = [answer, question](const std::string& real) { *answer = question(real); };
    Workers::ofProcess().start(errands.emplace_back(std::make_shared<Errand>(mounts, path, job)));
  }
  std::vector<std::optional<Answer>> found(paths.size());
  for (size_t i = 0; i < paths.size(); ++i) {
    if (Workers::ofProcess().finish(errands[i], deadline)) found[i] = std::move(*answers[i]);
  }
  return found;
}

// One path, within the deadline of the volumes.
template <typename Question>
auto ask(const std::string& path, Question question) {
  return askAll({path}, volumeDeadline(), std::move(question)).front();
}

}  // namespace host
