// Bounds of JSON that is read, and the taking apart of queue files.
#include <gmock/gmock.h>

#include "platform/json_brackets.h"
#include "rules/json_text.h"
#include "rules/limits.h"
#include "rules/queue_document.h"

using json11::Json;
using ::testing::IsEmpty;

namespace {

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

// An array of this many elements.
std::string array_of(const std::string& element, std::size_t count) {
  std::string text = "[" + element;
  for (std::size_t i = 1; i < count; ++i) {
    text += "," + element;
  }
  return text + "]";
}

std::size_t values_in(const Json& json) {
  std::size_t count = 1;
  for (const Json& element : json.array_items()) {
    count += values_in(element);
  }
  for (const auto& [key, value] : json.object_items()) {
    count += values_in(value);
  }
  return count;
}

std::string error_of(const std::string& text, std::size_t most_elements = most_page_elements) {
  std::string error;
  const Json json = parse_json(text, error, most_elements);
  EXPECT_EQ(json.is_null(), !error.empty());
  return error;
}

std::string job_of(const queue_document& document, std::size_t index) {
  std::string error;
  const Json job = document.job(index, error);
  return error.empty() ? job.dump() : "error: " + error;
}

}  // namespace

TEST(json_shape, is_that_of_the_brackets_outside_strings) {
  EXPECT_EQ(shape_of_json("").depth, 0U);
  EXPECT_EQ(shape_of_json("7").elements, 1U);
  EXPECT_EQ(shape_of_json("{\"a\": [1, {}]}").depth, 3U);
  EXPECT_EQ(shape_of_json(R"({"[[[,,,": "{{\"[[,"})").depth, 1U);
  EXPECT_EQ(shape_of_json(R"(["\\", "\"[", "\\\"["])").elements, 4U);
  EXPECT_EQ(shape_of_json("]]]][").depth, 1U);
  EXPECT_EQ(shape_of_json("[\"unfinished [[[ \\").elements, 2U);
}

TEST(json_shape, has_at_least_the_values_of_the_text) {
  for (const std::string text :
       {"[]", "{}", "[{},{},{}]", "[[],[],[[]]]", R"({"a":{"b":[1,2]},"c":"x,y"})"}) {
    std::string error;
    EXPECT_GE(shape_of_json(text).elements, values_in(Json::parse(text, error))) << text;
  }
}

TEST(parse_json, refuses_what_is_nested_deeper_than_the_parser_goes) {
  EXPECT_EQ(error_of(nested(201)), "");
  EXPECT_EQ(error_of(nested(202)), "exceeded maximum nesting depth");
  EXPECT_EQ(error_of(std::string(10000000, '[')), "exceeded maximum nesting depth");
}

TEST(parse_json, refuses_more_elements_than_allowed) {
  EXPECT_EQ(error_of(array_of("0", 99), 100), "");
  EXPECT_EQ(error_of(array_of("0", 100), 100), "more than 100 elements");
  EXPECT_EQ(error_of(array_of("{}", 100), 100), "more than 100 elements");
}

TEST(parse_json, takes_the_largest_documents_that_a_job_can_have) {
  const std::string document = R"({"quoted profile":)" + array_of("1", longest_listing / 2) +
                               R"(,"remote job":{"json":)" + array_of("[]", proc_buffer_size / 3) +
                               "}}";
  EXPECT_EQ(error_of(document, most_item_elements), "");
}

TEST(queue_document, has_the_jobs_in_order) {
  const std::string text = R"( {"a": [[1], 2], "list" : [ {"x": [1, "]}"]} , 5,null], "time": ""})";
  const queue_document document(text);
  EXPECT_TRUE(document.is_json() && document.has_list() && document.list_is_array());
  ASSERT_EQ(document.size(), 3U);
  EXPECT_EQ(job_of(document, 0), R"({"x": [1, "]}"]})");
  EXPECT_EQ(job_of(document, 1), "5");
  EXPECT_EQ(job_of(document, 2), "null");
}

TEST(queue_document, may_have_no_jobs) {
  for (const std::string text : {R"({"list":[]})", R"({"list": [ ] })"}) {
    const queue_document document(text);
    EXPECT_TRUE(document.is_json() && document.list_is_array()) << text;
    EXPECT_EQ(document.size(), 0U) << text;
  }
}

TEST(queue_document, takes_the_last_list_as_the_parser_does) {
  const std::string text = R"({"list":[1],"l\u0069st":[2]})";
  EXPECT_EQ(job_of(queue_document(text), 0), "2");
}

TEST(queue_document, tells_a_missing_list_from_one_of_another_type) {
  const std::string nothing = "{}";
  const std::string null = R"({"list":null})";
  const std::string number = R"({"list":0})";
  const std::string elsewhere = R"({"other":{"list":[1]}})";
  EXPECT_FALSE(queue_document(nothing).has_list());
  EXPECT_FALSE(queue_document(null).has_list());
  EXPECT_FALSE(queue_document(elsewhere).has_list());
  EXPECT_TRUE(queue_document(number).has_list());
  EXPECT_FALSE(queue_document(number).list_is_array());
}

TEST(queue_document, damaged_anywhere_is_no_queue) {
  const std::string text = R"({"list":[{"a":1},{"b":[2]}],"time":""})";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(queue_document(text.substr(0, length)).is_json()) << length;
  }
  for (const std::string damaged :
       {R"({"list":[1}})", R"({"list":[1]]})", R"({"list":[1]}x)", R"(["list":[1]})", "null"}) {
    EXPECT_FALSE(queue_document(damaged).is_json()) << damaged;
  }
}

