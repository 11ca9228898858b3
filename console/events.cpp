#include "console/events.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>

#include "console/times.h"

namespace console {
namespace {

constexpr short kGone = POLLERR | POLLHUP | POLLNVAL;

}  // namespace

Wakeup::Wakeup() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "nothing can be waited for");
  }
}

Wakeup::~Wakeup() { close(descriptor_); }

void Wakeup::wake() {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
}

void Wakeup::calm() {
  uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = read(descriptor_, &count, sizeof count);
}

Json eventDocument(const std::string& event) {
  return Json{{"schema", "miscdisc.event/1"}, {"time", rfc3339(now())}, {"event", event}};
}

std::optional<Exit> EventLines::wait(int descriptor, std::chrono::milliseconds most) {
  pollfd asked[] = {
      {signals_.descriptor(), POLLIN, 0}, {output_.descriptor(), 0, 0}, {descriptor, POLLIN, 0}};
  poll(asked, std::size(asked), static_cast<int>(most.count()));
  if (const auto signal = signals_.next()) return exitBySignal(signal->number);
  if (asked[1].revents & kGone) return kDone;
  return {};
}

std::optional<Exit> EventLines::write(const std::string& lines) {
  for (size_t done = 0; done < lines.size();) {
    pollfd asked[] = {{signals_.descriptor(), POLLIN, 0}, {output_.descriptor(), POLLOUT, 0}};
    if (poll(asked, std::size(asked), -1) < 0) continue;
    if (const auto signal = signals_.next()) return exitBySignal(signal->number);
    if (asked[1].revents == 0) continue;
    // A pipe that can be written takes so much without making anybody wait.
    const size_t count = std::min<size_t>(lines.size() - done, PIPE_BUF);
    const ssize_t written = ::write(output_.descriptor(), lines.data() + done, count);
    if (written >= 0) {
      done += static_cast<size_t>(written);
    } else if (errno == EPIPE) {
      return kDone;
    } else if (errno != EINTR && errno != EAGAIN) {
      complain(std::string("standard output cannot be written: ") + std::strerror(errno));
      return kFailed;
    }
  }
  return {};
}

}  // namespace console
