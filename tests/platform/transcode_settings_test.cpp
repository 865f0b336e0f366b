// The configuration file, line by line.
#include <gtest/gtest.h>

#include "platform/transcode_settings.h"
#include "tests/support/private_root.h"

using namespace qx_test;

namespace {

std::string description(const class transcode_settings& settings) {
  return "fullspeed=" + std::to_string(settings.fullspeed) +
         " max=" + std::to_string(settings.max_profile) +
         " flags=" + std::to_string(settings.remote_flags) + " address=" + settings.address +
         " user=" + settings.user + " password=" + settings.password +
         " remote=" + std::to_string(settings.go_remote()) +
         " capped=" + std::to_string(settings.has_vod_max_profile());
}

constexpr char defaults[] = "fullspeed=0 max=-1 flags=0 address= user= password= remote=0 capped=0";

}  // namespace

class settings : public ::testing::Test {
protected:
  // What the file in place is read as, over settings that were not at their defaults; anything that
  // is printed meanwhile stands behind it.
  std::string loaded() {
    root.run_inside([&] {
      class transcode_settings read;
      read.fullspeed = true;
      read.max_profile = 7;
      read.remote_flags = 7;
      read.address = read.user = read.password = "old";
      ::testing::internal::CaptureStderr();
      read.vod_conf_load();
      const std::string printed = ::testing::internal::GetCapturedStderr();
      write_file(root.scratch("seen"), description(read) + printed);
      return 0;
    });
    return read_file(root.scratch("seen"));
  }
  std::string loaded(std::string_view file) {
    root.write("/mnt/main/tv/vod.conf", file);
    return loaded();
  }
  // One word of that description, "max=720".
  std::string loaded_value(std::string_view file, const std::string& name) {
    const std::string all = loaded(file) + " ";
    const auto at = all.find(name + "=");
    return all.substr(at, all.find(' ', at) - at);
  }

  private_root root;
};

TEST_F(settings, are_defaults_without_a_file) {
  EXPECT_EQ(loaded(), defaults);
  EXPECT_EQ(description({}), defaults);
}

TEST_F(settings, are_defaults_if_the_file_cannot_be_read) {
  root.write("/mnt/main/tv/vod.conf/inside", "a folder in the file's place");
  EXPECT_EQ(loaded(), defaults);
}

TEST_F(settings, are_read_from_every_key) {
  EXPECT_EQ(loaded("max profile = 720\nfullspeed = 1\n"
                   "transcode server address = server.example\n"
                   "transcode server user = vod\ntranscode server password = secret = 1\n"),
            "fullspeed=1 max=720 flags=7 address=server.example user=vod password=secret = 1 "
            "remote=1 capped=1");
}

TEST_F(settings, go_remote_with_an_empty_password) {
  const std::string server = "transcode server address=a\ntranscode server user=u\n";
  EXPECT_EQ(loaded_value(server + "transcode server password=\n", "remote"), "remote=1");
  EXPECT_EQ(loaded_value(server, "remote"), "remote=0");
}

TEST_F(settings, stay_local_without_address_or_user) {
  const std::string password = "transcode server password=p\n";
  EXPECT_EQ(loaded_value(password + "transcode server user=u\n", "remote"), "remote=0");
  EXPECT_EQ(loaded_value(password + "transcode server address=a\n", "remote"), "remote=0");
  EXPECT_EQ(loaded_value("transcode server address=\ntranscode server user=\n" + password, "flags"),
            "flags=4");
}

TEST_F(settings, keep_a_flag_once_it_is_set) {
  const std::string both = "transcode server user=u\ntranscode server password=p\n";
  const std::string file =
      both + "transcode server address=a\ntranscode server address=\ntranscode server user=\n";
  EXPECT_EQ(loaded_value(file, "flags"), "flags=7");
  EXPECT_EQ(loaded_value(file, "address"), "address=");
  EXPECT_EQ(loaded_value(file, "remote"), "remote=0") << "the address is empty";
  EXPECT_EQ(loaded_value(both + "transcode server address=a\ntranscode server user=\n", "remote"),
            "remote=1")
      << "the user is not looked at again";
}

TEST_F(settings, take_the_last_value) {
  EXPECT_EQ(loaded_value("max profile=720\nmax profile=480\n", "max"), "max=480");
}

TEST_F(settings, have_no_limit_below_one) {
  for (const char* value : {"0", "-1", "-720", "none", ""}) {
    EXPECT_EQ(loaded_value(std::string("max profile=") + value, "capped"), "capped=0") << value;
  }
  EXPECT_EQ(loaded_value("max profile=1", "capped"), "capped=1");
}

TEST_F(settings, read_numbers_by_their_leading_digits) {
  EXPECT_EQ(loaded_value("max profile = 720p\n", "max"), "max=720");
  EXPECT_EQ(loaded_value("max profile = x\n", "max"), "max=0");
  EXPECT_EQ(loaded_value("max profile = 0x10\n", "max"), "max=0") << "decimal only";
  EXPECT_EQ(loaded_value("fullspeed = yes\n", "fullspeed"), "fullspeed=0");
  EXPECT_EQ(loaded_value("fullspeed = 2\n", "fullspeed"), "fullspeed=1");
  EXPECT_EQ(loaded_value("fullspeed = -1\n", "fullspeed"), "fullspeed=0");
  EXPECT_EQ(loaded_value("fullspeed = 1\nfullspeed = 0\n", "fullspeed"), "fullspeed=0");
}

TEST_F(settings, ignore_unknown_keys_and_malformed_lines) {
  EXPECT_EQ(loaded("Max Profile = 720\nmax_profile = 720\nmaxprofile=720\nunknown = 1\n\n   \n"
                   "# max profile = 720\n; max profile = 720\nmax profile\n= 720\nFULLSPEED=1\n"),
            defaults);
}

TEST_F(settings, are_trimmed_of_blanks_and_line_ends) {
  EXPECT_EQ(loaded_value(" \tmax profile \t= \t 720 \t\r\n", "max"), "max=720");
  EXPECT_NE(loaded("transcode server user =  two  words \r\n").find(" user=two  words password="),
            std::string::npos);
  EXPECT_EQ(loaded_value("max profile=720", "max"), "max=720") << "a last line without line feed";
}

TEST_F(settings, read_a_long_line_in_pieces) {
  const std::string first_piece = "# " + std::string(1020, 'x');
  EXPECT_EQ(loaded_value(first_piece + "max profile=720\n", "max"), "max=720");
  EXPECT_EQ(loaded_value(first_piece.substr(1) + "max profile=720\n", "max"), "max=-1");
  const std::string user = "transcode server user=" + std::string(1000, 'u');
  EXPECT_EQ(loaded_value(user + "vv\n", "user"), "user=" + std::string(1000, 'u'));
}
