#include "Resumes/MultipartParser.h"
#include "Resumes/ResumeLines.h"
#include "Resumes/ResumeStore.h"
#include "Resumes/TextExtraction.h"
#include "Resumes/UploadTokens.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

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

} // namespace

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
    const std::string first = tokens.issue(1);
    now += 1s;
    const std::string other = tokens.issue(2);
    EXPECT_EQ(tokens.userOf(first), 1);
    EXPECT_EQ(tokens.userOf(other), 2);
    EXPECT_FALSE(tokens.userOf(""));
    for (std::size_t i = 0; i < UploadTokens::ofAUser; ++i)
        tokens.issue(1);
    EXPECT_FALSE(tokens.userOf(first)) << "the oldest of its user";
    now += UploadTokens::lifetime - 1ms;
    EXPECT_TRUE(tokens.userOf(other));
    now += 1ms;
    EXPECT_FALSE(tokens.userOf(other));
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

TEST(ResumeLines, AreJoinedWhereThePageWrappedThemAndSplitWhereTheyAreLong) {
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

TEST(ExtractedText, IsTidied) {
    EXPECT_EQ(tidiedLines("  a \t b\x01\n\n \f\n张 三 cv\n\xff", false), "a b\n张 三 cv\n\uFFFD\n");
    EXPECT_EQ(tidiedLines("张 三 、 李 c 四 d\n", true), "张三 、 李 c 四 d\n");
}
