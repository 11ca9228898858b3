// What every TextFile must do.
#include "miscdisc/platform/text_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/ground.h"

using namespace std::string_literals;

namespace {

class TextFileTest : public testing::Test {
 protected:
  std::vector<String> linesOf(const TextFile& file) {
    std::vector<String> lines;
    for (size_t i = 0; i < file.getNumLines(); ++i) lines.push_back(file[i]);
    return lines;
  }

  std::vector<String> load(const String& bytes) {
    ground::writeFile(path, bytes);
    return linesOf(TextFile(path, true));
  }

  const WString path = ground::folder() + L"DefNetDrive.txt";
};

using Lines = std::vector<String>;

TEST_F(TextFileTest, LinesAreLoaded) {
  struct Row {
    const char* what;
    String bytes;
    Lines lines;
  };
  const Row rows[] = {
      {"empty", "", {}},
      {"ended", "a\nb\n", {"a", "b"}},
      {"last without an end", "a\nb", {"a", "b"}},
      {"CR LF", "a\r\nb\r\n", {"a", "b"}},
      {"CR of the last line belongs to it", "a\r\nb\r", {"a", "b\r"}},
      {"one CR of two", "a\r\r\n", {"a\r"}},
      {"CR inside", "a\rb\n", {"a\rb"}},
      {"empty lines", "\n\na\n\n", {"", "", "a", ""}},
      {"byte order mark", "\xEF\xBB\xBF"s + "a\n", {"a"}},
      {"zero", "a\0b\n"s, {"a\0b"s}},
      {"not UTF-8", "\xFF\xFE\n", {"\xFF\xFE"}},
      {"spaces", " a \n", {" a "}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(load(row.bytes), row.lines);
  }
}

TEST_F(TextFileTest, MissingFileHasNoLinesAndIsMadeBySave) {
  TextFile file(path, true);
  EXPECT_EQ(file.getNumLines(), 0u);
  file.appendLine("/media/a");
  EXPECT_EQ(ground::readFile(path), std::nullopt);
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "/media/a\n");
}

TEST_F(TextFileTest, SaveWritesLineFeeds) {
  ground::writeFile(path, "\xEF\xBB\xBF"s + "a\r\nb");
  TextFile file(path, true);
  file.appendLine("c");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "a\nb\nc\n");
}

TEST_F(TextFileTest, WithoutLoadingTheLinesReplaceTheContents) {
  ground::writeFile(path, "name=Studio A\nmore\n");
  TextFile file(path, false);
  EXPECT_EQ(file.getNumLines(), 0u);
  file.appendLine("name=Studio B");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "name=Studio B\n");
}

TEST_F(TextFileTest, RemoveLineClosesTheGap) {
  ground::writeFile(path, "a\nb\nc\n");
  TextFile file(path, true);
  file.removeLine(1);
  EXPECT_EQ(linesOf(file), (Lines{"a", "c"}));
  file.removeLine(2);
  EXPECT_EQ(linesOf(file), (Lines{"a", "c"}));
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "a\nc\n");
}

TEST_F(TextFileTest, TwoWhoAppendAtOnceBothKeepTheirLine) {
  ground::writeFile(path, "a\n");
  TextFile one(path, true), other(path, true);
  one.appendLine("one");
  other.appendLine("other");
  EXPECT_TRUE(one.save(L"", TextFile::eLF));
  EXPECT_TRUE(other.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "a\none\nother\n");
}

TEST_F(TextFileTest, SameLineFromTwoIsThereTwice) {
  TextFile one(path, true), other(path, true);
  one.appendLine("/media/a");
  other.appendLine("/media/a");
  EXPECT_TRUE(one.save(L"", TextFile::eLF));
  EXPECT_TRUE(other.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "/media/a\n/media/a\n");
}

