#include "Http/Envelope.h"
#include "Http/HttpMessage.h"

#include <gtest/gtest.h>

using namespace parlowen::service;

namespace {

RawRequest rawRequest(const char* target) {
    RawRequest raw(verb::get, target, 11);
    raw.set("Authorization", "bearer abc");
    return raw;
}

HttpRequest from(const RawRequest& raw, const char* peer = "127.0.0.1") {
    return {raw, {boost::asio::ip::make_address(peer), {}}};
}

} // namespace

TEST(HttpMessage, TargetsAreTakenApart) {
    const RawRequest raw = rawRequest("/a%20b/%E4%BD%A0?x=1&x=2&empty=&flag&sum=1+1&hex=%41%zz&%62=c");
    const HttpRequest request = from(raw);
    EXPECT_EQ(request.path, "/a b/你");
    EXPECT_EQ(request.query("x"), "1");
    EXPECT_EQ(request.query("empty"), "");
    EXPECT_EQ(request.query("flag"), "");
    EXPECT_EQ(request.query("sum"), "1 1");
    EXPECT_EQ(request.query("hex"), "A%zz");
    EXPECT_EQ(request.query("b"), "c");
    EXPECT_EQ(request.query("none"), "");
    EXPECT_EQ(request.header("AUTHORIZATION"), "bearer abc");
    EXPECT_EQ(request.bearerToken(), "abc");
    EXPECT_EQ(percentDecoded("%", false) + percentDecoded("%4", false), "%%4");
    EXPECT_EQ(success("\xff").body, "{\"code\":0,\"message\":\"\",\"data\":\"\xEF\xBF\xBD\"}") << "no exception";
}

TEST(HttpMessage, OnlyThisMachineIsLocal) {
    RawRequest raw = rawRequest("/");
    EXPECT_TRUE(from(raw).isLocal());
    EXPECT_TRUE(from(raw, "::1").isLocal());
    EXPECT_FALSE(from(raw, "192.168.1.2").isLocal());
    raw.set("X-Forwarded-For", "203.0.113.9");
    EXPECT_FALSE(from(raw).isLocal()) << "passed on by a proxy";
}
