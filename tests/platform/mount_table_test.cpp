// Which mounts count as foreign, and which of them a path leads to.
#include <cerrno>
#include <filesystem>
#include <string>

#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/mount_table.h"
#include "tests/platform/own_mnt.h"
#include "tests/platform/test_folder.h"

using qx_test::in_own_mnt;
using qx_test::test_folder;

static bool list_can_be_read = true;

// Linked in place of lseek.
extern "C" off_t __real_lseek(int fd, off_t offset, int whence);
extern "C" off_t __wrap_lseek(int fd, off_t offset, int whence) {
  if (list_can_be_read) { return __real_lseek(fd, offset, whence); }
  errno = ENOMEM;
  return -1;
}

namespace {

bool is_mounted(const std::string& path) {
  for (const mount_point& mount : current_mounts()) {
    if (mount.path == path) { return true; }
  }
  return false;
}

// The path of the foreign mount, "/" for the root; "local" if there is none.
std::string foreign(const mount_table& mounts, const std::string& path) {
  const auto mount = foreign_mount_of(mounts, path);
  if (!mount) { return "local"; }
  return mount->path.empty() ? "/" : mount->path;
}

std::string line(int id, int parent, const std::string& path, const std::string& type) {
  return std::to_string(id) + " " + std::to_string(parent) + " 0:1 / " + path +
         " rw,noatime shared:1 master:2 - " + type + " source rw\n";
}

// A root on a disk, with this text after its line.
mount_table with_root(const std::string& text) {
  return parse_mounts(line(20, 1, "/", "ext4") + text);
}

// Folders for links, which are read.
struct mount_table_on_disk : testing::Test {
  test_folder folder;
  std::string top = std::filesystem::canonical(folder.file(".")).string();

  void link(const std::string& name, const std::string& target) const {
    std::filesystem::create_symlink(target, top + "/" + name);
  }
  mount_table share_on(const std::string& path) const {
    return with_root(line(21, 20, path, "nfs4"));
  }
};

}  // namespace

TEST(mount_table, disks_and_memory_are_local) {
  for (const char* type : {"ext4", "xfs", "btrfs", "tmpfs", "overlay", "vfat", "squashfs"}) {
    EXPECT_EQ(foreign(with_root(line(21, 20, "/mnt", type)), "/mnt/clip.mpg"), "local") << type;
  }
}

TEST(mount_table, servers_daemons_and_the_unknown_are_foreign) {
  for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "fuse", "fuse.sshfs", "fuseblk", "9p",
                           "ceph", "glusterfs", "autofs", "virtiofs", "unheard-of"}) {
    EXPECT_EQ(foreign(with_root(line(21, 20, "/mnt", type)), "/mnt/clip.mpg"), "/mnt") << type;
  }
}

TEST(mount_table, lines_of_another_form_are_left_out) {
  EXPECT_EQ(parse_mounts("").size(), 0U);
  EXPECT_EQ(parse_mounts("\n36 35\n36 35 0:1 / /mnt rw - \n36 35 0:1 / /mnt rw nfs\n").size(), 0U);
}

TEST(mount_table, optional_fields_may_be_missing) {
  const mount_table mounts = parse_mounts("20 1 0:1 / / rw - nfs server rw\n");
  ASSERT_EQ(mounts.size(), 1U);
  EXPECT_EQ(foreign(mounts, "/clip.mpg"), "/");
}

TEST(mount_table, escaped_characters_are_themselves) {
  const mount_table mounts = with_root(line(21, 20, "/my\\040share\\134\\011", "cifs"));
  EXPECT_EQ(mounts.at(1).path, "/my share\\\t");
  EXPECT_EQ(parse_mounts(line(1, 0, "/a\\04", "cifs")).at(0).path, "/a\\04");
}

TEST(mount_table, mount_on_a_part_of_a_name_does_not_count) {
  EXPECT_EQ(foreign(with_root(line(21, 20, "/usr/sh", "nfs")), "/usr/share/clip.mpg"), "local");
}

TEST(mount_table, source_that_is_a_mount_itself_counts) {
  EXPECT_EQ(foreign(with_root(line(21, 20, "/usr/share", "nfs")), "/usr/share"), "/usr/share");
}

