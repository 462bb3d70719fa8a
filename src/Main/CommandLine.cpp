#include "CommandLine.h"

#include "Backend.h"
#include "Pages.h"

#include <Foundation/Bundle.h>
#include <Foundation/ChosenLanguage.h>
#include <Foundation/Phrase.h>

#include <QCommandLineParser>
#include <algorithm>
#include <array>

namespace parlowen {

namespace {

constexpr Phrase help{R"(Usage: parlowen [--page NAME | --start interview|rehearsal] [--backend URL]
   or: parlowen --rehearse FILE [OPTIONS]
   or: parlowen --interview system|microphone|app:NAME [OPTIONS]
   or: parlowen --check-audio [--listen]
   or: parlowen --check-answers [--backend URL]

Listens to an interview, shows what is said, and suggests an answer for each question. Without a command it opens its
window; where it runs already, that window comes to the front and does what is asked, with the backend that it has.

  --page NAME          show this page in the window: setup, account, settings, about, or login
  --start WHAT         start an interview in the window as it is set up, or a rehearsal with the sample interview
  --rehearse FILE      run a session on a recorded interview (WAV, FLAC or Ogg) instead of a call
  --interview SOURCE   run a session on the computer's own sound (system), on the microphone, or on what one program
                       plays (app:NAME, such as app:Firefox); leaves all audio devices as they are
  --check-audio        say what a session would hear, what is missing and what to do
  --listen             with --check-audio: play a short chirp and tell whether it is heard, how loud and how late
  --check-answers      ask one question, print the answer and the times of its first piece and of the whole

Options of a session:

  --headless           without a window or a display: print each finished sentence, and each answer as it grows;
                       every question is asked at once, whatever the stored mode is, unless --manual is given
  --json               print one JSON object a line and event: kind, time (seconds since recognition began),
                       text, row
  --screenshot FILE    write a picture of the session window at the end (PNG); with --headless it is drawn off screen
  --language KEY       the language spoken, such as en-US, in place of the stored one
  --translate-to KEY   translate into this language, such as es
  --manual             collect the questions; a headless rehearsal asks them together at the end
  --backend URL        talk to this backend, such as https://example.org/api/v1
  --verbose            write the console log to standard error: every request and reply, without passwords,
                       codes and tokens

  --ui-language en|zh  the language of windows and of what is printed, in place of the stored one; without either,
                       windows speak Chinese, and what is printed follows the locale
  --help               this page
  --version            the version

A session signs in to the local service by itself when nobody is signed in, and never changes stored settings; only an
interview keeps the text size and the opacity that were set in its window. Without --backend, the environment variable
PARLOWEN_API_BASE_URL names the backend, then the stored setting fuwuqi_key; without any, the local service is started.

Exit status: 0 when recognition ran (or the check found all well), 1 when it did not, the output or the picture could
not be written, or the program that runs already does not do all that is asked, 2 for a wrong command line, a file that
cannot be played, or a window without a display, 3 when a headless session heard all and an answer failed.
)",
                      R"(用法：parlowen [--page 名称 | --start interview|rehearsal] [--backend 网址]
      parlowen --rehearse 文件 [选项]
      parlowen --interview system|microphone|app:名称 [选项]
      parlowen --check-audio [--listen]
      parlowen --check-answers [--backend 网址]

收听面试，显示对话文字，并为每个问题给出参考回答。没有命令时打开窗口；程序已在运行时，窗口回到前面，用它
已有的后端执行所要求的操作。

  --page 名称          在窗口中显示这个页面：setup、account、settings、about 或 login
  --start 内容         在窗口中按已有设置开始面试（interview），或用示例录音排练（rehearsal）
  --rehearse 文件      用面试录音（WAV、FLAC 或 Ogg）代替通话运行一次会话
  --interview 来源     收听电脑播放的声音（system）、麦克风（microphone），或某个程序播放的声音
                       （app:名称，例如 app:Firefox）；不改动任何音频设备
  --check-audio        说明会话会听到什么、缺少什么、该怎么做
  --listen             与 --check-audio 一起使用：播放一声短音，说明能否听到、电平和延迟
  --check-answers      提一个问题，打印回答，以及首段和完整回答的用时

会话选项：

