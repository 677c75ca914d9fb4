#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "platform/QMJSON.h"

namespace veyrakit {

TEST(JSONSerialization, CompactKeepsInsertionOrderAndPlatformNumberForms) {
    QMJSON report = {{"type", "P"},
                     {"pulseNumber", 3},
                     {"bitrate", 1280000.0},
                     {"ratio", 0.1},
                     {"third", 1.0 / 3.0},
                     {"negative", -2.5},
                     {"big", 1e20},
                     {"nan", std::nan("")},
                     {"flag", true},
                     {"none", nullptr},
                     {"list", QMJSON::array({1, "a", QMJSON::object()})},
                     {"url", "http://h/p?q=\"x\"\n\t\x01"}};
    EXPECT_EQ(
        QMJSONSerialization::dataWithJSONObject(report),
        "{\"type\":\"P\",\"pulseNumber\":3,\"bitrate\":1280000,\"ratio\":0.1,\"third\":0.3333333333333333,"
        "\"negative\":-2.5,\"big\":1e+20,\"nan\":null,\"flag\":true,\"none\":null,\"list\":[1,\"a\",{}],"
        "\"url\":\"http://h/p?q=\\\"x\\\"\\n\\t\\u0001\"}");
    // Shortest forms still read back to the very same doubles.
    QMJSON values = QMJSON::array({0.1, 2.0 / 3.0, 1700000000.123, -0.000001});
    EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(QMJSONSerialization::dataWithJSONObject(values)),
              values);
}

TEST(JSONSerialization, PrettyIndentsByTwoWithSpacedColons) {
    QMJSON body = {{"session", {{"sessionId", "S1"}}},
                   {"events", QMJSON::array({1.5, 2.0})},
                   {"empty", QMJSON::array()}};
    EXPECT_EQ(
        QMJSONSerialization::prettyDataWithJSONObject(body),
        "{\n  \"session\" : {\n    \"sessionId\" : \"S1\"\n  },\n  \"events\" : [\n    1.5,\n    2\n  ],\n"
        "  \"empty\" : []\n}");
    // Written part by part, nested one level deep, the same document comes out.
    std::string parts = "{\n  \"session\" : ";
    QMJSONSerialization::appendPrettyData(parts, body["session"], 1);
    parts += ",\n  \"events\" : ";
    QMJSONSerialization::appendPrettyData(parts, body["events"], 1);
    parts += ",\n  \"empty\" : ";
    QMJSONSerialization::appendPrettyData(parts, body["empty"], 1);
    EXPECT_EQ(parts + "\n}", QMJSONSerialization::prettyDataWithJSONObject(body));
}

TEST(JSONSerialization, ParsingGivesNothingForEmptyBrokenOrBareScalarInput) {
    for (const char* bad : {"", "   ", "{", "{\"a\":}", "not json", "3", "\"text\"", "null",
                            "{\"a\":1} trailing", "{\"a\":\"\xff\"}"}) {
        EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(bad), std::nullopt) << bad;
    }
    auto parsed =
        QMJSONSerialization::JSONObjectWithData("{\"z\":1,\"a\":[true,null],\"offerViewerId\":null}");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->begin().key(), "z");
    EXPECT_TRUE(parsed->at("offerViewerId").is_null());  // present but null, unlike an absent key
    EXPECT_EQ(QMJSONSerialization::JSONObjectWithData("[]"), QMJSON::array());
}

namespace {

// `depth` arrays, one inside the other, built by moving (a copy would recurse).
QMJSON nestedArrays(std::size_t depth) {
    QMJSON value = QMJSON::array();
    for (std::size_t level = 1; level < depth; ++level) {
        QMJSON outer = QMJSON::array();
        outer.push_back(std::move(value));
        value = std::move(outer);
    }
    return value;
}

std::string nestedText(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

void onSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{64} << 10);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

}  // namespace

