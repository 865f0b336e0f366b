// The doctor's findings about a configuration file.
#include <cerrno>
#include <chrono>

#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/doctor/configuration.h"

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

text_file file_of(std::string text, mode_t mode = 0600) {
  text_file file;
  file.text = std::move(text);
  file.status.st_mode = S_IFREG | mode;
  return file;
}

finding_list judged(const std::string& text, mode_t mode = 0600) {
  return check_configuration(file_of(text, mode));
}

std::string only_text(const std::string& text) {
  const auto findings = judged(text);
  EXPECT_THAT(findings, SizeIs(1));
  return findings.empty() ? "" : findings[0].text;
}

const std::string whole_server = "transcode server address = 192.0.2.7\n"
                                 "transcode server user = vod\n"
                                 "transcode server password = secret\n";

}  // namespace

TEST(ctl_doctor_configuration, sensible_one_is_fine) {
  const auto findings = judged("# a comment\n\nmax profile = 720\nfullspeed = 1\n" + whole_server);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::ok);
}

TEST(ctl_doctor_configuration, missing_one_is_fine) {
  text_file file;
  file.error = ENOENT;
  EXPECT_EQ(check_configuration(file)[0].result, finding_result::ok);
}

TEST(ctl_doctor_configuration, one_that_is_not_a_file_is_a_problem) {
  text_file file;
  file.error = EINVAL;
  const auto findings = check_configuration(file);
  EXPECT_EQ(findings[0].result, finding_result::problem);
  EXPECT_THAT(findings[0].text, HasSubstr("is not a regular file"));
}

TEST(ctl_doctor_configuration, password_that_others_may_read_is_a_problem) {
  const auto findings = judged(whole_server, 0644);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::problem);
  EXPECT_THAT(findings[0].text, HasSubstr("is readable by others, mode 0644"));
  EXPECT_THAT(findings[0].advice, HasSubstr("chmod 600 /mnt/main/tv/vod.conf"));
}

TEST(ctl_doctor_configuration, without_a_password_others_may_read_it) {
  EXPECT_EQ(judged("fullspeed=1\n", 0644)[0].result, finding_result::ok);
}

TEST(ctl_doctor_configuration, one_that_others_may_write_is_a_problem) {
  const auto findings = judged("fullspeed=1\n", 0646);
  EXPECT_EQ(findings[0].result, finding_result::problem);
  EXPECT_THAT(findings[0].text, HasSubstr("can be changed by everybody"));
}

TEST(ctl_doctor_configuration, unknown_keys_are_named_with_their_lines) {
  EXPECT_EQ(only_text("speed = 1\n\nprofile = 2\n"),
            "unknown, so ignored: line 1 \"speed\", line 3 \"profile\"");
}

TEST(ctl_doctor_configuration, capital_letters_are_distinguished_from_unknown_keys) {
  EXPECT_EQ(only_text("Max Profile = 720\n"),
            "ignored because of capital letters: line 1 \"Max Profile\"");
}

TEST(ctl_doctor_configuration, values_of_unknown_keys_are_not_shown) {
  const auto findings = judged("transcode server pasword = hidden\ntranscode hidden\n");
  EXPECT_THAT(findings, Each(Field(&finding::text, Not(HasSubstr("hidden")))));
}

TEST(ctl_doctor_configuration, password_in_a_key_is_not_shown) {
  const auto findings = judged(whole_server + "my secret = 1\n");
  EXPECT_THAT(findings, Each(Field(&finding::text, Not(HasSubstr("secret")))));
}

TEST(ctl_doctor_configuration, malformed_lines_are_reported_by_number) {
  EXPECT_EQ(only_text("fullspeed\n; fine\n = 3\n"),
            "ignored, not of the form \"name = value\": line 1, 3");
}

TEST(ctl_doctor_configuration, many_findings_of_a_kind_are_one_line) {
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += "key" + std::to_string(i) + " = 1\n";
  }
  EXPECT_THAT(only_text(text), HasSubstr("line 5 \"key4\" and 995 more"));
}

TEST(ctl_doctor_configuration, repeated_key_is_reported) {
  EXPECT_EQ(only_text("fullspeed=1\nfullspeed=0\n"),
            "given more than once, only the last counts: line 2 \"fullspeed\"");
}

