#include "miscdisc/lobby/lobby_utils.h"

ValServer<WString> LobbyUtils::roomName_;
WString LobbyUtils::roomFileName_;
WString LobbyUtils::previouslyLoadedRoom_;

void LobbyUtils::setRoomName(const WString& name) { roomName_.updateAndNotify(name); }

WString LobbyUtils::getRoomName() { return roomName_.getVal(); }

void LobbyUtils::registerForRoomNameChanges(ValObserver<WString>& observer,
                                            ValObserverClient& client) {
  observer.deregisterFrom(observer.getValServer(0));  // an observer of one value watches one server
  observer.registerWith(roomName_);
  observer.setClient(&client);
}

void LobbyUtils::setRoomFileName(const WString& path) { roomFileName_ = path; }

WString LobbyUtils::getRoomFileName() { return roomFileName_; }

void LobbyUtils::setPreviousRoomName(const WString& name) { previouslyLoadedRoom_ = name; }

const WString& LobbyUtils::getPreviousRoomName() { return previouslyLoadedRoom_; }
