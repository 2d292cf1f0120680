#include <gtest/gtest.h>

#include <cmath>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Javascript/JSResult.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {
Value body(const char* text) {
    auto v = json::parse(text);
    EXPECT_TRUE(v) << text;
    return v ? *v : Value();
}
}  // namespace

TEST(JSEncodable, LiteralsOfEveryKind) {
    // Strings are deliberately not escaped: a"b stays a"b between the quotes.
    EXPECT_EQ(jsEncoded(Value("a\"b")), "\"a\"b\"");
    EXPECT_EQ(jsEncoded(Value("line\nbreak")), "\"line\nbreak\"");
    EXPECT_EQ(jsEncoded(Value(true)), "true");
    EXPECT_EQ(jsEncoded(Value(false)), "false");
    EXPECT_EQ(jsEncoded(Value(1)), "1");
    EXPECT_EQ(jsEncoded(Value(0)), "0");
    EXPECT_EQ(jsEncoded(Value(1.5)), "1.5");
    EXPECT_EQ(jsEncoded(Value()), "null");
    EXPECT_EQ(jsEncoded(Value(Array{"a", 1, true})), R"(["a",1,true])");
    EXPECT_EQ(jsEncoded(Value(Dictionary{})), "{}");
    // Nested strings go through the JSON writer and are escaped.
    EXPECT_EQ(jsEncoded(Value(Array{"q\""})), R"(["q\""])");
    // A container that is not valid JSON is null as a whole, never partial.
    EXPECT_EQ(jsEncoded(Value(Dictionary{{"a", 1}, {"when", Value::date(0)}})), "null");
    EXPECT_EQ(jsEncoded(Value(Array{1, Value(std::nan(""))})), "null");
    EXPECT_EQ(jsEncoded(Value::date(0)), "null");
}

TEST(JSEncodable, WhatMayCrossTheBridge) {
    EXPECT_TRUE(JSEncodable::isEncodable(Value("s")));
    EXPECT_TRUE(JSEncodable::isEncodable(Value(3)));
    EXPECT_TRUE(JSEncodable::isEncodable(Value(std::nan(""))));  // a bare number is fine
    EXPECT_TRUE(JSEncodable::isEncodable(Value()));
    EXPECT_TRUE(JSEncodable::isEncodable(Value(Dictionary{{"a", "b"}})));
    EXPECT_FALSE(JSEncodable::isEncodable(Value(Dictionary{{"d", Value::date(1)}})));
    EXPECT_FALSE(JSEncodable::isEncodable(Value::date(1)));
    EXPECT_FALSE(JSEncodable::isEncodable(Value::bytes({1, 2})));
    EXPECT_FALSE(JSEncodable::isEncodable(std::nullopt));
}

TEST(JSEncodable, ScriptLines) {
    Value response = *JSResult::success(Value()).jsEncodableWithIdentifier("3");
    EXPECT_EQ(rawJavaScriptForMethod("window.bridge.receive", response),
              R"(window.bridge.receive({"id":"3","name":"result","data":null,"error":null}))");
    EXPECT_EQ(rawJavaScriptForMethod("f", std::nullopt), "f(null)");
    EXPECT_EQ(rawJavaScriptForMethod(std::nullopt, Value(1)), "(null)(1)");
    EXPECT_EQ(rawJavaScriptPostmessageForReceiver("pushGtmData", Value(Dictionary{{"a", 1}}),
                                                  "https://h:(null)"),
              R"(window.postMessage('pushGtmData--{"a":1}', '*');)");
    EXPECT_EQ(rawJavaScriptPostmessageForReceiver("x", std::nullopt, "ignored"),
              "window.postMessage('x--{}', '*');");
    // A single quote inside the data is not escaped either.
    EXPECT_EQ(rawJavaScriptPostmessageForReceiver("r", Value(Array{"it's"}), ""),
              R"(window.postMessage('r--["it's"]', '*');)");
}

