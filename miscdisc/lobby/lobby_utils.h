// Where the machine works: the projects folder of its own disk, or, in network mode, a lobby.
//
// A lobby is a folder under the network projects root; it is one when it holds the media-locations
// file.  Its name is one folder level.  The roots and the lobby's name are read from the user
// configuration, section "Configuration", at every call.
//
// All operations are static and expect one caller at a time: the user-interface thread.  None
// reports an error; an absent setting is its default.
#pragma once

#include "miscdisc/platform/values/val_server.h"

class MISCDISC_EXPORT LobbyUtils {
 public:
  LobbyUtils() = delete;

  // Network mode and paths.

  // True while the machine works inside a network lobby; false when the library is loaded.
  // The lobby operations keep it; a program that only looks may set it for itself.
  static bool networkMode_;

  static const char* NetProjRootRegKey;  // "network project root"
  static const char* NetMatRootRegKey;   // "network material root"

  static bool machineIsInNetworkMode();

  // No room file is open, in network mode or not.
  static bool inLobby();

  // As configured, with no separator added or checked; the platform's default folder when the
  // setting is empty or absent.
  static WString getNetworkProjectsRoot();
  static WString getNetworkMaterialRoot();

  static WString getCurrentNetworkLobbyName();  // empty: working locally

  // The lobby's folder.  The separator after it is added whatever the name ends in.
  static WString getNetworkLobbyFullPath(const WString& name, bool trailingSeparator);
  static WString getCurrentNetworkLobbyFullPath(bool trailingSeparator);

  // The folder in which the machine works, to which file names are appended directly: the current
  // lobby's, with the separator, or the local projects folder as the platform gives it.
  static WString getCurrentLobbyName();

  static bool isNetworkLobby(WString folder);

  // Rooms.

  // Every set is announced, also of the name that is there already.
  static void setRoomName(const WString& name);
  static WString getRoomName();

  // From now on the observer tells the client of every set of the room name, on the thread that
  // sets it; it stops watching what it watched before.  Doing it twice registers it once.
  static void registerForRoomNameChanges(ValObserver<WString>& observer, ValObserverClient& client);

  // The path of the open room file; empty while the user is in the lobby itself.
  static void setRoomFileName(const WString& path);
  static WString getRoomFileName();

  // The value itself, not a copy: it shows later changes.
  static void setPreviousRoomName(const WString& name);
  static const WString& getPreviousRoomName();

 private:
  static ValServer<WString> roomName_;
  static WString roomFileName_;
  static WString previouslyLoadedRoom_;
};
