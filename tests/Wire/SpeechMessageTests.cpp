#include "support/Testing.h"
#include <Wire/SpeechMessage.h>

namespace parlowen::wire {
namespace {

using testing::HasSubstr;

std::string withPrefix(std::string_view block, std::string_view payload) {
    std::string frame{static_cast<char>(block.size() >> 8U), static_cast<char>(block.size() & 0xFFU)};
    return frame.append(block).append(payload);
}

TEST(SpeechMessageTest, RoundTripsKeepEveryByte) {
    const std::string body = "{\"a\":\r\n\r\n1}";
    const std::string frame = encode({{{"Path", "speech.context"}, {"X-RequestId", "ab12"}}, body, false});
    EXPECT_EQ(frame, "Path: speech.context\r\nX-RequestId: ab12\r\n\r\n" + body);
    EXPECT_EQ(decodeText(frame).value().body, body);
    SpeechMessage message{{{"Path", "audio"}, {"Content-Type", "audio/x-wav"}}, "", true};
    for (int i = 0; i < 256; ++i)
        message.body.push_back(static_cast<char>(i));
    EXPECT_EQ(encode(message).substr(0, 17), std::string("\0\x28", 2) + "Path: audio\r\nCo");
    const auto back = decodeBinary(encode(message)).value();
    EXPECT_EQ(back.headers, message.headers);
    EXPECT_EQ(back.body, message.body);
    EXPECT_TRUE(back.binary);
}

TEST(SpeechMessageTest, HeadersInAnyCaseAndOrderWithAndWithoutBlanksAndLineEnd) {
    const auto message =
        decodeText("x-requestid:77\r\nCONTENT-TYPE : \tapplication/json \r\npAtH:turn.end\r\nEmpty:\r\n\r\n");
    ASSERT_TRUE(message);
    EXPECT_EQ(message->path(), "turn.end");
    EXPECT_EQ(message->requestId(), "77");
    EXPECT_EQ(message->header("Content-Type"), "application/json");
    EXPECT_EQ(message->header("Empty"), "");
    EXPECT_EQ(message->header("Missing"), "");
    for (const std::string block : {"Path:audio", "Path:audio\r\n", "Path:audio\r\n\r\n"})
        EXPECT_EQ(decodeBinary(withPrefix(block, "xy")).value().body, "xy") << block;
}

TEST(SpeechMessageTest, SaysWhatIsWrong) {
    const std::string long8192 = "Path: " + std::string(maxHeaderBlock, 'a') + "\r\n";
    const std::vector<std::tuple<bool, std::string, std::string>> cases = {
        {false, "Path: a\n\n{}", "no empty line"},
        {false, "\r\n\r\n{}", "no headers"},
        {false, "Path a\r\n\r\n", "no colon"},
        {true, withPrefix("Path: a\r\n\r\nX: b\r\n", ""), "no colon"},
        {false, ": a\r\n\r\n", "no name"},
        {false, "Path: a\nX: b\r\n\r\n", "control character"},
        {false, std::string("Path: a\0b\r\n\r\n", 13), "control character"},
        {false, long8192 + "\r\n", "longer than 8192"},
        {true, "\x01", "missing"},
        {true, withPrefix("Path: audio\r\n", "").substr(0, 14), "longer than the message"},
        {true, withPrefix("", "payload"), "no headers"},
        {true, withPrefix(long8192, ""), "longer than 8192"},
        {true, withPrefix("Path: audio\r\n", std::string(maxPayload + 1, 'a')), "payload"},
    };
    for (const auto& [binary, frame, expected] : cases) {
        EXPECT_THAT((binary ? decodeBinary(frame) : decodeText(frame)).error(), HasSubstr(expected));
    }
    EXPECT_TRUE(decodeBinary(withPrefix("Path: audio\r\n", std::string(maxPayload, 'a'))));
    const std::string longest = "Path: " + std::string(maxHeaderBlock - 8, 'a') + "\r\n";
    EXPECT_TRUE(decodeText(longest + "\r\n"));
    EXPECT_TRUE(decodeBinary(withPrefix(longest, "")));
}

TEST(WireValuesTest, GuidsHaveThirtyTwoDigitsAndTheWaveHeaderSaysSixteenKilohertzMono) {
    EXPECT_THAT(guidWithoutDashes(), ::testing::MatchesRegex("[0-9a-f]{12}4[0-9a-f]{3}[89ab][0-9a-f]{15}"));
    const std::string expected(
        "RIFF\0\0\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x80\x3E\0\0\0\x7D\0\0\x02\0\x10\0data\0\0\0\0", 44);
    EXPECT_EQ(waveHeader(), expected);
}

} // namespace
} // namespace parlowen::wire
