#include "miscdisc/netshare/project_share.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_platform.h"

namespace {

struct ProjectShareTest : testing::Test {
  ProjectShareTest() {
    platform.baseDirectory = L"/share/Alpha/";
    platform.addFolder(L"/share/Alpha/P0001000");
    platform.addFolder(L"/share/Alpha/P0001001");
  }

  FakePlatform& platform = fakePlatform();
  const cookie project{1000, 0, 0, 'P'};
  const cookie second{1001, 0, 0, 'P'};
  const WString lock = L"/share/Alpha/P0001000/Lock";
  const WString info = L"/share/Alpha/P0001000/Lock.inf";
  const WString room = L"/share/Alpha/Edit 1";
};

const cookie kNull;
const cookie kNullByType{1000, 2, 3, 'I'};

}  // namespace

TEST_F(ProjectShareTest, AProjectsLockLiesInItsFolder) {
  EXPECT_EQ(ProjectShare::getProjectLockFile(project), lock);
  EXPECT_EQ(ProjectShare::getProjectLockFile(kNull), L"");
  EXPECT_EQ(ProjectShare::getProjectLockFile(kNullByType), L"");
}

// The base directory and the project's name are joined as they are.
TEST_F(ProjectShareTest, ABaseDirectoryWithoutASeparatorHasTheLockBesideIt) {
  platform.baseDirectory = L"/share/Alpha";
  EXPECT_EQ(ProjectShare::getProjectLockFile(project), L"/share/AlphaP0001000/Lock");
}

TEST_F(ProjectShareTest, LockingAProjectNamesItsHolder) {
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_TRUE(ProjectShare::isProjectOccupied(project));
  EXPECT_EQ(platform.file(info)->bytes, "ann");
  EXPECT_EQ(ProjectShare::getLockOwner(project), L"ann");

  EXPECT_TRUE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_FALSE(ProjectShare::isProjectOccupied(project));
  EXPECT_FALSE(platform.has(info));
  EXPECT_FALSE(ProjectShare::unlockCurrentlyLockedProject());
}

TEST_F(ProjectShareTest, AProjectHeldElsewhereIsRefusedAndLeftAlone) {
  platform.addFile(lock);
  platform.addFile(info, "ben");
  platform.heldElsewhere = {lock};
  EXPECT_FALSE(ProjectShare::lockProject(project));
  EXPECT_FALSE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_EQ(ProjectShare::getLockOwner(project), L"ben");
  EXPECT_TRUE(platform.has(lock));
  EXPECT_EQ(platform.removed, std::vector<WString>());
}

TEST_F(ProjectShareTest, ANameThatCannotBeWrittenDoesNotUndoTheLock) {
  platform.failingCall = 3;  // probe, lock, information file
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_FALSE(platform.has(info));
  EXPECT_TRUE(ProjectShare::unlockCurrentlyLockedProject());
}

// An information file that could not be written stays open as long as there is the lock object.
TEST_F(ProjectShareTest, NothingIsLeftOfALockThatWasLetGo) {
  platform.failingCall = 4;  // probe, lock, information file, what is written into it
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_TRUE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_EQ(platform.calls.back(), "release /share/Alpha/P0001000/Lock.inf");

  platform.failNextCall();
  platform.failingCall += 4;  // the mark besides
  EXPECT_TRUE(ProjectShare::indicateRoomChange(room, project));
  ProjectShare::unlockCurrentRoom();
  EXPECT_EQ(platform.calls.back(), "release /share/Alpha/Edit 1.lck.inf");
}

// A handle that was refused is released with its lock object.
TEST_F(ProjectShareTest, NothingIsLeftOfALockThatWasRefused) {
  platform.heldElsewhere = {lock, room + L".lck"};
  EXPECT_FALSE(ProjectShare::lockProject(project));
  EXPECT_EQ(platform.calls.back(), "release invalid");
  platform.calls.clear();
  EXPECT_FALSE(ProjectShare::lockRoom(room));
  EXPECT_EQ(platform.calls.back(), "release invalid");
  platform.calls.clear();
  EXPECT_FALSE(ProjectShare::indicateRoomChange(room, project));
  EXPECT_EQ(platform.calls.back(), "release invalid");
}

// The first lock is out of reach from then on.
TEST_F(ProjectShareTest, LockingASecondProjectLeavesTheFirstHeld) {
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_TRUE(ProjectShare::lockProject(second));
  EXPECT_TRUE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_FALSE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_TRUE(platform.has(lock));
  EXPECT_EQ(platform.locks[lock], -1);
  EXPECT_FALSE(platform.has(L"/share/Alpha/P0001001/Lock"));
}

