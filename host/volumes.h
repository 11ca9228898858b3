// What else can be asked about volumes: whether they answer, how much room they had when they
// last did, and any question to a mount, with a deadline.
//
// Every mount is asked on a thread of its own, so that one that hangs keeps nobody waiting but
// itself.  While it hangs no second question follows the first: it counts as not answering, at
// once, until it has come back.  The threads start with the first question and end when there are
// none.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/values/export.h"

namespace host {

struct VolumeState {
  enum class Answer {
    kPresent,
    kAbsent,  // its mount answers: there is no such folder, or it cannot be measured
    kNotAnswering,
  };
  Answer answer = Answer::kAbsent;
  // As this process measured it last, maybe before the answer; nothing: never.
  std::optional<VOLUME_INFO> space;
  // Of the answer.  While there is none: since the last one, or since the first question when
  // there never was one.
  std::chrono::milliseconds age{0};
};

// From any thread.  An unknown id is absent.
MISCDISC_EXPORT VolumeState askVolume(wchar_t id, std::chrono::milliseconds deadline);

// All volumes at the same time, within the deadline altogether.
MISCDISC_EXPORT std::map<wchar_t, VolumeState> askVolumes(std::chrono::milliseconds deadline);

// Folders by their native paths, volumes or not, in the same way and in their order.
MISCDISC_EXPORT std::vector<VolumeState> askFolders(const std::vector<std::string>& folders,
                                                    std::chrono::milliseconds deadline);

// Runs the job on the thread of the mount that holds the native path, whether or not there is
// anything at that path.  False: not done within the deadline, or it threw.  It may still be done
// later, or never, so what it uses must be its own.  The job asks nothing of this header or of
// fsys.h.
MISCDISC_EXPORT bool askMount(const std::string& path, std::chrono::milliseconds deadline,
                              std::function<void()> job);

// How long each function of fsys.h waits for a mount: 1000 ms unless told otherwise.
MISCDISC_EXPORT void setVolumeDeadline(std::chrono::milliseconds deadline);

// Discovered volumes keep their letters in state.toml, unless told otherwise: then the letters are
// found in the same way and nothing is written.  Holds from the next search for volumes on; the
// first one comes with the first question about any volume.
MISCDISC_EXPORT void keepVolumeLetters(bool keep);

}  // namespace host