TEST_F(TextFileTest, RemovalFindsItsLineWhereOthersMovedIt) {
  ground::writeFile(path, "a\nb\nc\n");
  TextFile one(path, true), other(path, true);
  one.removeLine(0);
  one.appendLine("d");
  EXPECT_TRUE(one.save(L"", TextFile::eLF));
  other.removeLine(1);
  EXPECT_TRUE(other.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "c\nd\n");
}

TEST_F(TextFileTest, RemovalTakesTheSameOccurrence) {
  ground::writeFile(path, "x\n1\nx\n2\nx\n");
  TextFile file(path, true);
  file.removeLine(2);
  ground::writeFile(path, "0\nx\n1\nx\n2\nx\n");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "0\nx\n1\n2\nx\n");
}

TEST_F(TextFileTest, RemovalOfAnOccurrenceThatIsGoneTakesTheFirst) {
  ground::writeFile(path, "x\n1\nx\n");
  TextFile file(path, true);
  file.removeLine(2);
  ground::writeFile(path, "x\n1\n");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "1\n");
}

TEST_F(TextFileTest, RemovalOfALineThatIsGoneTakesNothing) {
  ground::writeFile(path, "a\nb\n");
  TextFile file(path, true);
  file.removeLine(0);
  ground::writeFile(path, "b\nc\n");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "b\nc\n");
}

TEST_F(TextFileTest, EditsAreAppliedInTheirOrder) {
  ground::writeFile(path, "a\n");
  TextFile file(path, true);
  file.appendLine("b");
  file.appendLine("b");
  file.removeLine(1);
  file.removeLine(0);
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "b\n");
}

TEST_F(TextFileTest, SaveForgetsTheEditsAndKeepsTheLines) {
  ground::writeFile(path, "a\n");
  TextFile file(path, true);
  file.appendLine("b");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  ground::writeFile(path, "z\n");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "z\n");
  EXPECT_EQ(linesOf(file), (Lines{"a", "b"}));
}

TEST_F(TextFileTest, AnotherPathGetsTheLinesAsTheyStandHere) {
  ground::writeFile(path, "a\n");
  const WString other = ground::folder() + L"other.txt";
  ground::writeFile(other, "old\n");
  TextFile file(path, true);
  file.appendLine("b");
  EXPECT_TRUE(file.save(other, TextFile::eLF));
  EXPECT_EQ(ground::readFile(other), "a\nb\n");
  EXPECT_EQ(ground::readFile(path), "a\n");
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(ground::readFile(path), "a\nb\n");
}

TEST_F(TextFileTest, LineEndInALineMakesTwoLines) {
  TextFile file(path, true);
  file.appendLine("a\nb");
  EXPECT_EQ(file.getNumLines(), 1u);
  EXPECT_TRUE(file.save(L"", TextFile::eLF));
  EXPECT_EQ(linesOf(TextFile(path, true)), (Lines{"a", "b"}));
}

TEST_F(TextFileTest, FolderIsNoList) {
  ground::makeFolder(path);
  TextFile file(path, true);
  EXPECT_EQ(file.getNumLines(), 0u);
  file.appendLine("a");
  EXPECT_FALSE(file.save(L"", TextFile::eLF));
}

TEST_F(TextFileTest, ListThatCouldNotBeLoadedIsSavedNowhere) {
  ground::makeFolder(path);  // no user can read this as a list
  const WString other = ground::folder() + L"other.txt", missing = ground::folder() + L"new.txt";
  ground::writeFile(other, "kept\n");
  TextFile file(path, true);
  EXPECT_FALSE(file.save(other, TextFile::eLF));
  EXPECT_FALSE(file.save(missing, TextFile::eLF));
  file.appendLine("a");
  EXPECT_FALSE(file.save(other, TextFile::eLF));
  EXPECT_EQ(ground::readFile(other), "kept\n");
  EXPECT_EQ(ground::readFile(missing), std::nullopt);
}

TEST_F(TextFileTest, SaveFailsWithoutAFolder) {
  TextFile file(ground::folder() + L"missing/list.txt", true);
  file.appendLine("a");
  EXPECT_FALSE(file.save(L"", TextFile::eLF));
}

}  // namespace