TEST_F(ProjectShareTest, LockingTheSameProjectTwiceFailsAndTheFirstStaysHeld) {
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_FALSE(ProjectShare::lockProject(project));
  EXPECT_FALSE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_EQ(platform.locks[lock], -1);
}

TEST_F(ProjectShareTest, ANullProjectIsNeverOccupied) {
  EXPECT_FALSE(ProjectShare::isProjectOccupied(kNull));
  EXPECT_FALSE(ProjectShare::isProjectOccupied(kNullByType));
}

// Neither the lock nor the owner of a null project is kept back: the paths are odd, that is all.
TEST_F(ProjectShareTest, ANullProjectIsLockedAndAskedForLikeAnyOther) {
  ProjectShare::lockProject(kNull);
  EXPECT_EQ(platform.opened.back().path, L"/share/Alpha//Lock");
  ProjectShare::getLockOwner(kNull);
  EXPECT_EQ(platform.opened.back().path, L".inf");
}

TEST_F(ProjectShareTest, ALeftoverCountsAsOccupied) {
  platform.addFile(lock);
  platform.addFile(room + L".lck");
  EXPECT_TRUE(ProjectShare::isProjectOccupied(project));
  EXPECT_TRUE(ProjectShare::isRoomOccupied(room));
  EXPECT_TRUE(ProjectShare::lockProject(project));
}

TEST_F(ProjectShareTest, LockingARoomNamesNobody) {
  EXPECT_FALSE(ProjectShare::isRoomOccupied(room));
  EXPECT_TRUE(ProjectShare::lockRoom(room));
  EXPECT_TRUE(ProjectShare::isRoomOccupied(room));
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"");
  ProjectShare::unlockCurrentRoom();
  EXPECT_FALSE(ProjectShare::isRoomOccupied(room));
  ProjectShare::unlockCurrentRoom();  // none is held: nothing
  EXPECT_EQ(platform.removed, (std::vector<WString>{room + L".lck"}));
}

TEST_F(ProjectShareTest, ARoomHeldElsewhereIsRefusedAndLeftAlone) {
  platform.addFile(room + L".lck");
  platform.addFile(room + L".lck.inf", "ben");
  platform.heldElsewhere = {room + L".lck"};
  EXPECT_FALSE(ProjectShare::lockRoom(room));
  ProjectShare::unlockCurrentRoom();
  EXPECT_EQ(platform.removed, std::vector<WString>());
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"ben");
}

TEST_F(ProjectShareTest, TheSpecialRoomIsNeverLocked) {
  for (const wchar_t* special : {L"CARDVT.Room", L"/share/Alpha/cardvt.room", L"xCARDVT.ROOM"}) {
    EXPECT_TRUE(ProjectShare::lockRoom(special));
  }
  EXPECT_EQ(platform.opened, std::vector<FakePlatform::Open>());
  EXPECT_TRUE(ProjectShare::lockRoom(L"/share/Alpha/CARDVT.Room2"));
  EXPECT_TRUE(platform.has(L"/share/Alpha/CARDVT.Room2.lck"));
}

TEST_F(ProjectShareTest, AnOwnerIsReadToItsFirst200Bytes) {
  struct {
    String bytes;
    WString owner;
  } const cases[] = {
      {"ben", L"ben"},
      {"", L""},
      {"J\u00F6rg", L"J\u00F6rg"},
      {"ben\n", L"ben\n"},
      {String("a\0b", 3), L"a"},
      {String(200, 'x'), WString(200, L'x')},
      {String(201, 'x') + "yz", WString(200, L'x')},
      {String(199, 'x') + "\u00F6", WString(199, L'x') + WString(1, wchar_t{0xDCC3})},
  };
  for (const auto& c : cases) {
    platform.addFile(room + L".lck.inf", c.bytes);
    EXPECT_EQ(ProjectShare::getLockOwner(room), c.owner);
  }
}

TEST_F(ProjectShareTest, ReadingAnOwnerCreatesNothing) {
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"");
  EXPECT_EQ(platform.opened, (std::vector<FakePlatform::Open>{{room + L".lck.inf", 0, 0, 1, 0}}));
  EXPECT_FALSE(platform.has(room + L".lck.inf"));
}

TEST_F(ProjectShareTest, TheUserIsThePlatforms) { EXPECT_EQ(ProjectShare::getUserName(), L"ann"); }