TEST(JSONSerialization, DocumentsNestedDeeperThanTheBoundAreNotJSON) {
    EXPECT_EQ(QMJSONSerialization::kMaximumNestingDepth, 512u);
    const auto deepest = QMJSONSerialization::JSONObjectWithData(nestedText(512));
    ASSERT_TRUE(deepest);
    EXPECT_EQ(QMJSONSerialization::dataWithJSONObject(*deepest), nestedText(512));
    EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(nestedText(513)), std::nullopt);
    // However the levels are made up and wherever they sit in the document.
    std::string objects;
    for (int level = 0; level < 513; ++level) {
        objects += level % 2 ? "[" : "{\"k\":";
    }
    objects += "1";
    for (int level = 512; level >= 0; --level) {
        objects += level % 2 ? "]" : "}";
    }
    EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(objects), std::nullopt);
    EXPECT_EQ(QMJSONSerialization::JSONObjectWithData(R"({"sessionId":"S-1","offerViewerId":)" +
                                                      nestedText(100'000) + "}"),
              std::nullopt);
    EXPECT_TRUE(QMJSONSerialization::JSONObjectWithData(R"({"sessionId":"S-1","offerViewerId":)" +
                                                        nestedText(511) + "}"));
}

TEST(JSONSerialization, WritersAndDescriptionsDoNotRecurse) {
    // On a 64 KiB stack, which one call per level would overflow within a few hundred levels. The
    // indented forms grow with the square of the depth: 1000 levels take megabytes.
    const QMJSON deep = nestedArrays(100'000);
    const QMJSON deepish = nestedArrays(1'000);
    std::string compact;
    std::string pretty;
    std::string description;
    onSmallStack([&] {
        compact = QMJSONSerialization::dataWithJSONObject(deep);
        pretty = QMJSONSerialization::prettyDataWithJSONObject(deepish);
        description = QMDescription(deepish);
    });
    EXPECT_EQ(compact, nestedText(100'000));
    EXPECT_EQ(pretty.substr(0, 12), "[\n  [\n    [\n");
    EXPECT_EQ(pretty.size(), 2'000'000u);  // two lines a level, indented by two spaces a level
    EXPECT_EQ(std::count(description.begin(), description.end(), '('), 1'000);
    EXPECT_EQ(description.substr(0, 16), "(\n        (\n    ");
    EXPECT_EQ(description.substr(description.size() - 8), "\n    )\n)");
}

TEST(JSONDescription, ScalarsAndCollectionsUseThePlatformLayout) {
    EXPECT_EQ(QMDescription("plain text"), "plain text");
    EXPECT_EQ(QMDescription(-7), "-7");
    EXPECT_EQ(QMDescription(2.0), "2");
    EXPECT_EQ(QMDescription(1280000.5), "1280000.5");
    EXPECT_EQ(QMDescription(true) + QMDescription(false), "10");
    EXPECT_EQ(QMDescription(nullptr), "<null>");
    EXPECT_EQ(QMDescription(QMJSON::array({1280000, 640000})), "(\n    1280000,\n    640000\n)");
    EXPECT_EQ(QMDescription(QMJSON::array()) + QMDescription(QMJSON::object()), "(\n){\n}");
    // Inside collections, strings that are not plain words and null are quoted; nested
    // collections carry their own level's indentation after the parent's.
    QMJSON nested = {{"Content-Type", "application/json"},
                     {"values", QMJSON::array({"true", "a b", ""})},
                     {"inner", {{"k", nullptr}}}};
    EXPECT_EQ(QMDescription(nested),
              "{\n    \"Content-Type\" = \"application/json\";\n    values =     (\n        true,\n        "
              "\"a b\",\n"
              "        \"\"\n    );\n    inner =     {\n        k = \"<null>\";\n    };\n}");
    EXPECT_EQ(QMDescription(QMJSON::array({QMJSON::array({1})})), "(\n        (\n        1\n    )\n)");
}

TEST(JSONIntValue, ReadsNumbersAndNumericTextTheWayServersSendThrottleValues) {
    EXPECT_EQ(QMJSONIntValue(QMJSON(2)), 2);
    EXPECT_EQ(QMJSONIntValue(QMJSON("2")), 2);
    EXPECT_EQ(QMJSONIntValue(QMJSON(" \t-1")), -1);
    EXPECT_EQ(QMJSONIntValue(QMJSON("12abc")), 12);
    EXPECT_EQ(QMJSONIntValue(QMJSON("abc")), 0);
    EXPECT_EQ(QMJSONIntValue(QMJSON(-2.9)), -2);
    EXPECT_EQ(QMJSONIntValue(QMJSON(true)), 1);
    EXPECT_EQ(QMJSONIntValue(QMJSON(nullptr)), 0);
    EXPECT_EQ(QMJSONIntValue(QMJSON("99999999999")), INT32_MAX);
    EXPECT_EQ(QMJSONIntValue(QMJSON(-99999999999LL)), INT32_MIN);
}

}  // namespace veyrakit
