#include "Program/Options.h"

#include <gtest/gtest.h>

using namespace parlowen::service;

namespace {

ServiceOptions parsed(const std::vector<std::string>& arguments) {
    return std::get<ServiceOptions>(parseOptions(arguments));
}

} // namespace

TEST(Options, HaveDefaultsAndAreTaken) {
    const ServiceOptions usual = parsed({});
    EXPECT_EQ(usual.address, "127.0.0.1");
    EXPECT_EQ(usual.port, 47'615);
    EXPECT_FALSE(usual.exitWithStdin || usual.help || usual.version);
    EXPECT_EQ(usual.data, std::filesystem::path(std::getenv("XDG_DATA_HOME")) / "parlowen-service");

    const ServiceOptions all =
        parsed({"--listen", "[::1]:0", "--data", "some/where", "--exit-with-stdin", "--help", "--version"});
    EXPECT_EQ(all.address, "::1");
    EXPECT_EQ(all.port, 0);
    EXPECT_EQ(all.data, std::filesystem::absolute("some/where"));
    EXPECT_TRUE(all.exitWithStdin && all.help && all.version);
    EXPECT_EQ(parsed({"--listen", "localhost:1"}).address, "127.0.0.1");
    EXPECT_EQ(parsed({"--data", "/some/./where/"}).data, "/some/where");
}

TEST(Options, WrongOnesAreExplained) {
    const std::vector<std::vector<std::string>> wrong{
        {"--nonsense"},
        {"file"},
        {"--listen"},
        {"--data"},
        {"--data", ""},
        {"--listen", "127.0.0.1"},
        {"--listen", ":80"},
        {"--listen", "127.0.0.1:65536"},
        {"--listen", "host:1"},
        {"--listen", "127.0.0.1:x"},
        {"--listen", "0.0.0.0:1"},
        {"--listen", "192.168.0.1:1"},
        {"--listen", "[::]:1"},
    };
    for (const auto& arguments : wrong) {
        const auto outcome = parseOptions(arguments);
        ASSERT_TRUE(std::holds_alternative<std::string>(outcome)) << arguments.back();
        EXPECT_FALSE(std::get<std::string>(outcome).empty());
    }
}
