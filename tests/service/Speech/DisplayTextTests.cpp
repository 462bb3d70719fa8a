#include "Speech/DisplayText.h"

#include <gtest/gtest.h>

using namespace parlowen::service;

TEST(DisplayText, SwearWordsAreMaskedAsWholeWordsOnly) {
    EXPECT_EQ(partialText("that is shit and fucking bad"), "that is **** and ******* bad");
    EXPECT_EQ(partialText("a shiitake assessment in scunthorpe"), "a shiitake assessment in scunthorpe");
    EXPECT_EQ(partialText("i said shit didn't i"), "I said **** didn't I");
    EXPECT_EQ(sentenceText("shit happens"), "**** happens.");
}

TEST(DisplayText, SentencesGetACapitalAndAMark) {
    EXPECT_EQ(sentenceText("why do you want to work here"), "Why do you want to work here?");
    EXPECT_EQ(sentenceText("can you tell me what i'm to do"), "Can you tell me what I'm to do?");
    EXPECT_EQ(sentenceText("tell me about yourself"), "Tell me about yourself.");
    EXPECT_EQ(sentenceText("whatever you like"), "Whatever you like.");
    EXPECT_EQ(sentenceText(" i  think so "), "I think so.");
    EXPECT_EQ(sentenceText(""), "");
    EXPECT_EQ(partialText("why do you"), "why do you");
}
