#include "Http/HttpMessage.h"

#include <gtest/gtest.h>

using namespace parlowen::service;

namespace {

HttpRequest from(const RawRequest& raw, const char* peer = "127.0.0.1") {
    return {raw, parsedTarget(raw.target()).value(), {boost::asio::ip::make_address(peer), {}}};
}

} // namespace

TEST(HttpMessage, TargetsAreTakenApart) {
    RawRequest raw(verb::get, "/a%20b/%E4%BD%A0?x=1&x=2&empty=&flag&sum=1+1&%62=c%26", 11);
    raw.set("Authorization", "bearer abc");
    const HttpRequest request = from(raw);
    EXPECT_EQ(request.path, "/a b/你");
    EXPECT_EQ(request.query("x") + request.query("empty") + request.query("flag") + request.query("none"), "1");
    EXPECT_EQ(request.query("sum"), "1 1");
    EXPECT_EQ(request.query("b"), "c&");
    EXPECT_EQ(request.header("AUTHORIZATION"), "bearer abc");
    EXPECT_EQ(request.bearerToken(), "abc");
    for (const char* target : {"", "*", "x", "/%zz", "/?a=%4", "http://x/"})
        EXPECT_FALSE(parsedTarget(target)) << target;
}

TEST(HttpMessage, OnlyThisMachineIsLocal) {
    RawRequest raw(verb::get, "/", 11);
    EXPECT_TRUE(from(raw).isLocal() && from(raw, "::1").isLocal());
    EXPECT_FALSE(from(raw, "192.168.1.2").isLocal());
    raw.set("X-Forwarded-For", "203.0.113.9");
    EXPECT_FALSE(from(raw).isLocal()) << "passed on by a proxy";
}

TEST(HttpMessage, JsonIsTakenAsFarAsItIsAnObjectOfBoundedDepth) {
    const auto nested = [](int depth) {
        const auto arrays = static_cast<std::size_t>(depth - 1);
        return "{\"a\":" + std::string(arrays, '[') + std::string(arrays, ']') + ",\"b\":\"text\"}";
    };
    EXPECT_EQ(textMember(jsonObject(nested(deepestJson)).value(), "b"), "text");
    for (const std::string& text : {nested(deepestJson + 1), nested(133'000), std::string("[]"), std::string("{")})
        EXPECT_FALSE(jsonObject(text)) << text.substr(0, 20);
    EXPECT_EQ(success("\xff").body, "{\"code\":0,\"message\":\"\",\"data\":\"\xEF\xBF\xBD\"}") << "no exception";
}
