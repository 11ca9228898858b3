// A mount that stops answering when it is told to.
//
//   hanging_mount DIR [FILE...]
//
// Mounts a file system with the empty folders "Material" and "Sound", and empty files of these
// names, on DIR, which must be an empty folder, prints "ready", and serves it until SIGTERM, when
// it unmounts it, or until the process that started it has ended.  Of its 3 GiB, 1 GiB are free.
// Nothing can be written.
//
//   SIGUSR1  stops answering; as does SIGSTOP
//   SIGUSR2  answers again, also what was asked meanwhile; as does SIGCONT
//
// Whoever asks meanwhile waits, and can be killed.  What the kernel has seen once it remembers, so
// that stat of DIR answers even then, and statvfs does not.  Needs /dev/fuse and the right to
// mount; exit 77 without them.  After SIGKILL, "umount -l DIR" is left to do.
#define FUSE_USE_VERSION 312
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kNotPossible = 77;
constexpr double kRemembered = 3600;  // seconds

volatile sig_atomic_t silent = 0;
volatile sig_atomic_t ended = 0;

std::vector<std::string> files;

bool isFile(const std::string& path) {
  return std::any_of(files.begin(), files.end(),
                     [&](const std::string& name) { return path == "/" + name; });
}

bool isFolder(const std::string& path) {
  return path == "/" || path == "/Material" || path == "/Sound";
}

int getAttributes(const char* path, struct stat* found, fuse_file_info*) {
  if (!isFolder(path) && !isFile(path)) return -ENOENT;
  *found = {};
  found->st_mode = isFile(path) ? S_IFREG | 0644 : S_IFDIR | 0755;
  found->st_nlink = 2;
  return 0;
}

int readFolder(const char* path, void* names, fuse_fill_dir_t add, off_t, fuse_file_info*,
               fuse_readdir_flags) {
  if (!isFolder(path)) return -ENOENT;
  if (std::string(path) != "/") return 0;
  for (const char* name : {"Material", "Sound"}) {
    add(names, name, nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
  }
  for (const std::string& name : files) {
    add(names, name.c_str(), nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
  }
  return 0;
}

int measure(const char*, struct statvfs* space) {
  *space = {};
  space->f_bsize = space->f_frsize = 4096;
  space->f_blocks = 3 * 262144;
  space->f_bfree = space->f_bavail = 262144;
  space->f_namemax = 255;
  return 0;
}

void* start(fuse_conn_info*, fuse_config* config) {
  config->attr_timeout = config->entry_timeout = kRemembered;
  return nullptr;
}

void handle(int signal) {
  if (signal == SIGUSR1) {
    silent = 1;
  } else if (signal == SIGUSR2) {
    silent = 0;
  } else {
    ended = 1;
  }
}

// Signals come in only where it waits, so that nobody's question is left half answered: such a one
// could not even be killed.  The result is the mask to wait with.
sigset_t takeSignals() {
  sigset_t taken, waiting;
  sigemptyset(&taken);
  for (const int signal : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction action {};
    action.sa_handler = handle;
    sigaction(signal, &action, nullptr);
    sigaddset(&taken, signal);
  }
  sigprocmask(SIG_BLOCK, &taken, &waiting);
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&taken, signal) == 1) sigdelset(&waiting, signal);
  }
  return waiting;
}

void serve(fuse_session* session, const sigset_t& waiting) {
  fuse_buf question{};
  while (!ended && !fuse_session_exited(session)) {
    if (silent) {
      sigsuspend(&waiting);
      continue;
    }
    pollfd asked{fuse_session_fd(session), POLLIN, 0};
    if (ppoll(&asked, 1, nullptr, &waiting) < 0) continue;
    const int size = fuse_session_receive_buf(session, &question);
    if (size == -EINTR || size == -EAGAIN) continue;
    if (size <= 0) break;
    fuse_session_process_buf(session, &question);
  }
  std::free(question.mem);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: hanging_mount DIR [FILE...]\n");
    return 2;
  }
  files.assign(argv + 2, argv + argc);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const sigset_t waiting = takeSignals();
  fuse_operations operations{};
  operations.getattr = getAttributes;
  operations.readdir = readFolder;
  operations.statfs = measure;
  operations.init = start;
  char* own[] = {argv[0], nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(1, own);
  fuse* const server = fuse_new(&arguments, &operations, sizeof operations, nullptr);
  if (!server || fuse_mount(server, argv[1]) != 0) return kNotPossible;
  std::puts("ready");
  std::fflush(stdout);
  serve(fuse_get_session(server), waiting);
  fuse_unmount(server);
  fuse_destroy(server);
  return 0;
}
