// An editor in a lobby, as small as can be.  Every line of its standard input is the name of a file
// that it records; what the other machines record and delete it finds in its cache, without reading
// a folder again.
//
//   editor LOBBY
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>

#include "miscdisc/dircache/cache_follower.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/net_login.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/messenger.h"
#include "miscdisc/platform/paths.h"

namespace {

void say(const std::string& text) { std::cout << text << std::endl; }

void record(const std::string& name) {
  wchar_t volume = 0;
  if (!FsysGetFirstMaterialVolume(&volume)) return;
  const WString file = Qx::WStringFromUTF8(name);
  if (getSystemCache()->find(file, volume)) return say(name + " is there already");
  const WString path = volume + (L":/Material/" + file);
  std::ofstream(Qx::UTF8FromWString(FsysFilenameToWin32Filename(path))) << "media";
  add_file_to_directory_cache(path, true);  // after it was written; tells the others
  say("recorded " + name);
}

void show(const CacheEvent& event) {
  const WString name = stripPath(event.path);
  if (event.kind == CacheEvent::Kind::kAdded) {
    const bool found = getSystemCache()->find(name, event.path[0]) != nullptr;
    say((found ? "found " : "cannot find ") + Qx::UTF8FromWString(name));
  } else if (event.kind == CacheEvent::Kind::kRemoved) {
    say("gone " + Qx::UTF8FromWString(name));
  } else if (event.kind == CacheEvent::Kind::kRescan) {
    validate_directory_cache();  // texts were lost, so every folder is read again
  }
}

// Whoever reads its folders before it hears the others may miss what they record in between.
void awaitConnection() {
  for (int i = 0; i < 1000 && !messengerState().tried; ++i) usleep(5000);
  if (!messengerState().connected) say("alone for now: " + messengerState().words);
}

// What the program waits for: a line, or news of the others.
void work(CacheFollower& follower, int news) {
  pollfd asked[] = {{STDIN_FILENO, POLLIN, 0}, {news, POLLIN, 0}};
  std::string line;
  while (poll(asked, 2, -1) > 0) {
    if (asked[1].revents) {
      eventfd_t count = 0;
      eventfd_read(news, &count);
      for (const CacheEvent& event : follower.apply()) show(event);
    }
    if (!asked[0].revents) continue;
    char byte = 0;
    if (read(STDIN_FILENO, &byte, 1) != 1) return;
    if (byte != '\n') {
      line += byte;
    } else {
      record(std::exchange(line, ""));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  LobbyUtils::setCurrentNetworkLobby(Qx::WStringFromUTF8(argv[1]));
  if (!LobbyUtils::setupQXProjDirectory()) {
    std::fprintf(stderr, "editor: the lobby %s cannot be entered\n", argv[1]);
    return 1;
  }
  {
    const int news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    CacheFollower follower([news] { eventfd_write(news, 1); });
    awaitConnection();
    invalidate_directory_cache();  // entering the lobby has read the folders, too early
    validate_directory_cache();    // reads every media folder
    say("in lobby " + std::string(argv[1]));
    work(follower, news);
  }
  EndNotify();  // what was told last gets out
  NetLogout();
}
