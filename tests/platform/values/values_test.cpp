#include <gtest/gtest.h>

#include "miscdisc/platform/values/attrib_value_pair.h"
#include "miscdisc/platform/values/critical_section.h"
#include "miscdisc/platform/values/dllist.h"
#include "miscdisc/platform/values/id_stamp.h"
#include "miscdisc/platform/values/net_message.h"
#include "miscdisc/platform/values/ref_count.h"
#include "miscdisc/platform/values/vector.h"

namespace {

struct Record : DLListRec {
  explicit Record(int n, int* deaths = nullptr) : number(n), deaths_(deaths) {}
  ~Record() override {
    if (deaths_) ++*deaths_;
  }
  int number;

 private:
  int* deaths_;
};

std::vector<int> numbers(const DLList& list) {
  std::vector<int> result;
  for (DLListIterator i(list); *i; ++i) result.push_back(static_cast<Record*>(*i)->number);
  return result;
}

struct Object : iObject {
  explicit Object(int* deaths) : deaths_(deaths) {}
  ~Object() override { ++*deaths_; }

 private:
  int* deaths_;
};

}  // namespace

TEST(DLList, KeepsTheOrderOfAppending) {
  DLList list;
  Record one(1), two(2), three(3);
  list.append(&one);
  list.append(&two);
  list.append(&three);
  EXPECT_EQ(numbers(list), (std::vector<int>{1, 2, 3}));
  list.remove(&two);
  EXPECT_EQ(numbers(list), (std::vector<int>{1, 3}));
  list.append(&one);  // moves to the end
  EXPECT_EQ(numbers(list), (std::vector<int>{3, 1}));
}

TEST(DLList, DeletesItsRecordsOnlyWhenItOwnsThem) {
  int deaths = 0;
  auto* kept = new Record(1, &deaths);
  {
    DLList list;
    list.append(kept);
  }
  EXPECT_EQ(deaths, 0);
  {
    DLList list;
    list.ownsRecords(true);
    list.append(kept);
    list.append(new Record(2, &deaths));
  }
  EXPECT_EQ(deaths, 2);
}

TEST(DLList, ADestroyedRecordLeavesItsList) {
  DLList list;
  Record one(1);
  list.append(&one);
  {
    Record two(2);
    list.append(&two);
  }
  EXPECT_EQ(numbers(list), (std::vector<int>{1}));
}

TEST(DLList, PostfixIncrementGivesWhereItWas) {
  DLList list;
  Record one(1), two(2);
  list.append(&one);
  list.append(&two);
  DLListIterator i(list);
  EXPECT_EQ(*i++, &one);
  EXPECT_EQ(*i++, &two);
  EXPECT_EQ(*i, nullptr);
  EXPECT_EQ(*++i, nullptr);
}

TEST(DLListRec, EqualityIsIdentity) {
  Record one(1), alike(1);
  EXPECT_TRUE(one == one);
  EXPECT_FALSE(one == alike);
}

TEST(Ptr, TheLastOneDeletes) {
  int deaths = 0;
  Qx::Ptr<Object> first(new Object(&deaths));
  Qx::Ptr<Object> second = first;
  Qx::Ptr<iObject> asBase(second.get());
  first = nullptr;
  second = nullptr;
  EXPECT_EQ(deaths, 0);
  asBase = nullptr;
  EXPECT_EQ(deaths, 1);
}

TEST(Ptr, AssigningItselfKeepsTheObject) {
  int deaths = 0;
  Qx::Ptr<Object> pointer(new Object(&deaths));
  const Qx::Ptr<Object>& alias = pointer;
  pointer = alias;
  EXPECT_EQ(deaths, 0);
  EXPECT_TRUE(pointer);
}

TEST(IdStamp, ComparesAllThreeParts) {
  EXPECT_EQ(IdStamp(1, 2, 3), IdStamp(1, 2, 3));
  EXPECT_FALSE(IdStamp(1, 2, 3) == IdStamp(1, 2, 4));
  EXPECT_EQ(IdStamp(), IdStamp(0, 0, 0));
}

TEST(CriticalSection, ItsHolderMayEnterAgain) {
  CriticalSection section("directory_cache");
  const EasyCrit outer(section);
  const EasyCrit inner(section);
  EXPECT_STREQ(section.name(), "directory_cache");
}

TEST(Vector, AddsAtTheEndAndClears) {
  Vector<int> items;
  items.add(3);
  items.add(1);
  EXPECT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0], 3);
  EXPECT_EQ(items[1], 1);
  items.clear();
  EXPECT_TRUE(items.empty());
}

TEST(NetMessage, TravelsAsItsTypeAndItsText) {
  EXPECT_EQ(NetMessage(NetMessage::FileAdded, R"(\\nas\m\a.mxf)").asString(), R"(8 \\nas\m\a.mxf)");
  EXPECT_EQ(NetMessage(NetMessage::FileRemoved, "").asString(), "9 ");
}

TEST(NetMessage, IsReadBackFromTheTextInWhichItTravels) {
  const auto added = NetMessage::fromString(R"(8 \\nas\m\a b.mxf)");
  ASSERT_TRUE(added);
  EXPECT_EQ(added->type(), NetMessage::FileAdded);
  EXPECT_EQ(added->text(), R"(\\nas\m\a b.mxf)");
  EXPECT_EQ(NetMessage::fromString("100 ")->type(), NetMessage::Rescan);
  EXPECT_EQ(NetMessage::fromString("100 ")->text(), "");
  EXPECT_EQ(NetMessage::fromString("4711 x")->type(), 4711);
  EXPECT_EQ(NetMessage::fromString(String("9 a\0b", 5))->text(), String("a\0b", 3));
}

TEST(NetMessage, IsNotReadFromAnyOtherText) {
  for (const char* text : {"", " ", "8", "8\t", " 8 x", "-8 x", "+8 x", "8x", "x", "0x8 x", "08 x",
                           "-0 x", "99999999999 x", "StartBatch"}) {
    EXPECT_FALSE(NetMessage::fromString(text)) << text;
  }
}

TEST(AttribValuePair, SplitsAtTheFirstSeparator) {
  const Qx::AttribValuePair pair("name=A=B", '=');
  EXPECT_TRUE(pair.valid());
  EXPECT_EQ(pair.attribute(), "name");
  EXPECT_EQ(pair.value(), "A=B");
  EXPECT_FALSE(Qx::AttribValuePair("name", '=').valid());
  EXPECT_EQ(Qx::AttribValuePair("name=", '=').value(), "");
}

TEST(AttribValuePair, WritesNothingAroundTheSeparator) {
  EXPECT_EQ(Qx::AttribValuePair("name", "Studio A").asString('='), "name=Studio A");
}
