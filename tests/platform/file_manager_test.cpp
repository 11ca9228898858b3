// What every file manager must do.
#include "miscdisc/platform/file_manager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/platform/ground.h"

using namespace std::string_literals;

namespace {

class FileManagerTest : public testing::Test {
 protected:
  static bool opened(const Qx::Ptr<iFile>& file) { return file && file->valid(); }

  Qx::Ptr<iFile> lock(const WString& file) { return files.open(file, 2, 3, 0, 32); }
  Qx::Ptr<iFile> login(const WString& file) { return files.open(file, 2, 3, 4, 32); }
  Qx::Ptr<iFile> probe(const WString& file) { return files.open(file, 2, 1, 0, 32); }
  Qx::Ptr<iFile> writeInfo(const WString& file) { return files.open(file, 2, 3, 4, 0); }
  Qx::Ptr<iFile> newList(const WString& file) { return files.open(file, 1, 2, 1, 0); }
  Qx::Ptr<iFile> readOnly(const WString& file) { return files.open(file, 0, 0, 1, 0); }

  void write(const WString& name, const String& text) {
    const Qx::Ptr<iFile> file = writeInfo(name);
    ASSERT_TRUE(opened(file));
    ASSERT_TRUE(file->write(text.data(), text.size()));
  }

  std::vector<WString> namesOf(const WString& pattern) {
    Vector<iFileManager::DirectoryItem> items;
    std::vector<WString> names;
    EXPECT_TRUE(files.list(pattern, items, 1, 0));
    for (const auto& item : items) names.push_back(item.name);
    return names;
  }

  uint32_t attributesOf(const WString& file) {
    Vector<iFileManager::DirectoryItem> items;
    EXPECT_TRUE(files.list(file, items, 1, 0));
    EXPECT_EQ(items.size(), 1u);
    return items.empty() ? 0 : items[0].attributes;
  }

