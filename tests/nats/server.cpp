#include "tests/nats/server.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience{60};

// Output goes to a file; the process ends with this one.
pid_t spawn(const std::vector<std::string>& command, const std::string& output) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process != 0) return process;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(126);
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

// A server's settings with those that every server of a test needs.
std::string whole(std::string settings) {
  if (settings.find("@LISTEN@") != std::string::npos) return settings;
  return "listen: '@LISTEN@'\njetstream { store_dir: '@STORE@' }\n" + settings;
}

template <typename Function>
Function* exported(const char* name) {
  void* const plugin = dlopen(NATS_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  if (!plugin) throw std::runtime_error(dlerror());
  void* const symbol = dlsym(plugin, name);
  if (!symbol) throw std::runtime_error(dlerror());
  return reinterpret_cast<Function*>(symbol);
}

}  // namespace

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

Folder::Folder() {
  path_ = fs::temp_directory_path() / "miscdisc-nats-XXXXXX";
  if (!mkdtemp(path_.data())) throw std::runtime_error("no folder for the test at " + path_);
}

Folder::~Folder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string Folder::write(const std::string& name, const std::string& bytes) const {
  const std::string path = path_ + "/" + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

void replace(std::string& text, const std::string& what, const std::string& with) {
  const size_t found = text.find(what);
  if (found == std::string::npos) throw std::runtime_error(what + " is not in " + text);
  text.replace(found, what.size(), with);
}

Server::Server(std::string settings, std::string address)
    : settings_(whole(std::move(settings))), address_(std::move(address)) {
  start();
}

Server::~Server() {
  if (process_ != 0) kill();
}

std::string Server::configure() const {
  std::string settings = settings_;
  replace(settings, "@LISTEN@", address_ + ":" + std::to_string(port_));
  replace(settings, "@STORE@", folder_.path() + "/store");
  return folder_.write("server.conf",
                       settings + "\nports_file_dir: '" + folder_.path() + "/ports'\n");
}

void Server::start() {
  const std::string ports = folder_.path() + "/ports";
  fs::remove_all(ports);
  fs::create_directory(ports);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  const std::string before = "://" + address_ + ":";
  for (;;) {
    if (process_ == 0) {
      process_ = spawn({"nats-server", "-c", configure()}, folder_.path() + "/log");
    }
    const std::string text =
        contents(ports + "/nats-server_" + std::to_string(process_) + ".ports");
    const size_t found = text.find(before);
    if (found != std::string::npos && text.find('}') != std::string::npos) {
      port_ = std::stoi(text.substr(found + before.size()));
      return;
    }
    int status = 0;
    const bool hasEnded = waitpid(process_, &status, WNOHANG) != 0;
    if (hasEnded) process_ = 0;
    // While it was away another process may have been given its port, mostly for a moment.
    const bool isHopeless = hasEnded && port_ < 0;
    if (isHopeless || std::chrono::steady_clock::now() > end) {
      throw std::runtime_error("nats-server does not start: " + contents(folder_.path() + "/log"));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

std::string Server::url(const std::string& userAndPassword) const {
  return "nats://" + (userAndPassword.empty() ? "" : userAndPassword + "@") + address_ + ":" +
         std::to_string(port_);
}

void Server::kill() {
  ::kill(process_, SIGKILL);
  awaitEnd();
}

void Server::end() {
  ::kill(process_, SIGTERM);
  awaitEnd();
}

void Server::reload(const std::string& settings) {
  settings_ = whole(settings);
  configure();
  ::kill(process_, SIGHUP);
}

void Server::stop() { ::kill(process_, SIGSTOP); }

void Server::resume() { ::kill(process_, SIGCONT); }

void Server::awaitEnd() {
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = 0;
}

std::unique_ptr<host::Engine> makeEngine(const host::EngineSettings& settings) {
  return std::unique_ptr<host::Engine>(exported<MakeEngine>("miscdisc_nats_engine")(&settings));
}

std::string makeStream(const host::EngineSettings& settings, const std::string& group) {
  std::string whyNot;
  const bool made = exported<MakeStream>("miscdisc_nats_make_stream")(&settings, &group, &whyNot);
  if (made != whyNot.empty()) throw std::runtime_error("made or not? " + whyNot);
  return whyNot;
}

int runProgram(const std::vector<std::string>& command) {
  int status = 0;
  waitpid(spawn(command, "/dev/null"), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace test
