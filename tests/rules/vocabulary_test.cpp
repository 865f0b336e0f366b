// The words that queue files, clients and other servers know.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "rules/states.h"

namespace {

template <std::size_t count>
std::set<std::string> set_of(const char* const (&names)[count]) {
  return {std::begin(names), std::end(names)};
}

}  // namespace

TEST(vocabulary, each_state_of_a_job_has_a_name_of_its_own) {
  EXPECT_EQ(set_of(transcode_states__str).size(), transcode_states_count);
  EXPECT_EQ(set_of(ready_states__str).size(), ready_states_count);
  EXPECT_EQ(set_of(cleanup_states__str).size(), cleanup_states_count);
  EXPECT_EQ(set_of(thumbnail_states__str).size(), thumbnail_states_count);
  EXPECT_EQ(set_of(remote_transcode_states__str).size(), remote_transcode_states_count);
}

TEST(vocabulary, state_has_its_name) {
  EXPECT_STREQ(name_of(TRANSCODE_INIT), "init");
  EXPECT_STREQ(name_of(TRANSCODE_REMOTE), "remote transcode");
  EXPECT_STREQ(name_of(TRANSCODE_CLEARED), "cleared");
  EXPECT_STREQ(name_of(READY_READY_TO_TRANSCODE), "ready to transcode");
  EXPECT_STREQ(name_of(REMOTE_COMMAND), "command");
}
