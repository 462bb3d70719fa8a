#include "Resumes/ConfinedReader.h"
#include "Resumes/MultipartParser.h"
#include "Resumes/ResumeExcerpt.h"
#include "Resumes/ResumeLines.h"
#include "Resumes/ResumeStore.h"
#include "Resumes/TextExtraction.h"
#include "Resumes/UploadTokens.h"
#include "support/TemporaryDirectory.h"
#include "support/Testing.h"
#include <linux/landlock.h>
#include <nlohmann/json.hpp>
#include <sys/syscall.h>
#include <unistd.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;

namespace {

/// "name/file name=contents|" for each part, and "end" or "open".
std::string partsOf(const std::string& body, std::size_t pieceBytes) {
    MultipartParser parser("b");
    std::string found;
    const auto take = [&](const MultipartParser::Part& part, std::string_view bytes) {
        found += bytes.empty() ? "|" + part.name + "/" + part.fileName + "=" : std::string(bytes);
    };
    for (std::size_t start = 0; start < body.size(); start += pieceBytes)
        parser.feed(std::string_view(body).substr(start, pieceBytes), take);
    return found + (parser.isComplete() ? "|end" : "|open");
}

TEST(MultipartParser, TakesAFormApartWhereverItIsCut) {
    const std::string body = "preamble\r\n--b \r\nContent-Type: a/b\r\ncontent-disposition: form-data; "
                             "filename=\"\xe7\xae\x80 \\\"1\\\".pdf\"; name=file\r\n\r\none\r\n--c\r\n-\r\n--b\r\n"
                             "Content-Disposition: form-data; name=\"empty\"\r\n\r\n\r\n--b--\r\nepilogue";
    const std::string expected = "|file/简 \"1\".pdf=one\r\n--c\r\n-|empty/=|end";
    for (std::size_t pieceBytes = 1; pieceBytes <= body.size(); ++pieceBytes)
        ASSERT_EQ(partsOf(body, pieceBytes), expected) << pieceBytes;
    for (const std::string& broken :
         {body.substr(0, body.size() - 12), std::string("--b\r\n\r\nx\r\n--b--"), std::string("--bb\r\n"),
          "--b\r\nX: " + std::string(MultipartParser::headerBytes, 'x')})
        EXPECT_EQ(partsOf(broken, 1'000).substr(partsOf(broken, 1'000).rfind('|')), "|open") << broken;
    EXPECT_EQ(MultipartParser::boundaryOf("Multipart/Form-Data; charset=x; BOUNDARY=\"a b\""), "a b");
    for (const std::string type :
         {"", "text/plain; boundary=a", "multipart/form-data", "multipart/form-data; boundary="})
        EXPECT_FALSE(MultipartParser::boundaryOf(type)) << type;
    EXPECT_FALSE(MultipartParser::boundaryOf("multipart/form-data; boundary=" + std::string(71, 'a')));
}

TEST(UploadTokens, AreFewAndEnd) {
    UploadTokens::TimePoint now;
    UploadTokens tokens([&now] { return now; });
    const std::string first = tokens.issue({1, "a"});
    now += 1s;
    const std::string other = tokens.issue({2, "b"});
    EXPECT_EQ(tokens.ownerOf(first)->user, 1);
    EXPECT_EQ(tokens.ownerOf(other)->user, 2);
    EXPECT_FALSE(tokens.ownerOf(""));
    for (std::size_t i = 0; i < UploadTokens::ofAUser; ++i)
        tokens.issue({1, "a"});
    EXPECT_FALSE(tokens.ownerOf(first)) << "the oldest of its user";
    now += UploadTokens::lifetime - 1ms;
    EXPECT_TRUE(tokens.ownerOf(other));
    now += 1ms;
    EXPECT_FALSE(tokens.ownerOf(other));
}