TEST(ctl_doctor_configuration, profile_that_is_not_a_number_is_reported_with_its_meaning) {
  EXPECT_EQ(only_text("max profile = HD\n"), "\"max profile = HD\" means no limit");
  EXPECT_EQ(only_text("max profile = 720p\n"), "\"max profile = 720p\" means 720");
  EXPECT_EQ(only_text("max profile = -1\n"), "\"max profile = -1\" means no limit");
}

TEST(ctl_doctor_configuration, speed_that_is_not_0_or_1_is_reported_with_its_meaning) {
  EXPECT_EQ(only_text("fullspeed = yes\n"), "\"fullspeed = yes\" means 0");
  EXPECT_EQ(only_text("fullspeed = 2\n"), "\"fullspeed = 2\" means 1");
}

TEST(ctl_doctor_configuration, incomplete_server_is_reported) {
  EXPECT_EQ(only_text("transcode server address = a\n"),
            "no remote transcoding, missing: transcode server user, "
            "transcode server password");
}

TEST(ctl_doctor_configuration, empty_password_is_a_password) {
  EXPECT_EQ(judged("transcode server address=a\ntranscode server user=b\n"
                   "transcode server password=\n")[0]
                .result,
            finding_result::ok);
}

TEST(ctl_doctor_configuration, password_that_the_ftp_client_would_cut_is_a_problem) {
  const std::string server = "transcode server address=a\ntranscode server user=b\n"
                             "transcode server password=";
  EXPECT_EQ(judged(server + std::string(121, 'x'))[0].result, finding_result::ok);
  const auto findings = judged(server + std::string(122, 'x'));
  EXPECT_EQ(findings[0].result, finding_result::problem);
  EXPECT_EQ(findings[0].text, "\"transcode server password\" is too long for the FTP client");
}

TEST(ctl_doctor_configuration, address_with_a_scheme_is_a_problem) {
  const auto findings = judged("transcode server address = http://a\ntranscode server user=b\n"
                               "transcode server password=c\n");
  EXPECT_EQ(findings[0].result, finding_result::problem);
}

TEST(ctl_doctor_configuration, address_with_a_port_is_a_warning) {
  const auto findings = judged("transcode server address = a:8080\ntranscode server user=b\n"
                               "transcode server password=c\n");
  EXPECT_EQ(findings[0].result, finding_result::warning);
}

TEST(ctl_doctor_configuration, pieces_of_a_long_line_are_read_as_the_service_does_but_not_shown) {
  const std::string text = "x" + std::string(1021, 'x') + "hidden key = 1\n";
  const auto parsed = read_configuration(text);
  EXPECT_THAT(parsed.pairs, ElementsAre(AllOf(Field(&configuration_pair::name, "hidden key"),
                                              Field(&configuration_pair::whole, false))));
  EXPECT_EQ(only_text(text), "longer than 1022 bytes and read in pieces: line 1");
}

TEST(ctl_doctor_configuration, nul_byte_is_reported) {
  EXPECT_THAT(only_text(std::string("fullspeed = 1\0garbage\n", 22)), HasSubstr("NUL"));
}

TEST(ctl_doctor_configuration, a_megabyte_of_the_same_line_is_judged_quickly) {
  std::string text;
  while (text.size() < (1U << 20U)) {
    text += "fullspeed=1\n";
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(only_text(text), HasSubstr("more"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(ctl_doctor_configuration, masked_text_shows_numbers_and_address_only) {
  EXPECT_EQ(masked_configuration("# note\nmax profile=720\n" + whole_server + "key=v\nnonsense"),
            "# note\nmax profile = 720\ntranscode server address = 192.0.2.7\n"
            "transcode server user = (masked)\ntranscode server password = (masked)\n"
            "key = (masked)\n(masked)\n");
}

TEST(ctl_doctor_configuration, masked_text_hides_long_lines) {
  EXPECT_EQ(masked_configuration(std::string(2000, '#') + "\n"), "(masked)\n");
}

TEST(ctl_doctor_configuration, password_in_front_of_an_address_is_not_shown) {
  EXPECT_EQ(masked_configuration("transcode server address = vod:p@ss@far\n"),
            "transcode server address = (masked)@far\n");
  EXPECT_EQ(shown_address("far:80"), "far:80");
}
