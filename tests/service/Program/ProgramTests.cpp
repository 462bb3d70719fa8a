#include "Http/PrivateFiles.h"
#include "Process/ChildProcess.h"
#include "Program/Options.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

bool has(const ShellRun& run, const std::string& part) { return run.output.find(part) != std::string::npos; }

class Program : public ::testing::Test {
protected:
    std::string command(const std::string& options) const {
        return std::string("'" PARLOWEN_SERVICE "' --data '") + data.string() + "' " + options;
    }

    TemporaryDirectory directory;
    const std::filesystem::path data = directory.path() / "data";
};

ServiceOptions parsed(const std::vector<std::string>& arguments) { return parseOptions(arguments).value(); }

} // namespace

TEST_F(Program, EndsWithItsInputAndLeavesPrivateFiles) {
    const ShellRun run(command("--listen 127.0.0.1:0 --exit-with-stdin </dev/null"));
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(has(run, "listening on https://127.0.0.1:")) << run.output;
    EXPECT_EQ(modeOf(data), 0700U);
    EXPECT_EQ(modeOf(data / "parlowen.db"), 0600U);
    const ShellRun wrong(command("--nonsense"));
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, "parlowen-service: unrecognised option '--nonsense'; see parlowen-service --help\n");
    const std::string file = directory.path() / "service.conf";
    writeFile(file, "nonsense = 1\n");
    EXPECT_EQ(ShellRun(command("--config '" + file + "'")).output,
              "parlowen-service: " + file + ":1: there is no option nonsense\n");
}

TEST_F(Program, EndsOnSignalsAndTellsAnAddressInUse) {
    const std::pair<std::string, std::string> runs[] = {
        {"TERM", "--listen 127.0.0.1:$port"},
        {"HUP", "--listen 127.0.0.1:$port"},
        {"INT",
         "--data '" + data.string() + "2' --listen 127.0.0.1:0 --login-method code --captcha-listen 127.0.0.1:$port"}};
    for (const auto& [signal, second] : runs) {
        // An interactive interrupt is ignored by what a shell starts in the background, so env takes that back.
        const ShellRun run("(env --default-signal " + command("--listen 127.0.0.1:0") + " & echo pid=$!; wait $!; " +
                           "echo status=$?) | while read -r line; do echo \"$line\"; case $line in pid=*) " +
                           "pid=${line#pid=};; listening*) port=${line##*:}; '" PARLOWEN_SERVICE "' " + second +
                           "; echo second=$?; kill -" + signal + " $pid;; esac; done");
        const auto at = run.output.find("listening on https://") + std::string_view("listening on https://").size();
        const std::string place = run.output.substr(at, run.output.find('\n', at) - at);
        EXPECT_TRUE(has(run, "second=3") && has(run, place + " is in use") && has(run, "status=0")) << run.output;
    }
}

