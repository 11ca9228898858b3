// Where the machine works: the projects folder of its own disk, or, in network mode, a lobby.
//
// A lobby is a folder under the network projects root; it is one when it holds the media-locations
// file.  Its name is one folder level.  The roots and the lobby's name are read from the user
// configuration, section "Configuration", at every call.
//
// All operations are static and expect one caller at a time: the user-interface thread.  None
// writes a message or throws; an absent setting is its default.
#pragma once

#include "miscdisc/platform/values/val_server.h"
#include "miscdisc/platform/values/vector.h"

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

  // Moving between spaces.  Neither of the two moves logs in or out: setupQXProjDirectory() does.

  // The bare names of the lobbies under the network projects root, in the listing's order, in place
  // of what the vector held.
  static void getAvailableNetworkLobbies(Vector<WString>& lobbies);

  // Makes the lobby the current one, whether or not it is there: its name is configured, network
  // mode is on, and the drives are those of its list.
  static void setCurrentNetworkLobby(const WString& name);

  // Back to the local space and its drives; the name of the lobby is kept as the last one.
  static void switchFromNetworkToLocal();

  // Makes the lobby's folder, a media location in it, and the list that names this location, which
  // makes the folder a lobby.  False, with nothing made, only when the folder cannot be made; what
  // fails after that is not told.
  static bool createNewLobby(const WString& name);

  // Deletes the lobby's folder with all that is in it.  False, with nothing touched, when it is no
  // lobby; whether the deletion worked is not told.  Whoever is in the lobby is not asked.
  // REQUIRES: the name is not empty, for that is the root itself, and not the current lobby's.
  static bool deleteLobby(const WString& name);

  // Builds the list of drives for the current space: its volumes, and the locations that the file
  // lists, or, when none is named, the space's own list.  Always true.
  static bool mountUserMaterialDrives(WString mediaLocationsFile);
  // Forgets listings and drives; the volumes stay.  The argument has no effect.
  static void unmountUserMaterialDrives(WString mediaLocationsFile);

  // Local project spaces.

  // Makes the folders "P0001000" and "G0001000" where they are missing.  False when one cannot be
  // made; when the first fails the second is not tried.
  static bool createDefaultProjectFolders(const WString& folder);

  // The same, and copies of the default space's lists of drives, if it has any.  The folder ends in
  // the separator.  The new space is not made current.
  static bool createNewLocalProjectSpace(const WString& folder);

  // Makes the folder, which ends in the separator, the local project space, and its drives the
  // current ones.  False, with nothing changed, when it does not exist.
  static bool changeLocalProjectSpace(const WString& folder);

  // Sets the projects base directory.  With a lobby configured it logs in there and sets network
  // mode by whether that worked; else it leaves the mode as it is, and logs out when the base
  // directory is not the local folder already.  Not in a lobby, the machine works in the local
  // space, or the default one when that is not usable.  False only when the lobby could not be
  // logged in to; the next call tries the same one again.
  // Once for each lobby that is entered: a second login there takes the login file away, see
  // NetLogin().
  static bool setupQXProjDirectory();

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