  iFileManager& files = OS()->fileManager();
  const WString folder = ground::folder();
  const WString path = folder + L"Room 1.lck";
  const WString info = path + L".inf";
  const WString list = folder + L"list.txt";
};

TEST_F(FileManagerTest, SeparatorIsASlash) { EXPECT_EQ(files.getPathSeparator(), L'/'); }

TEST_F(FileManagerTest, LockMakesTheFileAndLeavesItEmpty) {
  const Qx::Ptr<iFile> held = lock(path);
  ASSERT_TRUE(opened(held));
  EXPECT_EQ(ground::readFile(path), "");
  EXPECT_EQ(held->size(), 0);
}

TEST_F(FileManagerTest, HeldLockRefusesASecondOneUntilItIsClosed) {
  Qx::Ptr<iFile> held = lock(path);
  ASSERT_TRUE(opened(held));
  EXPECT_FALSE(opened(lock(path)));
  EXPECT_FALSE(opened(lock(path)));

  held = nullptr;
  EXPECT_TRUE(opened(lock(path)));
}

TEST_F(FileManagerTest, ClosedLockLeavesItsFile) {
  lock(path) = nullptr;
  EXPECT_EQ(ground::readFile(path), "");
}

TEST_F(FileManagerTest, LeftoverLockFileIsLockedAgainWithItsContents) {
  ground::writeFile(path, "left");
  const Qx::Ptr<iFile> held = lock(path);
  EXPECT_TRUE(opened(held));
  EXPECT_EQ(ground::readFile(path), "left");
}

TEST_F(FileManagerTest, TwoLocksInOneFolderAreTwoLocks) {
  const Qx::Ptr<iFile> one = lock(path);
  const Qx::Ptr<iFile> other = lock(folder + L"Room 2.lck");
  EXPECT_TRUE(opened(one));
  EXPECT_TRUE(opened(other));
}

TEST_F(FileManagerTest, LockFailsWhereThereIsNoFolder) {
  EXPECT_FALSE(opened(lock(folder + L"missing/Lock")));
  EXPECT_FALSE(opened(lock(L"")));
}

TEST_F(FileManagerTest, ProbeMakesNothingAndKeepsNobodyOut) {
  const Qx::Ptr<iFile> probed = probe(path);
  EXPECT_TRUE(opened(probed));
  EXPECT_EQ(ground::readFile(path), std::nullopt);
  EXPECT_TRUE(opened(lock(path)));
}

TEST_F(FileManagerTest, ProbeOfAHeldLockIsValid) {
  const Qx::Ptr<iFile> held = lock(path);
  EXPECT_TRUE(opened(probe(path)));
  EXPECT_FALSE(opened(lock(path)));
}

TEST_F(FileManagerTest, ProbeFailsWhereThereIsNoFolder) {
  EXPECT_FALSE(opened(probe(folder + L"missing/Lock")));
}

TEST_F(FileManagerTest, InformationFileIsWrittenOverAndReadBack) {
  const Qx::Ptr<iFile> held = lock(path);
  write(info, "a longer name");
  write(info, "anna");
  EXPECT_EQ(ground::readFile(info), "anna");

  const Qx::Ptr<iFile> file = readOnly(info);
  ASSERT_TRUE(opened(file));
  EXPECT_EQ(file->size(), 4);
  char bytes[200];
  EXPECT_EQ(file->read(bytes, 3), 3u);
  EXPECT_EQ(std::string(bytes, 3), "ann");
  EXPECT_EQ(file->read(bytes, sizeof(bytes)), 1u);
  EXPECT_EQ(bytes[0], 'a');
  EXPECT_EQ(file->read(bytes, sizeof(bytes)), 0u);
}

TEST_F(FileManagerTest, ReadingAMissingFileFailsAndLeavesNone) {
  EXPECT_FALSE(opened(readOnly(info)));
  EXPECT_EQ(ground::readFile(info), std::nullopt);
}

TEST_F(FileManagerTest, FileOpenedForReadingRefusesToBeWritten) {
  ground::writeFile(path, "kept");
  const Qx::Ptr<iFile> file = readOnly(path);
  ASSERT_TRUE(opened(file));
  EXPECT_FALSE(file->write("x", 1));
  EXPECT_EQ(ground::readFile(path), "kept");
}

TEST_F(FileManagerTest, CreationValuesMakeKeepAndTruncate) {
  struct Row {
    unsigned access, sharing, creation;
    bool validWhenMissing;
    const char* contentsAfter;  // of a file that held "old"
  };
  for (const Row row : {Row{2, 0, 0, true, "old"}, Row{1, 2, 1, true, "old"},
                        Row{0, 0, 1, false, "old"}, Row{2, 3, 4, true, ""}}) {
    SCOPED_TRACE(testing::Message() << "access " << row.access << " creation " << row.creation);
    ground::removeFile(path);
    EXPECT_EQ(opened(files.open(path, row.access, row.sharing, row.creation, 0)),
              row.validWhenMissing);
    EXPECT_EQ(ground::readFile(path).has_value(), row.validWhenMissing);

    ground::writeFile(path, "old");
    EXPECT_TRUE(opened(files.open(path, row.access, row.sharing, row.creation, 0)));
    EXPECT_EQ(ground::readFile(path), row.contentsAfter);
  }
}

TEST_F(FileManagerTest, WritesFollowEachOther) {
  for (const unsigned creation : {0u, 4u}) {
    SCOPED_TRACE(creation);
    ground::writeFile(path, "");
    const Qx::Ptr<iFile> file = files.open(path, 1, 2, creation, 0);
    ASSERT_TRUE(opened(file));
    EXPECT_TRUE(file->write("/media/a", 8));
    EXPECT_TRUE(file->write("\n", 1));
    EXPECT_TRUE(file->write("", 0));
    EXPECT_EQ(ground::readFile(path), "/media/a\n");
  }
}

TEST_F(FileManagerTest, NewListAppearsWholeWhenItIsClosed) {
  Qx::Ptr<iFile> file = newList(list);
  ASSERT_TRUE(opened(file));
  EXPECT_EQ(file->size(), 0);
  EXPECT_TRUE(file->write("/media/a", 8));
  EXPECT_TRUE(file->write("\n/media/b", 9));
  EXPECT_EQ(file->size(), 17);
  char byte;
  EXPECT_EQ(file->read(&byte, 1), 0u);
  EXPECT_EQ(ground::readFile(list), std::nullopt);
  EXPECT_EQ(namesOf(folder + L"*"), std::vector<WString>());

  file = nullptr;
  EXPECT_EQ(ground::readFile(list), "/media/a\n/media/b");
  EXPECT_EQ(namesOf(folder + L"*"), std::vector<WString>{L"list.txt"});
}

TEST_F(FileManagerTest, NewListWithoutAWordIsEmpty) {
  newList(list) = nullptr;
  EXPECT_EQ(ground::readFile(list), "");
}

TEST_F(FileManagerTest, ListThatCameMeanwhileGetsTheLinesThatItLacks) {
  struct Row {
    const char *theirs, *ours, *both;
  };
  for (const Row row : {Row{"/media/a\n", "/media/b", "/media/a\n/media/b\n"},
                        Row{"/media/a", "/media/b\n/media/c\n", "/media/a\n/media/b\n/media/c\n"},
                        Row{"/media/a\n/media/b\n", "/media/b", "/media/a\n/media/b\n"},
                        Row{"/media/bb\n", "/media/b", "/media/bb\n/media/b\n"},
                        Row{"", "/media/b", "/media/b\n"}, Row{"/media/a\n", "", "/media/a\n"}}) {
    SCOPED_TRACE(testing::Message() << row.theirs << " and " << row.ours);
    ground::removeFile(list);
    Qx::Ptr<iFile> file = newList(list);
    ASSERT_TRUE(opened(file));
    EXPECT_TRUE(file->write(row.ours, std::string(row.ours).size()));
    ground::writeFile(list, row.theirs);
    file = nullptr;
    EXPECT_EQ(ground::readFile(list), row.both);
  }
}

TEST_F(FileManagerTest, ListThatIsThereAlreadyGetsTheLinesThatItLacks) {
  ground::writeFile(list, "/media/a\n");
  Qx::Ptr<iFile> file = newList(list);
  ASSERT_TRUE(opened(file));
  EXPECT_TRUE(file->write("/media/b", 8));
  EXPECT_EQ(ground::readFile(list), "/media/a\n");
  file = nullptr;
  EXPECT_EQ(ground::readFile(list), "/media/a\n/media/b\n");
}

TEST_F(FileManagerTest, OfTwoNewListsTheSecondToCloseAddsItsLines) {
  Qx::Ptr<iFile> one = newList(list), other = newList(list);
  EXPECT_TRUE(one->write("/media/a", 8));
  EXPECT_TRUE(other->write("/media/b", 8));
  other = nullptr;
  EXPECT_EQ(ground::readFile(list), "/media/b");
  one = nullptr;
  EXPECT_EQ(ground::readFile(list), "/media/b\n/media/a\n");
  EXPECT_EQ(namesOf(folder + L"*"), std::vector<WString>{L"list.txt"});
}

TEST_F(FileManagerTest, NewListFailsAtOnceWhereThereIsNoFolder) {
  EXPECT_FALSE(opened(newList(folder + L"missing/list.txt")));
}

TEST_F(FileManagerTest, NewListOfAFolderThatIsDeletedMeanwhileAppearsNowhere) {
  ground::makeFolder(folder + L"Alpha");
  Qx::Ptr<iFile> file = newList(folder + L"Alpha/list.txt");
  ASSERT_TRUE(opened(file));
  EXPECT_TRUE(deleteDirectory(folder + L"Alpha"));
  file = nullptr;
  EXPECT_EQ(ground::readFile(folder + L"Alpha/list.txt"), std::nullopt);
  EXPECT_FALSE(files.directoryUsable(folder + L"Alpha"));
}

TEST_F(FileManagerTest, LoginOfTheSameUserWorksTwice) {
  const WString file = folder + L"anna.cli";
  const Qx::Ptr<iFile> first = login(file);
  const Qx::Ptr<iFile> second = login(file);
  EXPECT_TRUE(opened(first));
  EXPECT_TRUE(opened(second));
  EXPECT_EQ(ground::readFile(file), "");
}

TEST_F(FileManagerTest, LoginIsKeptByTheProcessUntilItsFileIsRemoved) {
  const WString file = folder + L"anna.cli";
  login(file) = nullptr;
  EXPECT_FALSE(opened(lock(file)));

  EXPECT_TRUE(files.remove(file));
  EXPECT_EQ(ground::readFile(file), std::nullopt);
  EXPECT_TRUE(opened(lock(file)));
}

TEST_F(FileManagerTest, LoginIsRefusedByALock) {
  const WString file = folder + L"anna.cli";
  const Qx::Ptr<iFile> held = lock(file);
  EXPECT_FALSE(opened(login(file)));
}

TEST_F(FileManagerTest, UnlockedLockIsRemovedWithItsInformation) {
  Qx::Ptr<iFile> held = lock(path);
  write(info, "anna");
  held = nullptr;
  EXPECT_TRUE(files.remove(path));
  files.remove(info);
  EXPECT_EQ(ground::readFile(path), std::nullopt);
  EXPECT_EQ(ground::readFile(info), std::nullopt);
}

TEST_F(FileManagerTest, RemoveLeavesALockThatIsHeld) {
  const Qx::Ptr<iFile> held = lock(path);
  EXPECT_FALSE(files.remove(path));
  EXPECT_EQ(ground::readFile(path), "");
  EXPECT_FALSE(opened(lock(path)));
}

TEST_F(FileManagerTest, RemoveLeavesTheInformationOfAnother) {
  Qx::Ptr<iFile> held = lock(path);
  write(info, "anna");
  held = nullptr;
  EXPECT_TRUE(files.remove(path));
  ground::writeFile(path, "");
  ground::writeFile(info, "bert");  // who came between the two removes
  files.remove(info);
  EXPECT_EQ(ground::readFile(info), "bert");
}

TEST_F(FileManagerTest, SecondRemoveLeavesTheInformationOfAnother) {
  Qx::Ptr<iFile> held = lock(path);
  write(info, "anna");
  held = nullptr;
  EXPECT_TRUE(files.remove(path));
  EXPECT_TRUE(files.remove(info));
  EXPECT_FALSE(files.remove(path));
  ground::writeFile(info, "bert");
  EXPECT_FALSE(files.remove(info));
  EXPECT_FALSE(files.remove(info));
  EXPECT_EQ(ground::readFile(info), "bert");
}

TEST_F(FileManagerTest, RemoveAfterAProbeLeavesTheInformationOfAnother) {
  probe(path) = nullptr;
  ground::writeFile(info, "bert");
  EXPECT_FALSE(files.remove(info));
  EXPECT_EQ(ground::readFile(info), "bert");
}

TEST_F(FileManagerTest, RemoveOfALockTakesTheInformationOfAFormerHolder) {
  Qx::Ptr<iFile> held = lock(path);
  ground::writeFile(info, "bert");
  held = nullptr;
  EXPECT_TRUE(files.remove(path));
  EXPECT_EQ(ground::readFile(info), std::nullopt);
}

TEST_F(FileManagerTest, LockOfALeftoverTakesAwayItsInformation) {
  ground::writeFile(path, "");
  ground::writeFile(info, "bert");
  const auto held = lock(path);
  EXPECT_EQ(ground::readFile(info), std::nullopt);
}

TEST_F(FileManagerTest, RemoveOfOtherFilesIsPlain) {
  ground::writeFile(folder + L"notes.txt", "x");
  ground::writeFile(info, "bert");
  EXPECT_TRUE(files.remove(folder + L"notes.txt"));
  EXPECT_TRUE(files.remove(info));
  EXPECT_EQ(ground::readFile(folder + L"notes.txt"), std::nullopt);
  EXPECT_EQ(ground::readFile(info), std::nullopt);
  EXPECT_FALSE(files.remove(folder + L"notes.txt"));
}

TEST_F(FileManagerTest, CreateDirectoryMakesOneNewLevel) {
  EXPECT_TRUE(files.createDirectory(folder + L"Lobby"));
  EXPECT_TRUE(files.directoryUsable(folder + L"Lobby"));
  EXPECT_FALSE(files.createDirectory(folder + L"Lobby"));
  EXPECT_FALSE(files.createDirectory(folder + L"a/b"));
  ground::writeFile(folder + L"file", "x");
  EXPECT_FALSE(files.createDirectory(folder + L"file"));
  EXPECT_TRUE(files.createDirectory(folder + L"Media/"));
}

TEST_F(FileManagerTest, DirectoryIsUsableWhenItIsAFolder) {
  ground::writeFile(folder + L"file", "x");
  EXPECT_TRUE(files.directoryUsable(folder));
  EXPECT_FALSE(files.directoryUsable(folder + L"file"));
  EXPECT_FALSE(files.directoryUsable(folder + L"missing"));
  EXPECT_FALSE(files.directoryUsable(L""));
}

TEST_F(FileManagerTest, CopyTakesTheContentsAndNeverReplaces) {
  const WString source = folder + L"a.txt", destination = folder + L"b.txt";
  ground::writeFile(source, "one\0two\n"s);
  EXPECT_TRUE(files.copy(source, destination, 0, 0, 0));
  EXPECT_EQ(ground::readFile(destination), ground::readFile(source));

  ground::writeFile(source, "new");
  EXPECT_FALSE(files.copy(source, destination, 0, 0, 0));
  EXPECT_EQ(ground::readFile(destination), "one\0two\n"s);
}

TEST_F(FileManagerTest, CopyOfAMissingFileMakesNone) {
  EXPECT_FALSE(files.copy(folder + L"missing", folder + L"b.txt", 0, 0, 0));
  EXPECT_EQ(ground::readFile(folder + L"b.txt"), std::nullopt);
}

TEST_F(FileManagerTest, ListShowsMatchingFilesByNameInAnyCase) {
  for (const wchar_t* name : {L"bert.cli", L"Zoe.CLI", L"anna.cli", L".hidden.cli", L"anna.clip",
                              L"x.cli.tmp", L"cli", L".cli"}) {
    ground::writeFile(folder + name, "");
  }
  ground::makeFolder(folder + L"folder.cli");
  EXPECT_EQ(namesOf(folder + L"*.cli"),
            (std::vector<WString>{L".cli", L".hidden.cli", L"Zoe.CLI", L"anna.cli", L"bert.cli"}));
  EXPECT_EQ(namesOf(folder + L"ANNA.C*"), (std::vector<WString>{L"anna.cli", L"anna.clip"}));
  EXPECT_EQ(namesOf(folder + L"?oe.*"), (std::vector<WString>{L"Zoe.CLI"}));
  EXPECT_EQ(namesOf(folder + L"*.tmp"), (std::vector<WString>{}));
}

TEST_F(FileManagerTest, ListEmptiesTheItemsAndFailsWithoutAFolder) {
  Vector<iFileManager::DirectoryItem> items;
  items.add({L"before", 2});
  EXPECT_FALSE(files.list(folder + L"missing/*.cli", items, 1, 0));
  EXPECT_EQ(items.size(), 0u);
  items.add({L"before", 2});
  EXPECT_TRUE(files.list(folder + L"*.cli", items, 1, 0));
  EXPECT_EQ(items.size(), 0u);
}

TEST_F(FileManagerTest, EmptyPatternListsNothing) {
  setProjectsBaseDirectory(folder);
  Vector<iFileManager::DirectoryItem> items;
  EXPECT_FALSE(files.list(L"", items, 1, 0));
}

TEST_F(FileManagerTest, LoggedOutByCrashIsStillListed) {
  ground::writeFile(folder + L"bert.cli", "");
  const Qx::Ptr<iFile> held = login(folder + L"anna.cli");
  EXPECT_EQ(namesOf(folder + L"*.cli"), (std::vector<WString>{L"anna.cli", L"bert.cli"}));
}

TEST_F(FileManagerTest, TheLastMarkCounts) {
  const WString file = folder + L"anna.cli";
  ground::writeFile(file, "");
  EXPECT_EQ(attributesOf(file) & 2, 0u);
  EXPECT_TRUE(files.mark(file, 2));
  EXPECT_EQ(attributesOf(file) & 2, 2u);
  EXPECT_TRUE(files.mark(file, 1));
  EXPECT_EQ(attributesOf(file) & 2, 0u);
}

TEST_F(FileManagerTest, MarkCreatesNothing) {
  EXPECT_FALSE(files.mark(folder + L"missing", 2));
  EXPECT_EQ(ground::readFile(folder + L"missing"), std::nullopt);
}

TEST_F(FileManagerTest, OnlyOrdinaryFilesAreMarked) {
  ground::makeFolder(folder + L"Room");
  EXPECT_FALSE(files.mark(folder + L"Room", 2));
  EXPECT_FALSE(files.mark(L"", 2));
}

TEST_F(FileManagerTest, NewLoginStartsUnmarked) {
  const WString file = folder + L"anna.cli";
  ground::writeFile(file, "");
  ASSERT_TRUE(files.mark(file, 2));
  const Qx::Ptr<iFile> held = login(file);
  ASSERT_TRUE(opened(held));
  EXPECT_EQ(attributesOf(file) & 2, 0u);
}

TEST_F(FileManagerTest, RelativeNamesLieInTheProjectsBase) {
  setProjectsBaseDirectory(folder);
  EXPECT_TRUE(files.createDirectory(L"Lobby"));
  EXPECT_TRUE(files.directoryUsable(folder + L"Lobby"));
  EXPECT_TRUE(files.directoryUsable(L"Lobby"));
  EXPECT_FALSE(files.directoryUsable(L""));

  write(L"Lobby/a.txt", "one");
  EXPECT_EQ(ground::readFile(folder + L"Lobby/a.txt"), "one");
  EXPECT_TRUE(files.copy(L"Lobby/a.txt", L"b.txt", 0, 0, 0));
  EXPECT_EQ(ground::readFile(folder + L"b.txt"), "one");
  EXPECT_EQ(namesOf(L"*.txt"), (std::vector<WString>{L"b.txt"}));
  EXPECT_EQ(namesOf(L"Lobby/*"), (std::vector<WString>{L"a.txt"}));
  EXPECT_TRUE(files.mark(L"b.txt", 2));
  EXPECT_EQ(attributesOf(folder + L"b.txt") & 2, 2u);

  EXPECT_TRUE(files.remove(L"Lobby/a.txt"));
  EXPECT_EQ(ground::readFile(folder + L"Lobby/a.txt"), std::nullopt);
}

TEST_F(FileManagerTest, RelativeLockIsTheOneInTheProjectsBase) {
  setProjectsBaseDirectory(folder);
  Qx::Ptr<iFile> held = lock(L"Room 1.lck");
  ASSERT_TRUE(opened(held));
  EXPECT_TRUE(opened(probe(L"Room 1.lck")));
  EXPECT_FALSE(opened(lock(path)));
  held = nullptr;
  EXPECT_TRUE(files.remove(path));
}

TEST_F(FileManagerTest, InformationOfNoLockIsInvalidAndLeavesNoFile) {
  setProjectsBaseDirectory(folder);
  EXPECT_FALSE(opened(readOnly(L".inf")));
  EXPECT_EQ(ground::readFile(folder + L".inf"), std::nullopt);
}

TEST_F(FileManagerTest, RelativeNamesFollowTheProjectsBase) {
  ground::makeFolder(folder + L"one");
  ground::makeFolder(folder + L"other");
  setProjectsBaseDirectory(folder + L"one/");
  write(L"a.txt", "one");
  setProjectsBaseDirectory(folder + L"other/");
  EXPECT_FALSE(opened(readOnly(L"a.txt")));
  write(L"a.txt", "other");
  EXPECT_EQ(ground::readFile(folder + L"one/a.txt"), "one");
  EXPECT_EQ(ground::readFile(folder + L"other/a.txt"), "other");
}

TEST_F(FileManagerTest, MaterialFolderEndsInTheSeparator) {
  EXPECT_TRUE(files.getDefaultNetworkMaterialFolder().ends_with(L"network/material/"));
}

}  // namespace
