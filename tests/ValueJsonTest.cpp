#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tandri/Json.hpp"
#include "tandri/Value.hpp"

using namespace tandri;

TEST(Value, KeepsNumberTypesAndAbsentApartFromNull) {
    Value one(1), yes(true), half(0.5), nothing;
    EXPECT_EQ(one.numberType(), NumberType::Integer);
    EXPECT_EQ(yes.numberType(), NumberType::Boolean);
    EXPECT_EQ(half.numberType(), NumberType::Float);
    EXPECT_FALSE(one == yes);
    EXPECT_TRUE(Value(1) == Value(1.0));
    EXPECT_TRUE(nothing.isNull());
    std::optional<Value> absentValue;
    std::optional<Value> nullValue = Value::null();
    EXPECT_NE(absentValue.has_value(), nullValue.has_value());
    EXPECT_TRUE(Value::date(0).isForeign(ForeignKind::Date));
    EXPECT_TRUE(Value::closure([](const std::optional<Value>&, AnswerClosure) {}).isClosure());
}

TEST(Value, DictionaryKeepsInsertionOrderAndLooksUpAtAnySize) {
    Dictionary d;
    for (int i = 0; i < 100; ++i) d.set("k" + std::to_string(99 - i), Value(i));
    ASSERT_EQ(d.size(), 100u);
    EXPECT_EQ(d.entries().front().first, "k99");
    EXPECT_EQ(d.entries().back().first, "k0");
    for (int i = 0; i < 100; ++i) {
        const Value* v = d.find("k" + std::to_string(99 - i));
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(v->asInt(), i);
    }
    // Replacing keeps the position; erasing keeps the others' order and lookups.
    d.set("k50", Value("x"));
    EXPECT_EQ(d.entries()[49].first, "k50");
    EXPECT_EQ(d.find("k50")->asString(), "x");
    EXPECT_TRUE(d.erase("k99"));
    EXPECT_FALSE(d.erase("k99"));
    EXPECT_EQ(d.entries().front().first, "k98");
    EXPECT_EQ(d.find("k0")->asInt(), 99);
    EXPECT_EQ(d.find("k99"), nullptr);
}

TEST(Value, CopiesShareStorageUntilOneIsChanged) {
    Array big;
    for (int i = 0; i < 10000; ++i) big.push_back(Value(i));
    Value a(big);
    Value b = a;
    EXPECT_EQ(&a.asArray().values(), &b.asArray().values());
    b.mutableArray().push_back(Value("more"));
    EXPECT_EQ(a.asArray().size(), 10000u);
    EXPECT_EQ(b.asArray().size(), 10001u);

    Dictionary d{{"a", 1}};
    Dictionary e = d;
    e.set("b", 2);
    EXPECT_EQ(d.size(), 1u);
    EXPECT_EQ(e.size(), 2u);
}

TEST(Json, ReadsTypesExactly) {
    auto v = json::parse(
        R"({"i":7,"t":true,"f":false,"d":2.5,"n":null,"s":"x\u00e9\n","a":[1,"2"],"e":1.0})");
    ASSERT_TRUE(v);
    ASSERT_TRUE(v->isDictionary());
    EXPECT_EQ(v->find("i")->numberType(), NumberType::Integer);
    EXPECT_EQ(v->find("t")->numberType(), NumberType::Boolean);
    EXPECT_TRUE(v->find("t")->asBool());
    EXPECT_EQ(v->find("d")->numberType(), NumberType::Float);
    EXPECT_EQ(v->find("e")->numberType(), NumberType::Float);
    EXPECT_TRUE(v->find("n")->isNull());
    EXPECT_EQ(v->find("s")->asString(), "x\xc3\xa9\n");
    EXPECT_EQ(v->find("a")->asArray().size(), 2u);
    // Key order survives a round trip.
    EXPECT_EQ(*json::write(*v),
              R"({"i":7,"t":true,"f":false,"d":2.5,"n":null,"s":"xé\n","a":[1,"2"],"e":1})");
}

TEST(Json, RefusesBadInputWithoutCrashing) {
    EXPECT_FALSE(json::parse(""));
    EXPECT_FALSE(json::parse("{"));
    EXPECT_FALSE(json::parse(R"({"a":})"));
    EXPECT_FALSE(json::parse("[1,]"));
    EXPECT_FALSE(json::parse("\"\xff\xfe\""));                    // invalid UTF-8
    EXPECT_FALSE(json::parse("123456789012345678901234567890"));  // beyond 64 bits
    EXPECT_FALSE(json::parse("NaN"));
    std::string deep(100000, '[');
    EXPECT_FALSE(json::parse(deep + std::string(100000, ']')));
    // Within the depth limit nesting is fine.
    std::string ok = std::string(500, '[') + std::string(500, ']');
    EXPECT_TRUE(json::parse(ok));
    // Huge but representable numbers.
    auto big = json::parse("[18446744073709551615, -9223372036854775808, 1e308, 1e-320]");
    ASSERT_TRUE(big);
    EXPECT_EQ(big->asArray()[1].asInt(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(*json::write(*big), "[1.8446744073709552e+19,-9223372036854775808,1e+308,1e-320]");
}

TEST(Json, WritesNumbersInShortestExactFormAndRefusesNonFinite) {
    Array a{Value(0.1), Value(1e21), Value(-0.99), Value(3), Value(true), Value(1.0 / 3)};
    std::string text = *json::write(Value(a));
    EXPECT_EQ(text, "[0.1,1e+21,-0.99,3,true,0.3333333333333333]");
    auto back = json::parse(text);
    EXPECT_EQ(back->asArray()[5].asDouble(), 1.0 / 3);

    EXPECT_FALSE(json::write(Value(Array{Value(std::nan(""))})));
    EXPECT_FALSE(json::write(Value(Dictionary{{"x", Value(INFINITY)}})));
    EXPECT_FALSE(json::write(Value(Array{Value::date(1)})));
    EXPECT_FALSE(json::isValidJSONObject(Value("string")));
    EXPECT_TRUE(json::isValidJSONObject(Value(Dictionary{{"a", "b"}})));
    EXPECT_EQ(json::numberText(Value(2.5)), "2.5");
    EXPECT_EQ(json::numberText(Value(true)), "1");
}

TEST(Json, EscapesStringsAndPrettyPrintsSorted) {
    Value s(std::string("q\"b\\n\n\t\x01/é"));
    EXPECT_EQ(*json::write(Value(Array{s})), "[\"q\\\"b\\\\n\\n\\t\\u0001/é\"]");
    Value d(Dictionary{{"b", 1}, {"a", Array{Value(2), Value()}}, {"c", Dictionary{}}});
    EXPECT_EQ(*json::write(d, json::Style::PrettySorted),
              "{\n  \"a\" : [\n    2,\n    null\n  ],\n  \"b\" : 1,\n  \"c\" : {\n\n  }\n}");
    EXPECT_EQ(*json::write(d, json::Style::Pretty),
              "{\n  \"b\" : 1,\n  \"a\" : [\n    2,\n    null\n  ],\n  \"c\" : {\n\n  }\n}");
}
