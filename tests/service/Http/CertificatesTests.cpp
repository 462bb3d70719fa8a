#include "Http/Certificates.h"
#include "Http/PrivateFiles.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

class Certificates : public ::testing::Test {
protected:
    std::string contents(const char* name) const { return contentsOf(tls / name); }

    TemporaryDirectory directory;
    const std::filesystem::path tls = directory.path() / "tls";
};

constexpr std::array fileNames{"ca.pem", "ca.key", "server.pem", "server.key"};

} // namespace

TEST_F(Certificates, AreMadeOnceForThisUserAlone) {
    prepareTls(tls);
    EXPECT_EQ(modeOf(tls), 0700U);
    for (const char* name : fileNames)
        EXPECT_EQ(modeOf(tls / name), 0600U) << name;
    const std::string authority = contents("ca.pem");
    const std::string server = contents("server.pem");
    std::filesystem::permissions(tls / "ca.key", std::filesystem::perms(0644));

    prepareTls(tls);
    EXPECT_EQ(contents("ca.pem"), authority);
    EXPECT_EQ(contents("server.pem"), server);
    EXPECT_EQ(modeOf(tls / "ca.key"), 0600U) << "rights of others are taken away";
    EXPECT_NEAR(daysLeft(*certificateFromPem(authority)), 3650, 3);
}

TEST_F(Certificates, ServerCertificateIsRenewedBeforeItEnds) {
    prepareTls(tls);
    const Identity authority{keyFromPem(contents("ca.key")), certificateFromPem(contents("ca.pem"))};
    const std::string known = contents("ca.pem");
    const Identity aged = makeServerIdentity(authority, 5);
    writePrivateFile(tls / "server.key", toPem(*aged.key));
    writePrivateFile(tls / "server.pem", toPem(*aged.certificate));

    prepareTls(tls);
    EXPECT_EQ(contents("ca.pem"), known);
    const Identity renewed{keyFromPem(contents("server.key")), certificateFromPem(contents("server.pem"))};
    EXPECT_GT(daysLeft(*renewed.certificate), 300);
    EXPECT_TRUE(belongTogether(renewed));
    EXPECT_TRUE(isSignedBy(renewed, authority));
}
