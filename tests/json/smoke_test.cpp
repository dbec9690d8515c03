#include <gtest/gtest.h>
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
TEST(Smoke, RoundTrip) {
  tarsion::json_node root; ASSERT_TRUE(tarsion::parse_json(R"({"a":1,"b":[true,"x/y"],"c":{}})", root));
  std::string out; tarsion::write_json(root, out, false);
  EXPECT_EQ(out, R"({"a":1,"b":[true,"x\/y"],"c":{}})");
  tarsion::write_json(root, out, true);
  EXPECT_EQ(out, "{\n    \"a\": 1,\n    \"b\": [\n        true,\n        \"x\\/y\"\n    ],\n    \"c\": {}\n}");
}
