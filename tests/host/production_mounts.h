// The mount table of a machine in an editing house, as /proc/self/mountinfo shows it.
#pragma once

namespace test {

inline constexpr const char kProductionMounts[] =
    R"(22 29 0:20 / /sys rw,nosuid,nodev,noexec,relatime shared:7 - sysfs sysfs rw
23 29 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw
24 29 0:5 / /dev rw,nosuid,relatime shared:2 - devtmpfs udev rw,size=65866876k,nr_inodes=16466719,mode=755
25 24 0:22 / /dev/pts rw,nosuid,noexec,relatime shared:3 - devpts devpts rw,gid=5,mode=620,ptmxmode=000
26 29 0:23 / /run rw,nosuid,nodev,noexec,relatime shared:5 - tmpfs tmpfs rw,size=13178624k,mode=755
29 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
30 24 0:24 / /dev/shm rw,nosuid,nodev shared:4 - tmpfs tmpfs rw
31 22 0:26 / /sys/fs/cgroup rw,nosuid,nodev,noexec,relatime shared:9 - cgroup2 cgroup2 rw
36 23 0:31 / /proc/sys/fs/binfmt_misc rw,relatime shared:14 - autofs systemd-1 rw,fd=29,pgrp=1,timeout=0,minproto=5,maxproto=5,direct,pipe_ino=18765
40 29 7:0 / /snap/core22/1380 ro,nodev,relatime shared:15 - squashfs /dev/loop0 ro,errors=continue
41 29 7:1 / /snap/firefox/4336 ro,nodev,relatime shared:16 - squashfs /dev/loop1 ro,errors=continue
45 29 259:1 / /boot/efi rw,relatime shared:20 - vfat /dev/nvme0n1p1 rw,fmask=0077,dmask=0077,codepage=437,iocharset=iso8859-1,shortname=mixed,errors=remount-ro
46 29 259:3 / /boot rw,relatime shared:21 - ext4 /dev/nvme0n1p3 rw
50 29 0:40 /@home /home rw,relatime shared:25 - btrfs /dev/nvme1n1p1 rw,ssd,space_cache=v2,subvolid=256,subvol=/@home
51 29 0:40 /@rushes /srv/rushes rw,relatime shared:26 - btrfs /dev/nvme1n1p1 rw,ssd,space_cache=v2,subvolid=257,subvol=/@rushes
52 29 0:40 /@rushes/cards /mnt/cards rw,relatime shared:26 - btrfs /dev/nvme1n1p1 rw,ssd,space_cache=v2,subvolid=257,subvol=/@rushes
55 29 0:45 / /mnt/auto rw,relatime shared:30 - autofs /etc/auto.nas rw,fd=6,pgrp=1220,timeout=300,minproto=5,maxproto=5,indirect,pipe_ino=31337
56 55 0:46 / /mnt/auto/nas rw,relatime shared:31 - nfs4 nas.edit.lan:/export/media rw,vers=4.2,rsize=1048576,wsize=1048576,hard,proto=tcp,addr=10.0.0.5
57 29 0:46 / /data/nas-again rw,relatime shared:32 - nfs4 nas.edit.lan:/export/media rw,vers=4.2,hard,proto=tcp,addr=10.0.0.5
58 29 0:48 / /mnt/tier2 rw,relatime shared:33 - nfs [fd00::5]:/tier2 rw,vers=3,hard,proto=tcp6,addr=fd00::5
59 29 0:50 / /mnt/archive rw,relatime shared:34 - cifs //filer/Archive rw,vers=3.1.1,username=edit,addr=10.0.0.6
60 29 0:51 /2026 /mnt/delivery rw,relatime shared:35 - cifs //filer/Delivery/2026 rw,vers=3.1.1,username=edit,addr=10.0.0.6
61 59 8:33 / /mnt/archive/local rw,relatime shared:36 - xfs /dev/sdc1 rw,attr2,inode64
65 26 8:17 / /run/media/ann/Shuttle\0402 rw,nosuid,nodev,relatime shared:40 - exfat /dev/sdb1 rw,uid=1000,gid=1000
66 29 8:18 / /media/ann/My\040USB\040disk\011\134x rw,nosuid,nodev,relatime shared:41 - ntfs3 /dev/sdb2 rw,uid=1000,gid=1000
67 29 11:0 / /media/ann/DVD ro,nosuid,nodev,relatime shared:42 - iso9660 /dev/sr0 ro
68 29 11:1 / /media/ann/ARCHIVE\040DVD ro,nosuid,nodev,relatime shared:43 - iso9660 /dev/sr1 ro
70 26 0:60 / /run/user/1000 rw,nosuid,nodev,relatime shared:50 - tmpfs tmpfs rw,size=13178620k,mode=700,uid=1000,gid=1000
71 70 0:61 / /run/user/1000/doc rw,nosuid,nodev,relatime shared:51 - fuse.portal portal rw,user_id=1000,group_id=1000
72 70 0:62 / /run/user/1000/gvfs rw,nosuid,nodev,relatime shared:52 - fuse.gvfsd-fuse gvfsd-fuse rw,user_id=1000,group_id=1000
75 29 0:70 / /var/lib/docker/overlay2/3f9a/merged rw,relatime shared:60 - overlay overlay rw,lowerdir=/var/lib/docker/overlay2/l/A,upperdir=/var/lib/docker/overlay2/3f9a/diff,workdir=/var/lib/docker/overlay2/3f9a/work
76 29 8:49 / /mnt/raid rw,relatime shared:61 - xfs /dev/md0 rw,attr2,inode64,usrquota
77 29 8:49 /projects /srv/media/projects rw,relatime shared:61 - xfs /dev/md0 rw,attr2,inode64,usrquota
78 29 8:65 / /mnt/old rw,relatime shared:62 - ext4 /dev/sde1 rw
79 78 8:66 / /mnt/old/inner rw,relatime shared:63 - ext4 /dev/sde2 rw
80 29 0:80 / /mnt/scratch rw,relatime shared:64 - tmpfs tmpfs rw,size=1048576k
81 29 0:81 / /opt/ramdisk rw,relatime shared:65 - tmpfs tmpfs rw,size=1048576k
82 29 8:81 / /opt/fast rw,relatime shared:66 - ext4 /dev/sdf1 rw
83 29 8:82 / /opt/tools rw,relatime shared:67 - ext4 /dev/sdf2 rw
84 78 8:97 / /mnt/old rw,relatime shared:68 - ext4 /dev/sdg1 rw
85 29 0:90 / /mnt/vm rw,relatime shared:69 - virtiofs media rw
86 29 0:91 / /mnt/station rw,relatime shared:70 - fuse.sshfs edit@station:/media rw,user_id=0,group_id=0,allow_other
)";

}  // namespace test