TEST(queue_document, names_the_fault_of_a_damaged_job) {
  const std::string text = R"({"list":[{"a":1},,3]})";
  const queue_document document(text);
  EXPECT_EQ(job_of(document, 0), R"({"a": 1})");
  EXPECT_EQ(job_of(document, 1), "error: unexpected end of input");
}

TEST(queue_document, is_none_if_another_array_is_damaged) {
  for (const std::string text :
       {R"({"list":[{}],"other":[nonsense]})", R"({"other":[1,],"list":[{}]})",
        R"({"list":[1}],"list":[{}]})", R"([[{"a" 1}]])"}) {
    const queue_document document(text);
    EXPECT_FALSE(document.is_json()) << text;
    EXPECT_FALSE(document.list_is_array()) << text;
    EXPECT_EQ(document.size(), 0U) << text;
    EXPECT_NE(document.error(), "") << text;
  }
}

TEST(queue_document, may_have_arrays_that_no_job_is_made_of) {
  const std::string text =
      R"({"a":)" + array_of("{}", 100000) + R"(,"b":[)" + array_of("0", 40000) + R"(],"list":[7]})";
  const queue_document document(text);
  EXPECT_EQ(document.error(), "");
  ASSERT_EQ(document.size(), 1U);
  EXPECT_EQ(job_of(document, 0), "7");
  EXPECT_EQ(document.left_out(), 0U);
}

TEST(fault_of_queue, is_that_of_the_parser) {
  for (const std::string text :
       {R"({"list":[{"a":tru]})", R"({"list":[{"a":1} 2]})", R"([1,])", "", R"(["\u12"])"}) {
    std::string error;
    Json::parse(text, error);
    EXPECT_EQ(fault_of_queue(text, "found"), error) << text;
  }
}

TEST(fault_of_queue, is_what_was_found_in_a_text_that_is_json) {
  EXPECT_EQ(fault_of_queue("[]", "found"), "found");
  EXPECT_EQ(fault_of_queue("null", ""), "");
}

TEST(fault_of_queue, is_what_was_found_if_the_text_is_too_expensive) {
  // Of numbers, the memory checks would read the text to its end for each of them.
  const std::string long_text = array_of("null", most_page_elements) + "x";
  const std::string deep_text = "{" + nested(201);
  EXPECT_EQ(fault_of_queue(long_text, "found"), "found");
  EXPECT_EQ(fault_of_queue(deep_text, "found"), "found");
  EXPECT_NE(fault_of_queue(array_of("null", most_page_elements - 1) + "x", "found"), "found");
}

TEST(queue_document, reads_no_more_jobs_than_a_queue_holds) {
  const std::string text = R"({"list":)" + array_of("{}", 600) + "}";
  const queue_document document(text);
  EXPECT_EQ(document.size(), 512U);
  EXPECT_EQ(document.left_out(), 88U);
}

TEST(queue_document, refuses_too_many_lists_and_too_deep_ones) {
  std::string lists = "{\"list\":[]";
  for (int i = 0; i < 20; ++i) {
    lists += ",\"a\":[]";
  }
  lists += "}";
  EXPECT_EQ(queue_document(lists).error(), "too many arrays");
  const std::string deep = "{\"list\":" + nested(201) + "}";
  EXPECT_EQ(queue_document(deep).error(), "exceeded maximum nesting depth");
}

TEST(queue_document, knows_a_job_that_is_too_large_before_it_is_parsed) {
  const std::string text = R"({"list":[{},)" + array_of("0", most_item_elements) + "]}";
  const queue_document document(text);
  EXPECT_FALSE(document.is_too_large(0));
  EXPECT_TRUE(document.is_too_large(1));
}
