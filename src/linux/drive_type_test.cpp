#include "linux/drive_type.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

parsers::Mount mount_of(const std::string& device, const std::string& place, const std::string& kind,
                        const std::string& source) {
  return parsers::parse_mountinfo("40 27 " + device + " / " + place + " rw - " + kind + " " + source +
                                  " rw\n")
      .at(0);
}
bool asks_others(const std::string& kind, const std::string& source) {
  return ground::asks_others(mount_of("0:50", "/a", kind, source));
}

class DriveTypes : public ::testing::Test {
 protected:
  /// As of a mount that does not lie in one that may hang.
  std::optional<DriveType> type(const std::string& device, const std::string& place, const std::string& kind,
                                const std::string& source) {
    return drive_type(machine, mount_of(device, place, kind, source), asks_others(kind, source));
  }
  std::optional<DriveType> type(const std::string& place, const std::string& kind,
                                const std::string& source) {
    return type("0:50", place, kind, source);
  }

  RecordedMachine machine;
};

TEST_F(DriveTypes, RamDisksOfTheSystemAndOfContainersAreNone) {
  EXPECT_EQ(type("/tmp", "tmpfs", "tmpfs"), DriveType::memory);
  EXPECT_EQ(type("/var/lib/dockers", "tmpfs", "tmpfs"), DriveType::memory);
  for (const char* place :
       {"/dev/shm", "/run", "/run/user/1000", "/sys/fs/cgroup",
        "/var/lib/kubelet/pods/1f2e/volumes/kubernetes.io~projected/kube-api-access-x",
        "/var/lib/docker/containers/1/mounts/shm", "/var/lib/containers/storage/overlay-containers/1/shm",
        "/var/lib/rancher/k3s/agent", "/var/snap/lxd/common/shmounts"})
    EXPECT_EQ(type(place, "tmpfs", "tmpfs"), std::nullopt) << place;
  EXPECT_EQ(type("8:1", "/var/lib/docker", "ext4", "/dev/sda1"), DriveType::fixed)
      << "a disk is one anywhere";
  EXPECT_EQ(type("/var/lib/kubelet/pods/1/volumes/x/mount", "nfs4", "server:/x"), std::nullopt);
}

TEST_F(DriveTypes, WhatAnotherMachineAnswersForIsANetworkDrive) {
  for (const char* kind : {"fuse.s3fs", "fuse.gcsfuse", "fuse.vmhgfs-fuse", "fuse.sshfs", "fuse", "vboxsf",
                           "beegfs", "gpfs", "cifs", "nfs4"}) {
    EXPECT_EQ(type("/mnt/far", kind, "somewhere"), DriveType::network) << kind;
    EXPECT_TRUE(asks_others(kind, "somewhere")) << kind;
  }
  EXPECT_EQ(type("/etc/pve", "fuse", "/dev/fuse"), DriveType::network);
}

TEST_F(DriveTypes, ADiskThatAProcessAnswersForIsADisk) {
  EXPECT_EQ(type("8:1", "/mnt/win", "fuseblk", "/dev/sda1"), DriveType::fixed);
  EXPECT_EQ(type("/mnt/fat", "fuse.vfat", "/dev/loop0"), DriveType::fixed);
  EXPECT_TRUE(asks_others("fuseblk", "/dev/sda1"));
  EXPECT_FALSE(asks_others("ext4", "/dev/sda1"));
}

TEST_F(DriveTypes, ProgramsThatAreImagesAreNone) {
  EXPECT_EQ(type("/tmp/.mount_kritaAbCdEf", "fuse.krita.AppImage", "krita.AppImage"), std::nullopt);
  EXPECT_EQ(type("/tmp/.mount_kritaAbCdEf", "fuse.krita", "krita"), std::nullopt) << "a renamed one";
  EXPECT_EQ(type("/home/me/image", "fuse.squashfuse", "squashfuse"), std::nullopt);
}

TEST_F(DriveTypes, RemovableIsWhatTheDeviceOrItsDiskSays) {
  machine.write("/sys/devices/pci0/ata1/block/sda/removable", "0\n");
  machine.write("/sys/devices/pci0/ata1/block/sda/sda1/partition", "1\n");
  machine.link("/sys/dev/block/8:1", "../../devices/pci0/ata1/block/sda/sda1");
  EXPECT_EQ(type("8:1", "/a", "ext4", "/dev/sda1"), DriveType::fixed);
  machine.write("/sys/devices/pci0/ata1/block/sda/removable", "1\n");
  EXPECT_EQ(type("8:1", "/a", "ext4", "/dev/sda1"), DriveType::removable);
}

TEST_F(DriveTypes, AnEncryptedStickIsRemovable) {
  machine.write("/sys/devices/pci0/usb1/block/sdb/sdb1/partition", "1\n");
  machine.write("/sys/devices/virtual/block/dm-0/removable", "0\n");
  machine.link("/sys/dev/block/253:0", "../../devices/virtual/block/dm-0");
  EXPECT_EQ(type("253:0", "/media/stick", "ext4", "/dev/mapper/luks-1"), DriveType::fixed);
  machine.link("/sys/devices/virtual/block/dm-0/slaves/sdb1", "../../../../pci0/usb1/block/sdb/sdb1");
  EXPECT_EQ(type("253:0", "/media/stick", "ext4", "/dev/mapper/luks-1"), DriveType::removable);
  // A volume of a group on it.
  machine.write("/sys/devices/virtual/block/dm-1/removable", "0\n");
  machine.link("/sys/dev/block/253:1", "../../devices/virtual/block/dm-1");
  machine.link("/sys/devices/virtual/block/dm-1/slaves/dm-0", "../../dm-0");
  EXPECT_EQ(type("253:1", "/media/group", "ext4", "/dev/mapper/g-v"), DriveType::removable);
}

TEST_F(DriveTypes, AVolumeWithoutANumberOfItsDeviceHasThatOfItsSource) {
  machine.write("/sys/devices/pci0/usb1/block/sdb/sdb1/partition", "1\n");
  machine.link("/sys/dev/block/8:17", "../../devices/pci0/usb1/block/sdb/sdb1");
  machine.write("/dev/null", "");
  const std::string node = machine.root + "/dev/sdb1";
  if (mknod(node.c_str(), S_IFBLK | 0600, makedev(8, 17)) != 0) GTEST_SKIP() << "only root can make devices";
  EXPECT_EQ(type("0:44", "/media/stick", "btrfs", "/dev/sdb1"), DriveType::removable);
  EXPECT_EQ(type("0:45", "/media/zip", "fuse.zip", "/dev/sdb1"), DriveType::fixed)
      << "what a process names is not looked up";
}

}  // namespace
}  // namespace kvwmi::ground
