// Mount tables, and what is concluded from them: volumes and network forms.
#include "host/volumes/mount_table.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "host/volumes/discovery.h"
#include "host/volumes/network_form.h"
#include "tests/host/home.h"
#include "tests/host/production_mounts.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Texts = std::vector<std::string>;

host::MountTable tableOf(const std::string& text) {
  test::writeFile(test::home() + "/mountinfo", text);
  return host::MountTable(test::home() + "/mountinfo");
}

Texts pointsOf(const host::MountTable& table) {
  Texts points;
  for (const auto& mount : table.mounts()) points.push_back(mount.point);
  return points;
}

// These mount points have a folder "Material".
host::MaterialQuestion onlyOn(const Texts& with) {
  return [with](const Texts& points) {
    std::vector<bool> answers;
    for (const auto& point : points) {
      answers.push_back(std::find(with.begin(), with.end(), point) != with.end());
    }
    return answers;
  };
}

Texts mediaOf(const std::string& table, const Texts& withMaterial = {}, const Texts& taken = {}) {
  return host::mediaMounts(tableOf(table), taken, onlyOn(withMaterial));
}

std::string hostName() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

constexpr const char kRoot[] = "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n";

class MountTableTest : public test::HomeTest {};

TEST_F(MountTableTest, AMountHasItsFacts) {
  const auto table = tableOf(
      "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "31 20 0:46 /sub /mnt/a\\040b rw,noatime - nfs4 nas:/x\\040y rw,vers=4.2\n");
  ASSERT_EQ(table.mounts().size(), 2u);
  const host::Mount& mount = table.mounts()[1];
  EXPECT_EQ(mount.id, (host::MountId{31, 46}));
  EXPECT_EQ(mount.parent, 20);
  EXPECT_EQ(mount.point, "/mnt/a b");
  EXPECT_EQ(mount.root, "/sub");
  EXPECT_EQ(mount.type, "nfs4");
  EXPECT_EQ(mount.source, "nas:/x y");
  EXPECT_TRUE(host::hasMountOption(mount, "noatime"));
  EXPECT_TRUE(host::hasMountOption(mount, "vers=4.2"));
  EXPECT_FALSE(host::hasMountOption(mount, "vers=4"));
  EXPECT_FALSE(host::hasMountOption(mount, "ro"));
}

TEST_F(MountTableTest, APathLiesOnTheInnermostMount) {
  const auto table = tableOf(std::string(kRoot) +
                             "30 20 8:2 / /mnt rw - ext4 /dev/sda2 rw\n"
                             "31 30 8:3 / /mnt/a rw - ext4 /dev/sda3 rw\n");
  EXPECT_EQ(table.holding("/").id.number, 20);
  EXPECT_EQ(table.holding("/mntx/a").id.number, 20);
  EXPECT_EQ(table.holding("/mnt").id.number, 30);
  EXPECT_EQ(table.holding("/mnt/ab").id.number, 30);
  EXPECT_EQ(table.holding("/mnt/a").id.number, 31);
  EXPECT_EQ(table.holding("/mnt/a/b/c").id.number, 31);
  EXPECT_TRUE(table.isMountPoint("/mnt/a"));
  EXPECT_FALSE(table.isMountPoint("/mnt/a/b"));
}

TEST_F(MountTableTest, WhatIsHiddenUnderAnotherMountIsLeftOut) {
  const auto table = tableOf(std::string(kRoot) +
                             "30 20 8:2 / /mnt/a rw - ext4 /dev/sda2 rw\n"
                             "31 30 8:3 / /mnt/a/in rw - ext4 /dev/sda3 rw\n"
                             "32 30 8:4 / /mnt/a rw - ext4 /dev/sda4 rw\n"
                             "33 20 8:5 / /mnt/b/in rw - ext4 /dev/sda5 rw\n"
                             "34 20 8:6 / /mnt/b rw - ext4 /dev/sda6 rw\n"
                             "35 32 8:7 / /mnt/a/new rw - ext4 /dev/sda7 rw\n");
  EXPECT_THAT(pointsOf(table), ElementsAre("/", "/mnt/a", "/mnt/b", "/mnt/a/new"));
  EXPECT_EQ(table.holding("/mnt/a/in").id.number, 32);
  EXPECT_EQ(table.holding("/mnt/b/in").id.number, 34);
}

TEST_F(MountTableTest, ATableMayHaveNoRootOrOneThatIsItsOwnParent) {
  const auto changedRoot = tableOf("31 20 8:3 / /mnt rw - ext4 /dev/sda3 rw\n");
  EXPECT_THAT(pointsOf(changedRoot), ElementsAre("/mnt"));
  EXPECT_EQ(changedRoot.holding("/mnt/x").id.number, 31);
  EXPECT_EQ(changedRoot.holding("/x").id.number, 0);
  const auto first = tableOf(
      "1 1 0:2 / / rw - rootfs rootfs rw\n20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "31 20 8:3 / /mnt rw - ext4 /dev/sda3 rw\n");
  EXPECT_EQ(first.holding("/x").id.number, 20);
  EXPECT_EQ(first.holding("/mnt/x").id.number, 31);
  EXPECT_THAT(pointsOf(tableOf("")), IsEmpty());
  EXPECT_THAT(pointsOf(host::MountTable("/no/such/table")), IsEmpty());
}

TEST_F(MountTableTest, ThisMachinesTableHoldsItsRoot) {
  EXPECT_EQ(host::currentMounts(), host::currentMounts());
  EXPECT_TRUE(host::currentMounts()->holding("/proc/self").type == "proc");
}

class DiscoveryTest : public test::HomeTest {};

TEST_F(DiscoveryTest, AProductionMachineHasTheseVolumes) {
  EXPECT_THAT(
      mediaOf(test::kProductionMounts),
      ElementsAre("/mnt/auto/nas", "/mnt/tier2", "/mnt/archive", "/mnt/delivery",
                  "/mnt/archive/local", "/run/media/ann/Shuttle 2", "/media/ann/My USB disk\t\\x",
                  "/mnt/raid", "/mnt/old", "/mnt/vm", "/mnt/station"));
}

TEST_F(DiscoveryTest, MaterialAtTheRootMakesAVolumeElsewhere) {
  const Texts with = {"/",
                      "/boot",
                      "/home",
                      "/srv/rushes",
                      "/mnt/cards",
                      "/data/nas-again",
                      "/dev/shm",
                      "/opt/ramdisk",
                      "/opt/fast",
                      "/snap/core22/1380",
                      "/media/ann/ARCHIVE DVD"};
  EXPECT_THAT(mediaOf(test::kProductionMounts, with),
              ElementsAre("/home", "/mnt/auto/nas", "/mnt/tier2", "/mnt/archive", "/mnt/delivery",
                          "/mnt/archive/local", "/run/media/ann/Shuttle 2",
                          "/media/ann/My USB disk\t\\x", "/media/ann/ARCHIVE DVD", "/mnt/raid",
                          "/opt/ramdisk", "/opt/fast", "/mnt/old", "/mnt/vm", "/mnt/station"));
}

TEST_F(DiscoveryTest, OnlyWhatNeedsMaterialIsAskedForIt) {
  Texts asked;
  host::mediaMounts(tableOf(test::kProductionMounts), {}, [&](const Texts& points) {
    asked = points;
    return std::vector<bool>(points.size());
  });
  EXPECT_THAT(asked, ElementsAre("/run", "/home", "/srv/rushes", "/data/nas-again",
                                 "/media/ann/DVD", "/media/ann/ARCHIVE DVD", "/run/user/1000",
                                 "/mnt/scratch", "/opt/ramdisk", "/opt/fast", "/opt/tools"));
}

TEST_F(DiscoveryTest, AFileSystemOfATakenFolderIsLeftOut) {
  const std::string table = std::string(kRoot) +
                            "30 20 8:2 / /mnt/a rw - ext4 /dev/sda2 rw\n"
                            "31 20 0:3 / /mnt/b rw - nfs4 nas:/b rw\n"
                            "32 20 0:4 / /mnt/c rw - nfs4 nas:/b rw\n"
                            "33 20 8:5 / /mnt/d rw - ext4 /dev/sda5 rw\n";
  EXPECT_THAT(mediaOf(table), ElementsAre("/mnt/a", "/mnt/b", "/mnt/d"));
  EXPECT_THAT(mediaOf(table, {}, {"/mnt/a/rushes", "/home/ann"}), ElementsAre("/mnt/b", "/mnt/d"));
  EXPECT_THAT(mediaOf(table, {}, {"/mnt/c/x"}), ElementsAre("/mnt/a", "/mnt/d"));
}

TEST_F(DiscoveryTest, TheFirstOfTwoMountsThatHoldsMediaCounts) {
  const std::string table = std::string(kRoot) +
                            "30 20 8:2 / /data rw - ext4 /dev/sda2 rw\n"
                            "31 20 8:2 / /mnt/a rw - ext4 /dev/sda2 rw\n";
  EXPECT_THAT(mediaOf(table, {"/data"}), ElementsAre("/data"));
  EXPECT_THAT(mediaOf(table), ElementsAre("/mnt/a"));
}

TEST_F(DiscoveryTest, MountsOnThePlacesForMediaThemselvesCount) {
  for (const char* point : {"/mnt", "/media", "/srv/media", "/Volumes/x", "/run/media/ann/x"}) {
    const std::string mount = "30 20 8:2 / " + std::string(point) + " rw - ext4 /dev/sda2 rw\n";
    EXPECT_THAT(mediaOf(kRoot + mount), ElementsAre(point));
  }
  EXPECT_THAT(mediaOf(kRoot + std::string("30 20 8:2 / /mnt2 rw - ext4 /dev/sda2 rw\n")),
              IsEmpty());
}

class NetworkFormTest : public test::HomeTest {
 protected:
  NetworkFormTest() : mounts_(tableOf(test::kProductionMounts)) {}

  std::string form(const std::string& native) const {
    return host::networkForm(native, shares_, mounts_);
  }
  std::string back(const std::string& network) const {
    return host::nativeForm(network, shares_, mounts_).value_or("(none)");
  }

  host::Shares shares_;
  host::MountTable mounts_;
};

TEST_F(NetworkFormTest, MountsFromServersHaveTheServersNames) {
  struct {
    const char *native, *network, *back;
  } const cases[] = {
      {"/mnt/auto/nas/a/b", "//nas.edit.lan/export/media/a/b", "/mnt/auto/nas/a/b"},
      {"/data/nas-again/a", "//nas.edit.lan/export/media/a", "/mnt/auto/nas/a"},
      {"/mnt/tier2/a", "//fd00::5/tier2/a", "/mnt/tier2/a"},
      {"/mnt/tier2", "//fd00::5/tier2", "/mnt/tier2"},
      {"/mnt/archive/a", "//filer/Archive/a", "/mnt/archive/a"},
      {"/mnt/delivery/a", "//filer/Delivery/2026/a", "/mnt/delivery/a"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(form(c.native), c.network);
    EXPECT_EQ(back(c.network), c.back);
  }
  EXPECT_EQ(back("//FILER/Archive/a"), "/mnt/archive/a");
  EXPECT_EQ(back("//filer/archive/a"), "(none)");
  EXPECT_EQ(back("//filer/Delivery/2025/a"), "(none)");
}

TEST_F(NetworkFormTest, WhatIsMountedInsideAShareIsNotOnItsServer) {
  EXPECT_EQ(form("/mnt/archive/local/a"), "//" + hostName() + "/mnt/archive/local/a");
  EXPECT_EQ(back("//" + hostName() + "/mnt/archive/local/a"), "/mnt/archive/local/a");
}

TEST_F(NetworkFormTest, OtherMountsBelongToThisHost) {
  for (const char* native : {"/mnt/raid/a", "/mnt/station/a", "/mnt/auto/a", "/a"}) {
    EXPECT_EQ(form(native), "//" + hostName() + native);
    EXPECT_EQ(back("//" + hostName() + native), native);
  }
}

TEST_F(NetworkFormTest, ConfiguredSharesWinWhereBothAreAsLong) {
  shares_ = {{"//san/tier", "/mnt/tier2"}, {"//wide/mnt", "/mnt"}, {"//deep/x", "/mnt/archive/x"}};
  EXPECT_EQ(form("/mnt/tier2/a"), "//san/tier/a");
  EXPECT_EQ(form("/mnt/archive/a"), "//filer/Archive/a");
  EXPECT_EQ(form("/mnt/archive/x/a"), "//deep/x/a");
  EXPECT_EQ(form("/mnt/raid/a"), "//wide/mnt/raid/a");

  shares_ = {{"//filer/Archive", "/elsewhere"}, {"//filer/Archive/deep", "/deep"}};
  EXPECT_EQ(back("//filer/Archive/a"), "/elsewhere/a");
  EXPECT_EQ(back("//filer/Archive/deep/a"), "/deep/a");
  shares_ = {{"//filer/Delivery", "/elsewhere"}};
  EXPECT_EQ(back("//filer/Delivery/2026/a"), "/mnt/delivery/a");
  EXPECT_EQ(back("//filer/Delivery/2025/a"), "/elsewhere/2025/a");
}

TEST_F(NetworkFormTest, SourcesHaveManyForms) {
  struct {
    const char *mount, *native, *network;
  } const cases[] = {
      {"/ /mnt/a rw - nfs4 nas:/ rw", "/mnt/a/x", "//nas/x"},
      {"/ /mnt/a rw - nfs4 nas:/ rw", "/mnt/a/", "//nas/"},
      {"/ /mnt/a rw - nfs nas:/export/ rw", "/mnt/a/x", "//nas/export/x"},
      {"/ /mnt/a rw - nfs [::1]:/x rw", "/mnt/a/y", "//::1/x/y"},
      {"/ /mnt/a rw - nfs4 nas:/odd:/name rw", "/mnt/a/y", "//nas/odd:/name/y"},
      {"/ /mnt/a rw - cifs //srv/share/ rw", "/mnt/a/y", "//srv/share/y"},
      {"/ /mnt/a rw - smb3 \\134\\134srv\\134share rw", "/mnt/a/y", "//srv/share/y"},
      {"/sub /mnt/a rw - cifs //srv/share rw", "/mnt/a/y", "//srv/share/sub/y"},
      {"/sub /mnt/a rw - cifs //srv/share/sub rw", "/mnt/a/y", "//srv/share/sub/y"},
  };
  for (const auto& c : cases) {
    mounts_ = tableOf(kRoot + std::string("30 20 0:9 ") + c.mount + "\n");
    EXPECT_EQ(form(c.native), c.network) << c.mount;
    EXPECT_EQ(back(c.network), c.native) << c.mount;
  }
  for (const char* odd : {"nfs4 :/x", "nfs4 nas", "cifs srv/share", "cifs //srv", "cifs ///x"}) {
    mounts_ = tableOf(kRoot + std::string("30 20 0:9 / /mnt/a rw - ") + odd + " rw\n");
    EXPECT_EQ(form("/mnt/a/x"), "//" + hostName() + "/mnt/a/x") << odd;
  }
}

}  // namespace
