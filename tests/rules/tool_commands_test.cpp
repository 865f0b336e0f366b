// The command lines of the tools.
#include <gmock/gmock.h>

#include "rules/tool_commands.h"

using ::testing::ElementsAre;

TEST(tool_commands, identification_writes_metadata) {
  EXPECT_THAT(identify_command("/mnt/a b.mpg"),
              ElementsAre("/usr/bin/qxmi_startitem", "--daemon", "--identify", "--create-meta",
                          "--file", "/mnt/a b.mpg"));
}

TEST(tool_commands, thumbnail_has_the_height_of_the_profile) {
  EXPECT_THAT(thumbnail_command("720", "/out/vod.thumbnail.jpg", "/mnt/a.mpg"),
              ElementsAre("/usr/bin/qxmi_grab", "--keep-aspect-ratio", "--clip-aspect-ratio",
                          "--jpeg-quality", "75", "--jpeg", "--height", "720", "-t", "random", "-o",
                          "/out/vod.thumbnail.jpg", "--file", "/mnt/a.mpg", "--no-uid"));
}

TEST(tool_commands, removal_takes_any_name_for_a_name) {
  EXPECT_THAT(removal_command("-r"), ElementsAre("/bin/rm", "-Rfv", "--", "-r"));
}

TEST(tool_commands, upload_is_named_by_the_job) {
  EXPECT_THAT(upload_command("uuid", "/mnt/a.mpg"),
              ElementsAre("/usr/bin/qxmi_remote_transcode", "uuid", "/mnt/a.mpg"));
}

TEST(tool_commands, request_posts_its_standard_input) {
  EXPECT_THAT(request_command("me:secret"),
              ElementsAre("/usr/bin/curl", "--silent", "-i", "-X", "POST", "--data-binary", "@-",
                          "--user", "me:secret"));
  EXPECT_EQ(gateway_url("far", "add"), "http://far/reelstack4/vod.cgi?c=vodsrv&vc=add");
}

TEST(tool_commands, download_continues_what_has_come) {
  EXPECT_THAT(download_command({"/here/a.mp4", "me", "secret", "far", "/there/b.mp4"}),
              ElementsAre("/usr/bin/wget", "--continue", "--progress=dot",
                          "--output-document=/here/a.mp4", "--user=me", "--password=secret",
                          "ftp://far//there/b.mp4"));
}
