#include "host/command_map.h"

#include <map>
#include <mutex>

#include "miscdisc/platform/command_map.h"

namespace {

class ConsoleCommands final : public CommandMap {
 public:
  struct Command {
    void (*function)(void*);
    void* context;
  };

  void registerCommand(const char* name, void (*function)(void*), void* context, unsigned, unsigned,
                       unsigned, const MapItem&) override {
    const std::lock_guard lock(mutex_);
    commands_[name] = {function, context};
  }

  // A command runs outside the lock: it may register others.
  bool run(const std::string& name) {
    Command command{};
    {
      const std::lock_guard lock(mutex_);
      const auto found = commands_.find(name);
      if (found == commands_.end()) return false;
      command = found->second;
    }
    command.function(command.context);
    return true;
  }

  std::vector<std::string> names() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& [name, command] : commands_) names.push_back(name);
    return names;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, Command> commands_;
};

// Never destroyed: static objects of other libraries register too.
ConsoleCommands& commands() {
  static ConsoleCommands& instance = *new ConsoleCommands;
  return instance;
}

}  // namespace

CommandMap& CommandMap::theCommandMap() { return commands(); }

namespace host {

bool runCommand(const std::string& name) { return commands().run(name); }

std::vector<std::string> commandNames() { return commands().names(); }

}  // namespace host
