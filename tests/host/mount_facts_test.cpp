// Which mounts keep their locks to themselves.
#include "host/files/mount_facts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/host/configure.h"

namespace {

TEST(MountFactsTest, OptionsTellWhetherLocksReachOtherMachines) {
  struct Row {
    const char *type, *options;
    bool local;
  };
  for (const Row row : {
           Row{"nfs4", "rw,vers=4.2,local_lock=none,addr=10.0.0.1", false},
           Row{"nfs", "rw,vers=3,local_lock=none", false},
           Row{"nfs", "rw,vers=3,nolock", true},
           Row{"nfs", "rw,vers=3,local_lock=all", true},
           Row{"nfs", "rw,local_lock=posix,vers=3", true},
           Row{"nfs", "rw,local_lock=flock,vers=3", false},
           Row{"nfs", "rw,nolocks", false},
           Row{"cifs", "rw,vers=3.1.1", false},
           Row{"cifs", "rw,nobrl", true},
           Row{"smb3", "nobrl", true},
           Row{"fuse.sshfs", "rw", true},
           Row{"fuse", "rw", true},
           Row{"fuse.glusterfs", "rw", false},
           Row{"fuse.ceph", "rw", false},
           Row{"fuse.ceph-fuse", "rw", false},
           Row{"fuseblk", "rw", false},
           Row{"lustre", "rw,localflock", true},
           Row{"lustre", "rw,flock", false},
           Row{"gfs2", "rw,localflocks", true},
           Row{"gfs2", "rw", false},
           Row{"coda", "rw", true},
           Row{"ceph", "rw", false},
           Row{"ext4", "rw", false},
           Row{"", "", false},
       }) {
    EXPECT_EQ(host::keepsLocksLocal(row.type, row.options), row.local)
        << row.type << " " << row.options;
  }
}

TEST(MountFactsTest, FolderOfThisMachineIsLocalUnlessDeclared) {
  struct stat status;
  ASSERT_EQ(stat("/tmp", &status), 0);
  EXPECT_FALSE(host::mountFacts("/tmp", status.st_dev).remote);
  EXPECT_FALSE(host::mountFacts("/tmp", status.st_dev).locksStayLocal);

  test::declareRemote("/tmp/");
  EXPECT_TRUE(host::mountFacts("/tmp", status.st_dev).remote);
  EXPECT_FALSE(host::mountFacts("/usr", status.st_dev).remote);
  test::declareRemote("/tm");
  EXPECT_FALSE(host::mountFacts("/tmp", status.st_dev).remote);
}

TEST(MountFactsTest, FolderThatGivesNoAnswerIsTrustedWithNoLockAndAskedAgain) {
  constexpr dev_t kDevice = 0x7FFFFFF1;  // of no mount
  for (int time = 0; time < 2; ++time) {
    const host::MountFacts silent = host::mountFacts("/tmp/no/such/folder", kDevice);
    EXPECT_TRUE(silent.remote);
    EXPECT_TRUE(silent.locksStayLocal);
  }
  EXPECT_FALSE(host::mountFacts("/tmp", kDevice).remote);
  EXPECT_FALSE(host::mountFacts("/tmp", kDevice).locksStayLocal);
}

}  // namespace