TEST(ResumeStore, DropsWhatIsNeverBoundAndAllOfAUserWhoGoes) {
    const TemporaryDirectory directory;
    Database database(directory.path() / "test.db");
    const auto execute = [&](const char* sql) { database.use([sql](SQLite::Database& store) { store.exec(sql); }); };
    execute("INSERT INTO users (id, country_code, phone, nick_name, password_hash, created_at, last_login_at) "
            "VALUES (1, '86', '1', '', '', 0, 0)");
    ResumeStore store(database);
    const Resume bound = store.add(1, "bound", "text", 1'000);
    const Resume late = store.add(1, "late", "text", 1'000);
    ASSERT_TRUE(store.bind(1, bound.id, 1'000));
    store.dropOld(1'000 + ResumeStore::unboundSeconds);
    EXPECT_EQ(store.bind(1, late.id, 1'000 + ResumeStore::unboundSeconds)->name, "late");
    const Resume forgotten = store.add(1, "forgotten", "text", 9'000);
    EXPECT_FALSE(store.bind(1, forgotten.id, 9'001 + ResumeStore::unboundSeconds));
    EXPECT_EQ(store.textOf(1), "text");
    execute("DELETE FROM users");
    EXPECT_EQ(store.textOf(1), "");
}

TEST(ResumeLines, AreTidiedJoinedWhereThePageWrappedThemAndSplitWhereTheyAreLong) {
    EXPECT_EQ(tidiedLines("  a \t b\x01\n\n \f\n张 三 cv\n\xff", false), "a b\n张 三 cv\n\uFFFD\n");
    EXPECT_EQ(tidiedLines("张 三 、 李 c 四 d\n", true), "张三 、 李 c 四 d\n");
    const auto linesOf = [](const std::string& text) {
        std::vector<std::string> lines;
        for (const ResumeLine& line : resumeLines(text))
            lines.push_back(line.heading + "|" + line.text);
        return lines;
    };
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf("Me\nme@x.org\n+44 1\nSkills:\nGo and\nmore\nC"),
              (Lines{"|Me", "Skills:|Go and more", "Skills:|C"}));
    const std::string full(40, 'x');
    EXPECT_EQ(linesOf(full + "\nYes " + full + "\nNo\n"), Lines{"|" + full + " Yes " + full + " No"})
        << "where several lines reach the margin";
    EXPECT_EQ(linesOf(full + "\nNo"), (Lines{"|" + full, "|No"})) << "one alone is none";
    const std::string chinese = "一二三四五六七八九十一二三四五六七八九十一二三四五";
    EXPECT_EQ(linesOf(chinese + "\n" + chinese + "。\n末"), (Lines{"|" + chinese + chinese + "。", "|末"}));
    const std::string sentence(90, 'y');
    EXPECT_EQ(linesOf(sentence + ". " + sentence + "。Z"), (Lines{"|" + sentence + ".", "|" + sentence + "。", "|Z"}));
}

constexpr std::size_t most = 3;

const std::filesystem::path cases = PARLOWEN_SOURCE_DIR "/tests/service/Resumes/relevance";

nlohmann::json questions() { return nlohmann::json::parse(contentsOf(cases / "questions.json")); }

class RelevantLines : public ::testing::TestWithParam<const char*> {};

TEST_P(RelevantLines, OfAtLeastEightQuestionsInTenHoldOneThatAReaderNamed) {
    const std::string resume = contentsOf(cases / GetParam());
    std::string unbroken = resume;
    std::ranges::replace(unbroken, '\n', ' ');
    int relevant = 0;
    std::string missed;
    const nlohmann::json all = questions();
    for (const auto& entry : all.at(GetParam())) {
        const std::string question = entry.at("question");
        const auto lines = relevantLines(resume, question, most);
        EXPECT_LE(lines.size(), entry.contains("alone") ? 1 : most) << question;
        const auto isNamed = [&](const std::string& line) {
            EXPECT_NE(unbroken.find(line), std::string::npos) << "a quotation: " << line;
            const auto& named = entry.at("relevant");
            return std::any_of(named.begin(), named.end(), [&](const nlohmann::json& part) {
                return line.find(part.get<std::string>()) != std::string::npos;
            });
        };
        if (std::count_if(lines.begin(), lines.end(), isNamed) > 0)
            ++relevant;
        else
            missed += question + " -> " + (lines.empty() ? "nothing" : lines.front()) + "\n";
    }
    EXPECT_GE(relevant, 8) << missed;
}

INSTANTIATE_TEST_SUITE_P(BothLanguages, RelevantLines, ::testing::Values("english.txt", "chinese.txt"));

TEST(RelevantLinesOfOthers, AreNone) {
    const nlohmann::json all = questions();
    for (const auto& entry : all.at("nothing fits")) {
        const std::string resume = contentsOf(cases / entry.at("resume").get<std::string>());
        EXPECT_THAT(relevantLines(resume, entry.at("question").get<std::string>(), most), ElementsAre())
            << entry.at("question");
    }
    EXPECT_THAT(relevantLines("", "Kubernetes", most), ElementsAre());
    EXPECT_THAT(relevantLines("Kubernetes", "\" OR ( * NEAR", most), ElementsAre()) << "nobody writes queries";
}

TEST(ResumeExcerpt, KeepsWhatWasDoneUnderWhereItWasDone) {
    const std::string resume =
        "Jane\n\nSummary\nCook of soups.\n\nExperience\nChef, Alpha, 2015 - 2019\n- Led a team of five in "
        "2018.\n- Baked bread.\nHead chef, Beta, 2019.07 - 至今\n- Mentored 12 apprentices.\n"
        "Room 120199 of house B.\n";
    const ResumeBearing bearing = bearingOn(resume, "How did you lead and mentor?");
    EXPECT_THAT(bearing.quotes, ElementsAre("- Mentored 12 apprentices.", "- Led a team of five in 2018."));
    EXPECT_THAT(bearing.excerpt,
                ElementsAre("Cook of soups.", "Chef, Alpha, 2015 - 2019", "- Led a team of five in 2018.",
                            "Head chef, Beta, 2019.07 - 至今", "- Mentored 12 apprentices."));
    EXPECT_THAT(
        linesBehind(bearing.excerpt, "How did you lead and mentor?", "How I mentor: with 12 apprentices, patience."),
        ElementsAre("- Mentored 12 apprentices."));
    EXPECT_THAT(linesBehind({"首屏时间由 42 秒降到 11 秒", "熟悉前端"}, "性能？", "我熟悉优化，把首屏时间降到 11 秒。"),
                ElementsAre("首屏时间由 42 秒降到 11 秒"));
}

struct Confined : ::testing::Test {
    void SetUp() override {
        if (::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) < 1)
            GTEST_SKIP() << "this kernel cannot confine file access";
        writeFile(file, "for the reader");
        writeFile(directory.path() / "other", "for nobody");
    }
    /// What a shell says that runs in place of the file's reader.
    std::string shell(const std::string& script) const {
        return ShellRun("SECRET=known '" PARLOWEN_BINARY_DIR "/bin/parlowen-service' " +
                        std::string(confinedReaderOption) + " '" + file.string() + "' /usr/bin/bash -c '" + script +
                        "' 2>&1")
            .output;
    }

    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "file";
};

TEST_F(Confined, ReadersSeeTheirFileAloneAndReachNobody) {
    const std::string folder = directory.path().string();
    EXPECT_EQ(shell("read -r line <" + folder + "/file; echo \"$line\""), "for the reader\n");
    EXPECT_THAT(shell(": <" + folder + "/other"), HasSubstr("Permission denied"));
    EXPECT_THAT(shell(": >" + folder + "/new"), HasSubstr("Permission denied"));
    EXPECT_THAT(shell("exec 3<>/dev/tcp/127.0.0.1/9"), HasSubstr("socket: Operation not permitted"));
    EXPECT_THAT(shell("/usr/bin/true & wait"), HasSubstr("fork: Operation not permitted"));
    EXPECT_THAT(shell("kill -0 $PPID"), HasSubstr("Operation not permitted"));
    EXPECT_EQ(shell("ulimit -t; ulimit -f; ulimit -c; ulimit -n; echo \"$SECRET$HOME\""),
              "20\n0\n0\n64\n/nonexistent\n");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_EQ(shell("ulimit -v"), "1048576\n") << "KiB";
#endif
}

} // namespace