  --headless           不需要窗口和显示器：打印每个句子，以及逐步生成的回答；除非加上 --manual，
                       无论已保存的模式如何，每个问题都会立即提问
  --json               每行打印一个 JSON 对象：kind、time（识别开始后的秒数）、text、row
  --screenshot 文件    结束时保存会话窗口的图片（PNG）；与 --headless 一起使用时不显示窗口
  --language 代码      所说的语言，例如 en-US，代替已保存的设置
  --translate-to 代码  翻译成这种语言，例如 es
  --manual             先收集问题；无窗口的排练在结束时一并提问
  --backend 网址       使用这个后端，例如 https://example.org/api/v1
  --verbose            把日志写到标准错误：每个请求和回复，不含密码、验证码和令牌

  --ui-language en|zh  窗口和打印内容所用的语言，代替已保存的设置；两者都没有时，窗口用中文，
                       打印内容随系统的语言设置
  --help               本页
  --version            版本

没有登录时，会话自动登录本地服务，并且不改动已保存的设置；只有面试会保存在窗口里调整的字号和
不透明度。没有 --backend 时，后端由环境变量 PARLOWEN_API_BASE_URL 指定，其次由已保存的设置 fuwuqi_key 指定；
都没有时启动本地服务。

退出状态：0 表示识别已运行（或检查一切正常）；1 表示没有运行，输出、图片无法写入，或者已在运行的
程序没有完成全部要求；2 表示命令行有误、文件无法播放，或没有显示器可打开窗口；3 表示无窗口的会话已听完，但有
回答失败。
)"};

/// The options that choose what is done; at most one is given.
const std::array<const char*, 6> commands{"rehearse", "interview", "page", "start", "check-audio", "check-answers"};

constexpr Phrase refused{"parlowen: %1\nTry 'parlowen --help'.\n", "parlowen：%1\n请看 parlowen --help。\n"};
constexpr Phrase needsFile{"--rehearse needs the name of a file", "--rehearse 需要文件名"};
constexpr Phrase wrongSource{"--interview takes system, microphone or app:NAME, not '%1'",
                             "--interview 的来源是 system、microphone 或 app:名称，不能是“%1”"};
constexpr Phrase unknownPage{"there is no page '%1'; the pages are: %2", "没有“%1”页面；可用的页面：%2"};
constexpr Phrase unknownOption{"there is no option '%1'", "没有“%1”这个选项"};
constexpr Phrase wrongUiLanguage{"--ui-language takes en or zh, not '%1'", "--ui-language 只能是 en 或 zh，不能是“%1”"};
constexpr Phrase needsValue{"--%1 needs a value", "--%1 需要一个值"};
constexpr Phrase takesNoValue{"--%1 takes no value", "--%1 不能带值"};
constexpr Phrase listenAlone{"--listen goes with --check-audio", "--listen 要与 --check-audio 一起使用"};
constexpr Phrase optionOfSession{"--%1 goes with a session", "--%1 只用于会话"};
constexpr Phrase unexpected{"unexpected argument '%1'", "多余的参数“%1”"};
constexpr Phrase wrongStart{"--start takes interview or rehearsal, not '%1'",
                            "--start 的内容是 interview 或 rehearsal，不能是“%1”"};
constexpr Phrase notTogether{"--%1 and --%2 do not go together", "--%1 与 --%2 不能一起使用"};

CommandLine refusal(const QString& problem) {
    CommandLine line;
    line.message = refused.here(problem);
    return line;
}

CommandLine printing(const QString& text) {
    CommandLine line;
    line.action = CommandLine::Action::Print;
    line.message = text;
    return line;
}

constexpr std::array<const char*, 9> withValue{"rehearse",    "interview", "page",     "start",       "screenshot",
                                               "ui-language", "backend",   "language", "translate-to"};
constexpr std::array<const char*, 9> withoutValue{"check-audio", "check-answers", "listen", "headless", "json",
                                                  "manual",      "verbose",       "help",   "version"};

void addOptions(QCommandLineParser& parser) {
    for (const char* name : withValue)
        parser.addOption({QString::fromLatin1(name), {}, QStringLiteral("value")});
    for (const char* name : withoutValue)
        parser.addOption({QString::fromLatin1(name), {}});
}

/// The parser's own texts are English and say "Missing value after '--language'."
QString problemOf(const QCommandLineParser& parser) {
    if (!parser.unknownOptionNames().isEmpty())
        return unknownOption.here(parser.unknownOptionNames().constFirst());
    QString name = parser.errorText().section(u'\'', 1, 1);
    while (name.startsWith(u'-'))
        name.remove(0, 1);
    const bool missing = std::find(withValue.begin(), withValue.end(), name) != withValue.end();
    return (missing ? needsValue : takesNoValue).here(name);
}

CommandLine sessionLine(const QCommandLineParser& parser) {
    CommandLine line;
    line.headless = parser.isSet(QStringLiteral("headless"));
    line.json = parser.isSet(QStringLiteral("json"));
    line.manual = parser.isSet(QStringLiteral("manual"));
    line.verbose = parser.isSet(QStringLiteral("verbose"));
    line.screenshot = parser.value(QStringLiteral("screenshot"));
    line.backend = parser.value(QStringLiteral("backend"));
    line.language = parser.value(QStringLiteral("language"));
    line.translateTo = parser.value(QStringLiteral("translate-to"));
    return line;
}

CommandLine command(const QString& name, const QCommandLineParser& parser) {
    CommandLine line = sessionLine(parser);
    line.listen = parser.isSet(QStringLiteral("listen"));
    if (name == QLatin1String("rehearse")) {
        line.action = CommandLine::Action::Rehearse;
        line.file = parser.value(name);
        if (line.file.isEmpty())
            return refusal(needsFile.here());
    } else if (name == QLatin1String("interview")) {
        line.action = CommandLine::Action::Interview;
        const QString source = parser.value(name);
        if (source.startsWith(QLatin1String("app:")))
            line.application = source.mid(4).trimmed();
        line.systemAudio = source == QLatin1String("system") || !line.application.isEmpty();
        if (!line.systemAudio && source != QLatin1String("microphone"))
            return refusal(wrongSource.here(source));
    } else if (name.isEmpty()) {
        line.action = CommandLine::Action::Shell;
    } else if (name == QLatin1String("start")) {
        line.action = CommandLine::Action::Shell;
        const QString what = parser.value(name);
        if (what != QLatin1String("interview") && what != QLatin1String("rehearsal"))
            return refusal(wrongStart.here(what));
        line.start = what == QLatin1String("interview") ? CommandLine::Start::Interview : CommandLine::Start::Rehearsal;
    } else if (name == QLatin1String("page")) {
        line.action = CommandLine::Action::Shell;
        line.page = parser.value(name);
        if (findPage(line.page) == nullptr)
            return refusal(unknownPage.here(line.page, pageNames()));
    } else {
        line.action =
            name == QLatin1String("check-audio") ? CommandLine::Action::CheckAudio : CommandLine::Action::CheckAnswers;
    }
    if (line.listen && line.action != CommandLine::Action::CheckAudio)
        return refusal(listenAlone.here());
    const bool session = line.action == CommandLine::Action::Rehearse || line.action == CommandLine::Action::Interview;
    const bool reaches = line.action != CommandLine::Action::CheckAudio;
    if (!reaches && parser.isSet(QStringLiteral("backend")))
        return refusal(optionOfSession.here(QStringLiteral("backend")));
    if (parser.isSet(QStringLiteral("backend"))) {
        const Backend backend(line.backend, {}, LocalService::Place{}); // which starts nothing
        if (const Result<void> usable = backend.checkAddress(); !usable)
            return refusal(usable.error());
    }
    for (const char* option : {"headless", "json", "screenshot", "language", "translate-to", "manual"}) {
        if (!session && parser.isSet(QString::fromLatin1(option)))
            return refusal(optionOfSession.here(QString::fromLatin1(option)));
    }
    return line;
}

} // namespace

std::optional<int> CommandLine::pageIndex() const {
    const PageEntry* entry = findPage(page);
    return entry == nullptr ? std::nullopt : std::optional(entry->index);
}

CommandLine parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments))
        return refusal(problemOf(parser));
    if (parser.isSet(QStringLiteral("ui-language"))) {
        const QString code = parser.value(QStringLiteral("ui-language"));
        if (!languageOfCode(code))
            return refusal(wrongUiLanguage.here(code));
        chooseLanguage(languageOfCode(code));
    }
    if (parser.isSet(QStringLiteral("help")))
        return printing(help.here());
    if (parser.isSet(QStringLiteral("version")))
        return printing(QStringLiteral("parlowen %1\n").arg(Bundle::shortVersion()));
    if (!parser.positionalArguments().isEmpty())
        return refusal(unexpected.here(parser.positionalArguments().constFirst()));
    QStringList chosen;
    for (const char* name : commands) {
        if (parser.isSet(QString::fromLatin1(name)))
            chosen << QString::fromLatin1(name);
    }
    if (chosen.size() > 1)
        return refusal(notTogether.here(chosen[0], chosen[1]));
    return command(chosen.value(0), parser);
}

} // namespace parlowen