TEST_F(Program, NamesTheFileThatItCannotUseAndLeavesItAlone) {
    const std::string start = command("--listen 127.0.0.1:0 --exit-with-stdin </dev/null");
#if !defined(__SANITIZE_THREAD__) // which begins with a file of its own
    EXPECT_TRUE(has(ShellRun("ulimit -f 0; " + start + " | cat"), "cannot start")) << "a full disk";
#endif
    EXPECT_TRUE(!exists(data / "tls") || is_empty(data / "tls")) << "nothing is half written";
    ASSERT_EQ(ShellRun(start).status, 0);
    for (const std::string name : {"parlowen.db", "tls/ca.pem", "tls/server.key", "speech-tokens.key"}) {
        const auto file = data / name;
        const std::string kept = contentsOf(file);
        writeFile(file, std::string(5'000, '?'));
        const ShellRun run(start);
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_TRUE(has(run, file.string())) << run.output;
        EXPECT_EQ(contentsOf(file), std::string(5'000, '?'));
        writeFile(file, kept);
    }
    {
        const auto lock = DirectoryLock::take(data);
        EXPECT_TRUE(has(ShellRun(start), "another parlowen-service's, which runs at port "));
    }
    std::filesystem::permissions(data, std::filesystem::perms(0750));
    EXPECT_TRUE(has(ShellRun(start), "chmod 700 " + data.string()));
}

TEST_F(Program, SetsThePasswordThatItReads) {
    const auto set = [&](const std::string& password, const std::string& number = "+86 13800001234") {
        return ShellRun("echo '" + password + "' | " + command("--set-password '" + number + "'"));
    };
    EXPECT_TRUE(has(set("secret-1"), "there is no directory " + data.string()));
    ASSERT_EQ(ShellRun(command("--listen 127.0.0.1:0 --exit-with-stdin </dev/null")).status, 0);
    EXPECT_TRUE(has(set("short"), "at least 6 characters"));
    const ShellRun made = set("secret-1");
    EXPECT_TRUE(made.status == 0 && has(made, "an account was made for +86 13800001234")) << made.output;
    EXPECT_TRUE(has(set("secret\t2"), "control character"));
    EXPECT_TRUE(has(set("secret-2\r"), "the password was changed"));
    const auto run = [&](const std::string& option) { return ShellRun(command(option)); };
    EXPECT_TRUE(has(run("--list-accounts"), "+86 13800001234, made 20") &&
                has(run("--list-accounts"), "never, 0 open, no"));
    EXPECT_TRUE(has(run("--end-sign-ins all"), "all sign-ins ended in "));
    EXPECT_EQ(run("--delete-account '+86 138-0000-1234'").status, 0);
    EXPECT_EQ(run("--list-accounts").output, "");
    for (const char* option : {"--delete-account", "--end-sign-ins"})
        EXPECT_EQ(run(option + std::string(" '+86 13800001234'")).status, 1) << option;
    EXPECT_EQ(run("--end-sign-ins all --list-accounts").status, 2);
    EXPECT_EQ(set("secret-1", "").status, 2);
    EXPECT_EQ(set("secret-1", "+86 no").status, 1);
}

TEST(Options, HaveDefaultsAndAreTaken) {
    const ServiceOptions usual = parsed({});
    EXPECT_EQ(usual.address, "127.0.0.1");
    EXPECT_EQ(usual.port, 47'615);
    EXPECT_FALSE(usual.exitWithStdin || usual.help || usual.version);
    EXPECT_EQ(usual.data, defaultDataDirectory());
    EXPECT_TRUE(usual.data.is_absolute() && usual.data.filename() == "parlowen-service");

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
    for (const char* listen :
         {"", "127.0.0.1", ":80", "127.0.0.1:65536", "host:1", "127.0.0.1:x", "0.0.0.0:1", "192.168.0.1:1", "[::]:1"})
        EXPECT_FALSE(parseOptions({"--listen", listen})) << listen;
    const std::vector<std::vector<std::string>> others{{"--nonsense"},
                                                       {"--list", "[::1]:0"},
                                                       {"-h"},
                                                       {"file"},
                                                       {"--listen"},
                                                       {"--data"},
                                                       {"--data", ""},
                                                       {"--%canonical_option%"},
                                                       {"--mirror", "https://x/"},
                                                       {"--get-model", ""},
                                                       {"--resume", "cv.txt"},
                                                       {"--session-days", "%value%"}};
    for (const auto& arguments : others)
        EXPECT_FALSE(parseOptions(arguments)) << arguments.back();
}

TEST_F(Program, ItsConfigurationFileIsReadCheckedAndPrinted) {
    const auto file = directory.path() / "service.conf";
    const auto key = directory.path() / "key";
    writeFile(key, "sk-1\n");
    const auto problemOf = [&](const std::string& text, std::vector<std::string> arguments = {}) {
        writeFile(file, "# a comment\n" + text);
        arguments.insert(arguments.end(), {"--config", file.string()});
        const auto options = parseOptions(arguments);
        return options ? std::string() : options.error();
    };
    const std::string here = file.string();
    const std::string good = "answers-model = m # comment\nanswers-url = http://127.0.0.1:1/v1/\n";
    const std::pair<std::string, std::string> wrong[] = {
        {"nonsense = 1", here + ":2: there is no option nonsense"},
        {"\nanswers", here + ":3: \"answers\" is not NAME = VALUE"},
        {"answers-tokens = many", here + ":2: the argument"},
        {"create-accounts = %vaLue%", here + ":2: %value% cannot stand in"},
        {"answers-at-once = 1000000", here + ":2: answers-at-once: 1000000 is not from 1 to 10000"},
        {"session-days = 99999999999", here + ":2: session-days: 99999999999 is not from 1 to 3650"},
        {"login-method = code\ncaptcha-listen = localhost:47615",
         here + ":3: captcha-listen: localhost:47615 is where"},
        {"answers-tokens = 5", here + ":2: answers-tokens: 5 is not from 16"},
        {"answers-url = http://x/v1", here + ":2: answers-url: answers-model is missing"},
        {good + "answers-url = x", here + ":4: option 'answers-url' cannot be specified more than once"},
        {"\n[server]\nhost = a", here + ":4: there is no option server.host; the file has no sections"},
        {"data = /a", here + ":2: data is an option of the command line alone"},
        {"contact = https://a/#b", here + ":2: \"#\" begins a comment"},
        {"listen = 0.0.0.0:1", here + ":2: listen: 0.0.0.0 is no loopback address"},
        {"\nlogin-method = code\nlisten = [::1]:65535", here + ":4: listen: no port comes after 65535"},
        {good + "answers-key-file = /none", here + ":4: answers-key-file: there is no file /none"},
        {"answers-url = ftp://x/v1", here + ":2: answers-url: \"ftp://x/v1\" is no address"},
        {"answers-model = m\nanswers-url = http://x/v1?a", here + ":3: answers-url: a user, a query"},
        {"speech-url = http://127.0.0.1:1/v1", here + ":2: speech-url: speech-model is missing"},
        {"speech-languages = zh_CN", here + ":2: speech-languages: \"zh_CN\" is no code"},
        {"\nspeech-everything = ", here + ":3: speech-everything: takes yes"},
        {"create-accounts =", here + ":2: create-accounts: takes yes"},
        {"speech-everything = perhaps", here + ":2: the argument"},
        {"speech-reply-seconds = 0", here + ":2: speech-reply-seconds: 0 is not from 1"},
        {"speech-places = 0", here + ":2: speech-places: 0 is not from 1"},
        {"codes-per-address = many", here + ":2: codes-per-address: many is not from 1"},
        {"region = east.asia", here + ":2: region: \"east.asia\" is no name"},
        {"region = eastasia", here + ":2: region: region-key-file or"},
        {"region = eastasia\nregion-key-environment = HOME\nregion-area = x", here + ":4: region-area: \"x\" is no"},
        {"region = eastasia\nregion-key-environment = HOME\nregion-token-url = http://x",
         here + ":4: region-token-url: a key is sent over https"},
        {good + "answers-key-environment = PARLOWEN_NO_KEY", here + ":4: answers-key-environment: there is no"},
        {good + "answers-key-file = " + key.string(), here + ":4: answers-key-file: " + key.string() + " is open to"},
    };
    for (const auto& [text, problem] : wrong)
        EXPECT_EQ(problemOf(text).substr(0, problem.size()), problem) << text;
    EXPECT_EQ(problemOf("\nproxy = localhost"), here + ":3: proxy: \"localhost\" is no IP address");
    EXPECT_EQ(problemOf("host = a:1"),
              here + ":2: host: \"a:1\" is no name of a host (letters, digits, \"-\" and \".\")");
    EXPECT_EQ(problemOf("\n\ncontact = " + std::string(3'000, 'x')),
              here + ":4: contact: no QR code can be made of a text of 3000 bytes");
    EXPECT_EQ(problemOf("contact = https://example.org/?a=b\ncreate-accounts = true\nhost = a\nhost = b\nproxy = "
                        "::1\nsession-days = 7"),
              "");
    const ServiceOptions server = parsed({"--config", here});
    EXPECT_TRUE(parsed({"--config", "/dev/null", "--usually-create-accounts"}).createAccounts);
    EXPECT_EQ(server.contact, "https://example.org/?a=b");
    EXPECT_TRUE(server.createAccounts && server.sessionDays == 7 && server.proxies.front() == "::1");
    EXPECT_EQ(server.hosts, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(problemOf("create-accounts = no"), "");
    EXPECT_FALSE(parsed({"--config", here, "--usually-create-accounts"}).createAccounts);
    EXPECT_EQ(problemOf(good, {"--answers-temperature", "3"}), "answers-temperature: 3 is not from 0 to 2");
    EXPECT_NE(parseOptions({"--config", here + "-none"}).error().find("there is no file"), std::string::npos);

    std::filesystem::permissions(key, std::filesystem::perms::owner_read);
    const std::string withKey = "answers-model = m\nanswers-key-file = " + key.string() + "\nanswers-url = ";
    EXPECT_NE(problemOf(withKey + "http://example.org/v1").find("over https"), std::string::npos);
    EXPECT_EQ(problemOf(withKey + "https://example.org/v1/"), "");
    const ServiceOptions options = parsed({"--config", here, "--answers-model", "other"});
    EXPECT_EQ(options.chat.url + options.chat.key + options.chat.model, "https://example.org/v1sk-1other");
    const std::string keyFile = key.string();
    const auto speech =
        parsed({"--config", here, "--speech-url", "https://x/v1", "--speech-model", "w", "--speech-key-file", keyFile,
                "--speech-languages", "zh-CN, fr-FR", "--speech-everything", "yes"})
            .transcription;
    EXPECT_EQ(speech.url + speech.model + speech.key + speech.languages.at(1), "https://x/v1wsk-1fr-FR");
    EXPECT_TRUE(speech.everything && speech.partials && speech.reply == std::chrono::seconds(15));
    const std::pair<const char*, const char*> issuers[] = {
        {"eastasia", "https://eastasia.api.cognitive.microsoft.com/sts/v1.0/issueToken"},
        {"chinaeast2", "https://chinaeast2.api.cognitive.azure.cn/sts/v1.0/issueToken"},
        {"usgovarizona", "https://usgovarizona.api.cognitive.microsoft.us/sts/v1.0/issueToken"}};
    for (const auto& [name, issuer] : issuers) {
        const auto region = parsed({"--config", here, "--region", name, "--region-key-file", keyFile}).region;
        EXPECT_EQ(region.area + region.key + region.tokenUrl, std::string(name) + "sk-1" + issuer);
    }
    writeFile(file, ShellRun(command("--print-config")).output);
    EXPECT_EQ(ShellRun(command("--check-config --config '" + here + "'")).status, 0);
    EXPECT_NE(contentsOf(file).find("\n#answers-tokens = 700\n"), std::string::npos);
    EXPECT_EQ(ShellRun(command("--check-answers --config '" + here + "'")).status, 1) << "there is no model";
    const ShellRun unanswered(command("--check-answers --answers-url http://127.0.0.1:9/v1 --answers-model m"));
    EXPECT_EQ(unanswered.status, 1) << unanswered.output;
    const std::string prompt = command("--config /dev/null --print-prompt Why? --resume ");
    EXPECT_TRUE(has(ShellRun(prompt + "'" + here + "'"), "resume_lines"));
    for (const std::string& name : {here + "-none", directory.path().string()}) {
        const ShellRun unread(prompt + "'" + name + "'");
        EXPECT_TRUE(unread.status == 1 && has(unread, name + " cannot be read")) << unread.output;
    }
}

TEST(Keys, OfTheEnvironmentStayWithTheService) {
    for (const char* name : {"TEST_KEY", "TEST_OTHER"})
        ::setenv(name, "sk-1", 1);
    EXPECT_EQ(parsed({"--region", "x", "--region-key-environment", "TEST_KEY"}).region.key, "sk-1");
    const auto child = ChildPipe::start({"bash", "-c", R"(printf '%s\0' "$TEST_KEY|$TEST_OTHER"; cat >/dev/null)"});
    EXPECT_EQ(child->ask("", std::chrono::seconds(10)), "|sk-1");
}