TEST(mount_table, disk_on_a_share_lies_on_the_way) {
  const auto mounts = with_root(line(21, 20, "/usr", "nfs") + line(22, 21, "/usr/share", "ext4"));
  EXPECT_EQ(foreign(mounts, "/usr/share/clip.mpg"), "/usr");
}

TEST(mount_table, hidden_mounts_do_not_count) {
  const std::string share = line(21, 20, "/usr/share", "nfs");
  EXPECT_EQ(foreign(with_root(share + line(22, 20, "/usr", "ext4")), "/usr/share/clip"), "local");
  EXPECT_EQ(foreign(with_root(share + line(22, 21, "/usr/share", "ext4")), "/usr/share/clip"),
            "local");
  EXPECT_EQ(foreign(with_root(line(21, 20, "/usr/share", "ext4") + line(22, 20, "/usr", "nfs")),
                    "/usr/share/clip"),
            "/usr");
}

TEST(mount_table, order_of_the_list_does_not_matter) {
  const auto mounts = parse_mounts(line(22, 21, "/usr/share", "nfs") +
                                   line(21, 20, "/usr", "ext4") + line(20, 1, "/", "ext4"));
  EXPECT_EQ(foreign(mounts, "/usr/share/clip.mpg"), "/usr/share");
}

TEST(mount_table, root_that_is_no_mount_has_mounts_below_it) {
  EXPECT_EQ(foreign(parse_mounts(line(21, 1, "/usr", "nfs")), "/usr/clip.mpg"), "/usr");
}

TEST_F(mount_table_on_disk, links_are_followed) {
  link("absolute", "/share");
  link("relative", "absolute/film");
  std::filesystem::create_directory(top + "/folder");
  link("folder/up", "../relative/..");
  for (const char* name : {"/absolute", "/relative", "/folder/up", "/folder/../absolute"}) {
    EXPECT_EQ(foreign(share_on("/share"), top + name + "/clip.mpg"), "/share") << name;
    EXPECT_EQ(foreign(share_on("/other"), top + name + "/clip.mpg"), "local") << name;
  }
}

TEST_F(mount_table_on_disk, link_in_the_last_component_is_not_followed) {
  link("clip.mpg", "/share/clip.mpg");
  EXPECT_EQ(foreign(share_on("/share"), top + "/clip.mpg"), "local");
}

TEST_F(mount_table_on_disk, links_in_a_circle_end) {
  link("one", "two");
  link("two", "one");
  EXPECT_EQ(foreign(share_on("/share"), top + "/one/clip.mpg"), "local");
}

TEST_F(mount_table_on_disk, missing_folder_ends_the_way) {
  EXPECT_EQ(foreign(share_on("/share"), top + "/missing/../../share/clip.mpg"), "local");
}

TEST(mount_table, root_that_is_its_own_parent_is_the_root) {
  EXPECT_EQ(foreign(parse_mounts(line(20, 20, "/", "nfs")), "/clip.mpg"), "/");
}

TEST(current_mounts, include_proc) {
  EXPECT_TRUE(is_mounted("/proc"));
}

TEST(current_mounts, include_a_new_one_even_if_the_list_could_not_be_read_at_first) {
  in_own_mnt([] {
    EXPECT_TRUE(is_mounted("/mnt"));
    std::filesystem::create_directory("/mnt/new");
    EXPECT_EQ(mount("new", "/mnt/new", "tmpfs", 0, nullptr), 0);
    list_can_be_read = false;
    EXPECT_FALSE(is_mounted("/mnt/new"));
    list_can_be_read = true;
    EXPECT_TRUE(is_mounted("/mnt/new"));
  });
}

TEST(current_mounts, of_a_child_with_other_ones_are_its_own) {
  EXPECT_FALSE(is_mounted("/mnt/new"));
  in_own_mnt([] {
    std::filesystem::create_directory("/mnt/new");
    EXPECT_EQ(mount("new", "/mnt/new", "tmpfs", 0, nullptr), 0);
    EXPECT_TRUE(is_mounted("/mnt/new"));
  });
  EXPECT_FALSE(is_mounted("/mnt/new"));
}

TEST(current_mounts, are_read_later_if_they_cannot_be_read_at_first) {
  in_own_mnt([] {
    list_can_be_read = false;
    EXPECT_TRUE(current_mounts().empty());
    list_can_be_read = true;
    EXPECT_TRUE(is_mounted("/mnt"));
  });
}
