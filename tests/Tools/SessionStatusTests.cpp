#include "support/Testing.h"
#include <QDir>
#include <QTemporaryDir>
#include <Tools/SessionPresence.h>
#include <Tools/SessionStatusText.h>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace parlowen::testing {
namespace {

using Cause = RecognitionStatus::Cause;
using Severity = SessionStatusText::Severity;

using State = RecognitionStatus::State;

InputStatus hears(const QString& name) {
    InputStatus input;
    input.state = InputStatus::State::Listening;
    input.name = name;
    return input;
}

TEST(SessionStatusTextTest, QuietIsSaidAfterTenSecondsBeforeACallAndThirtyInOneAndNeverAlarms) {
    InputStatus input = hears("Speakers");
    const auto said = [&input](int seconds, bool heardSound) {
        input.quietSeconds = seconds;
        input.heardSound = heardSound;
        const auto text = sessionStatusText(input, {State::Recognizing, {}, {}, 0}, Language::Chinese);
        EXPECT_EQ(text.severity, Severity::Plain);
        return text.text.toStdString();
    };
    EXPECT_EQ(said(9, false), "电脑声音 · Speakers");
    EXPECT_EQ(said(10, false), "无声 10 秒");
    EXPECT_EQ(said(29, true), "电脑声音 · Speakers");
    EXPECT_EQ(said(41, true), "无声 41 秒");
}

TEST(SessionStatusTextTest, WhatMustBeChangedIsSaidBeforeWhatPasses) {
    const RecognitionStatus running{State::Recognizing, {}, {}, 0};
    const RecognitionStatus lost{State::Reconnecting, Cause::NoNetwork, {}, 12};
    InputStatus input = hears("Headset %1");
    input.clipping = true;
    const auto text = [&](const RecognitionStatus& state) {
        return sessionStatusText(input, state, Language::English);
    };
    EXPECT_EQ(text(running).text.toStdString(), "\"Headset %1\" is too loud and distorted");
    EXPECT_EQ(text(lost).text.toStdString(), "reconnecting: the speech service is out of reach · 12 s kept");
    EXPECT_EQ(text(lost).severity, Severity::Attention);
    input.muted = true;
    EXPECT_EQ(text(running).text.toStdString(), "\"Headset %1\" is muted");
    EXPECT_FALSE(text(running).hears);
    EXPECT_TRUE(text(lost).text.startsWith("reconnecting")) << "what is lost counts more";
    input.heardSound = true;
    EXPECT_TRUE(text(running).hears) << "muted behind what is heard";
    input.elsewhereUID = "sink.2";
    input.elsewhereName = "Speakers";
    EXPECT_EQ(text(running).text.toStdString(), "the call plays on \"Speakers\": listen there");
    EXPECT_EQ(text(running).actionUID, "sink.2");
    input.state = InputStatus::State::NoInput;
    EXPECT_EQ(text(running).severity, Severity::Problem);
    EXPECT_TRUE(text(running).action.isEmpty()) << "what was true of an input that is gone";
    input.state = InputStatus::State::Refused;
    input.kind = InputKind::Application;
    EXPECT_EQ(text(running).text.toStdString(), "this audio server cannot let one program be heard alone");
    EXPECT_EQ(text({State::Stopped, Cause::TokenRefused, {}, 0}).text.toStdString(),
              "recognition stopped: the token is refused");
    input.state = InputStatus::State::Ended;
    EXPECT_EQ(text({State::Finished, {}, {}, 0}).details.last().toStdString(), "Recognition has ended with it.");
}

TEST(SessionStatusTextTest, EveryCauseIsNamedWithAdviceAndItsDetailsInBothLanguages) {
    for (int cause = 1; cause <= static_cast<int>(Cause::UntrustedService); ++cause) {
        const RecognitionStatus stopped{State::Stopped, static_cast<Cause>(cause), {"code 7", "代码 7"}, 0};
        for (const Language language : {Language::English, Language::Chinese}) {
            const auto text = sessionStatusText(hears("Speakers"), stopped, language);
            EXPECT_GT(text.text.size(), QString::fromUtf8("识别已停止：").size()) << cause;
            EXPECT_EQ(text.advice.size(), 1) << cause;
            EXPECT_TRUE(text.details.last().endsWith(stopped.details.in(language)));
        }
    }
}

TEST(SessionPresenceTest, ASecondSessionKnowsOfTheFirstWhicheverEndsFirstAndNotOfAKilledOne) {
    const QTemporaryDir directory;
    const pid_t child = fork();
    if (child == 0) {
        const SessionPresence killed(directory.path());
        std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_FALSE(QDir(directory.path()).isEmpty()) << "its lock is left";
    auto first = std::make_unique<SessionPresence>(directory.path());
    EXPECT_FALSE(first->isSecond());
    const SessionPresence second(directory.path());
    EXPECT_TRUE(second.isSecond());
    first.reset();
    EXPECT_TRUE(SessionPresence(directory.path()).isSecond()) << "the second is still there";
    EXPECT_FALSE(SessionPresence(QString()).isSecond()) << "a directory that is not there";
}

} // namespace
} // namespace parlowen::testing
