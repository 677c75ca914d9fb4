#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/QMJSON.h"

TEST(JSONSerialization, CompactKeepsInsertionOrderAndPlatformNumberForms) {
    QMJSON report = QMJSON::object();
    report["type"] = "P";
    report["pulseNumber"] = 3;
    report["bitrate"] = 1280000.0;  // integral double: no ".0"
    report["ratio"] = 0.1;          // shortest round trip, not 0.10000000000000001
    report["third"] = 1.0 / 3.0;
    report["negative"] = -2.5;
    report["big"] = 1e20;
    report["nan"] = std::nan("");
    report["flag"] = true;
    report["none"] = nullptr;
    report["list"] = QMJSON::array({1, "a", QMJSON::object()});
    report["url"] = "http://h/p?q=\"x\"\n\t\x01";

    EXPECT_EQ(QMJSONSerialization::dataWithJSONObject(report),
              "{\"type\":\"P\",\"pulseNumber\":3,\"bitrate\":1280000,\"ratio\":0.1,\"third\":0.3333333333333333,"
              "\"negative\":-2.5,\"big\":1e+20,\"nan\":null,\"flag\":true,\"none\":null,\"list\":[1,\"a\",{}],"
              "\"url\":\"http://h/p?q=\\\"x\\\"\\n\\t\\u0001\"}");
}

TEST(JSONSerialization, PrettyIndentsByTwoWithSpacedColons) {
    QMJSON body = {{"session", {{"sessionId", "S1"}}}, {"events", QMJSON::array({1.5, 2.0})}, {"empty", QMJSON::array()}};
    EXPECT_EQ(QMJSONSerialization::prettyDataWithJSONObject(body),
              "{\n"
              "  \"session\" : {\n"
              "    \"sessionId\" : \"S1\"\n"
              "  },\n"
              "  \"events\" : [\n"
              "    1.5,\n"
              "    2\n"
              "  ],\n"
              "  \"empty\" : []\n"
              "}");
}

TEST(JSONSerialization, ParsingGivesNothingForEmptyBrokenOrBareScalarInput) {
    for (const char* bad : {"", "   ", "{", "{\"a\":}", "not json", "3", "\"text\"", "null", "{\"a\":1} trailing",
                            "{\"a\":\"\xff\"}"}) {
        EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(bad), std::nullopt) << bad;
    }
    auto parsed = QMJSONSerialization::JSONObjectWithData("{\"z\":1,\"a\":[true,null],\"offerViewerId\":null}");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->begin().key(), "z");  // order of the text is kept
    EXPECT_TRUE(parsed->at("offerViewerId").is_null());  // present-but-null differs from absent
    EXPECT_FALSE(parsed->contains("viewerId"));
    EXPECT_TRUE(QMJSONSerialization::JSONObjectWithData("[]"));
}

TEST(JSONSerialization, RoundTripPreservesDoublesExactly) {
    for (double d : {0.1, 2.0 / 3.0, 1700000000.123, -0.000001, 123456789.98765433}) {
        QMJSON array = QMJSON::array({d});
        auto parsed = QMJSONSerialization::JSONObjectWithData(QMJSONSerialization::dataWithJSONObject(array));
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->at(0).get<double>(), d);
    }
}

TEST(JSONDescription, ScalarsPrintAsThePlatformDescribesThem) {
    EXPECT_EQ(QMDescription("plain text"), "plain text");
    EXPECT_EQ(QMDescription(42), "42");
    EXPECT_EQ(QMDescription(-7), "-7");
    EXPECT_EQ(QMDescription(2.0), "2");
    EXPECT_EQ(QMDescription(1280000.5), "1280000.5");
    EXPECT_EQ(QMDescription(true), "1");
    EXPECT_EQ(QMDescription(false), "0");
    EXPECT_EQ(QMDescription(nullptr), "<null>");
}

TEST(JSONDescription, CollectionsUseThePlatformLayout) {
    EXPECT_EQ(QMDescription(QMJSON::array({1280000, 640000})), "(\n    1280000,\n    640000\n)");
    EXPECT_EQ(QMDescription(QMJSON::array()), "(\n)");
    EXPECT_EQ(QMDescription(QMJSON::object()), "{\n}");
    EXPECT_EQ(QMDescription(QMJSON{{"status", "ok"}, {"interval", 10}}), "{\n    status = ok;\n    interval = 10;\n}");
    // Strings inside collections are quoted unless they are plain words; nested collections
    // carry their own level's indentation after the parent's.
    QMJSON nested = {{"Content-Type", "application/json"},
                     {"values", QMJSON::array({"true", "a b", ""})},
                     {"inner", {{"k", nullptr}}}};
    EXPECT_EQ(QMDescription(nested),
              "{\n"
              "    \"Content-Type\" = \"application/json\";\n"
              "    values =     (\n"
              "        true,\n"
              "        \"a b\",\n"
              "        \"\"\n"
              "    );\n"
              "    inner =     {\n"
              "        k = \"<null>\";\n"
              "    };\n"
              "}");
    EXPECT_EQ(QMDescription(QMJSON::array({QMJSON::array({1})})), "(\n        (\n        1\n    )\n)");
}