TEST(JSTandriMessage, BuildsFromBodies) {
    auto m = JSTandriMessage::initWithDictionary(body(R"({"name":"get","id":5,"data":"token"})"));
    ASSERT_TRUE(m);
    EXPECT_EQ(m->name(), "get");
    EXPECT_EQ(m->identifier(), "5");
    EXPECT_EQ(*m->data(), Value("token"));

    // Text forms of non-string names and ids; null is present, and data stays absent.
    auto n = JSTandriMessage::initWithDictionary(body(R"({"name":true,"id":null})"));
    ASSERT_TRUE(n);
    EXPECT_EQ(n->name(), "1");
    EXPECT_EQ(n->identifier(), "<null>");
    EXPECT_FALSE(n->data().has_value());
    auto f = JSTandriMessage::initWithDictionary(body(R"({"name":"x","id":2.5,"data":null})"));
    EXPECT_EQ(f->identifier(), "2.5");
    ASSERT_TRUE(f->data().has_value());
    EXPECT_TRUE(f->data()->isNull());

    // Missing id or name, or a body that is not a dictionary: no message.
    EXPECT_FALSE(JSTandriMessage::initWithDictionary(body(R"({"name":"get","data":"x"})")));
    EXPECT_FALSE(JSTandriMessage::initWithDictionary(body(R"({"id":"1","data":"x"})")));
    EXPECT_FALSE(JSTandriMessage::initWithDictionary(body(R"("get")")));
    EXPECT_FALSE(JSTandriMessage::initWithDictionary(body(R"([{"name":"a","id":"1"}])")));

    // Top-level keys beyond name, id and data are read through the subscript.
    auto s = JSTandriMessage::initWithDictionary(body(
        R"({"name":"set","id":"3","data":{"key":"k","value":"v"},"options":{"secure":true}})"));
    ASSERT_TRUE(s);
    ASSERT_NE((*s)["options"], nullptr);
    EXPECT_TRUE((*s)["options"]->find("secure")->isBoolean());
    EXPECT_EQ(s->data()->find("options"), nullptr);
    EXPECT_EQ((*s)["missing"], nullptr);
    EXPECT_EQ(s->raw().size(), 4u);
}

TEST(JSResult, ResponseObjectHasFourKeysInOrder) {
    auto ok = JSResult::success(Value("abc")).jsEncodableWithIdentifier("12");
    EXPECT_EQ(jsEncoded(*ok), R"({"id":"12","name":"result","data":"abc","error":null})");
    auto empty = JSResult::success().jsEncodableWithIdentifier("12");
    EXPECT_EQ(jsEncoded(*empty), R"({"id":"12","name":"result","data":null,"error":null})");
    auto failed =
        JSResult::error("No valid key was found on the message").jsEncodableWithIdentifier("12");
    EXPECT_EQ(
        jsEncoded(*failed),
        R"({"id":"12","name":"result","data":null,"error":"No valid key was found on the message"})");
    EXPECT_FALSE(JSResult::success(Value(1)).jsEncodableWithIdentifier(std::nullopt));
    // Data that is not valid JSON makes the whole response null, as the page would see it.
    auto bad = JSResult::success(Value(Array{Value::date(0)})).jsEncodableWithIdentifier("1");
    EXPECT_EQ(jsEncoded(*bad), "null");
    EXPECT_FALSE(JSResult::error("e").data().has_value());
    EXPECT_FALSE(JSResult::success(Value(1)).errorMessage().has_value());
}

TEST(JSEncodable, ProtoKeysReachThePageAsOwnProperties) {
    // Answers and forwarded messages write the key in computed form; a string holding the same
    // characters, other keys, pushes (parsed as JSON by the page) and request bodies stay as they
    // were.
    Value data =
        body(R"({"__proto__":{"x":[{"__proto__":1}]},"s":"\"__proto__\":","__proto__x":2})");
    EXPECT_EQ(JSResult::success(data).responseScript("p.rx", "7"),
              R"(p.rx({"id":"7","name":"result","data":{["__proto__"]:{"x":[{["__proto__"]:1}]},)"
              R"("s":"\"__proto__\":","__proto__x":2},"error":null}))");
    EXPECT_EQ(rawJavaScriptForMethod("p.rx", Value(Array{data})),
              R"(p.rx([{["__proto__"]:{"x":[{["__proto__"]:1}]},"s":"\"__proto__\":",)"
              R"("__proto__x":2}]))");
    EXPECT_EQ(rawJavaScriptForMethod("f", Value("\"__proto__\":")), R"(f(""__proto__":"))");
    EXPECT_EQ(jsEncoded(data), R"({"__proto__":{"x":[{"__proto__":1}]},"s":"\"__proto__\":",)"
                               R"("__proto__x":2})");
    EXPECT_EQ(rawJavaScriptPostmessageForReceiver("r", data, ""),
              R"(window.postMessage('r--{"__proto__":{"x":[{"__proto__":1}]},"s":"\"__proto__\":",)"
              R"("__proto__x":2}', '*');)");
}

TEST(JSEncodable, MessagePathsAreDottedIdentifiersOnly) {
    for (const char* good : {"rx", "page.rx", "$a._b.c", "_", "$", "a1.b2", "window.tandri.rx"}) {
        const Value sent(good);
        EXPECT_TRUE(isMessagePath(good)) << good;
        EXPECT_EQ(messagePathValue(&sent), good);
    }
    for (const char* bad : {"", ".", "a.", ".a", "a..b", "1a", "a.1b", "a b", "a[0]", "a()", "a;b",
                            "a\"b", "a'b", "a\n", "alert(1)//", "é", "a-b", "a.b "}) {
        const Value sent(bad);
        EXPECT_FALSE(isMessagePath(bad)) << bad;
        EXPECT_FALSE(messagePathValue(&sent)) << bad;
    }
    EXPECT_FALSE(messagePathValue(nullptr));
    const Value number(1);
    EXPECT_FALSE(messagePathValue(&number));
}
