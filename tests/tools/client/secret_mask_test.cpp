// Passwords in texts and documents.
#include <gtest/gtest.h>

#include "tools/client/secret_mask.h"

TEST(ctl_secret_mask, every_occurrence_is_masked) {
  EXPECT_EQ(secret_mask({"pw"}).masked("pw, user:pw@host, spw"),
            "(masked), user:(masked)@host, s(masked)");
}

TEST(ctl_secret_mask, secret_is_not_a_pattern) {
  EXPECT_EQ(secret_mask({".*[a-z]+(\\"}).masked("abc .*[a-z]+(\\ abc"), "abc (masked) abc");
}

TEST(ctl_secret_mask, empty_secret_hides_nothing) {
  EXPECT_EQ(secret_mask({""}).masked("text"), "text");
}

TEST(ctl_secret_mask, longer_secret_is_masked_before_a_part_of_it) {
  EXPECT_EQ(secret_mask({"ab", "abc"}).masked("abcab"), "(masked)(masked)");
}

TEST(ctl_secret_mask, strings_and_keys_of_a_document_are_masked_at_any_depth) {
  const json11::Json document = json11::Json::object{
      {"a", json11::Json::array{"x pw", 1, json11::Json::object{{"pw key", "pw"}}}}};
  EXPECT_EQ(secret_mask({"pw"}).masked_json(document).dump(),
            R"--({"a": ["x (masked)", 1, {"(masked) key": "(masked)"}]})--");
}

TEST(ctl_secret_mask, secret_that_json_writes_differently_is_found) {
  const json11::Json document = json11::Json::object{{"a", "x\"y\\z"}};
  EXPECT_EQ(secret_mask({"\"y\\"}).masked_json(document).dump(), R"--({"a": "x(masked)z"})--");
}

TEST(ctl_secret_mask, unknown_credentials_of_a_tool_are_masked) {
  const json11::Json document = json11::Json::object{
      {"process argv",
       json11::Json::array{"curl", "--user", "me:old", "--password=old", "--user=me", "--fine=1"}}};
  EXPECT_EQ(secret_mask().masked_json(document)["process argv"].dump(),
            R"--(["curl", "--user", "(masked)", "--password=(masked)", "--user=(masked)", )--"
            R"--("--fine=1"])--");
}
