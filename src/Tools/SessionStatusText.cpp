#include "SessionStatusText.h"

namespace parlowen {

namespace {

using Cause = RecognitionStatus::Cause;
using Input = InputStatus::State;
using Recognition = RecognitionStatus::State;
using Severity = SessionStatusText::Severity;

/// A cause in a few words, and what to do about it.
struct CauseWords {
    Cause cause;
    Phrase name;
    Phrase advice;
};

constexpr CauseWords causes[] = {
    {Cause::NoNetwork,
     {"the speech service is out of reach", "连不上识别服务"},
     {"Look at the network; the sound that was kept is made up for.", "请检查网络；连上后会补上已保留的声音。"}},
    {Cause::ServiceBusy,
     {"the speech service is busy", "识别服务繁忙"},
     {"It is tried again by itself; close other sessions of yours.", "会自动再试；如有其他面试窗口，请先关闭。"}},
    {Cause::ServiceFailed,
     {"the speech service failed", "识别服务出错"},
     {"It is tried again by itself.", "会自动再试，无需操作。"}},
    {Cause::LocalServiceStarts,
     {"the local service is being started", "本地服务正在启动"},
     {"It goes on by itself in a moment.", "稍候会自动继续，无需操作。"}},
    {Cause::TokenMissing,
     {"the backend gives no token", "后端没有给出令牌"},
     {"Look at the network and sign in again.", "请检查网络，并重新登录。"}},
    {Cause::TokenRefused,
     {"the token is refused", "令牌被拒绝"},
     {"Sign in again and start anew.", "请重新登录后再开始面试。"}},
    {Cause::Denied,
     {"no right, or no quota left", "没有权限，或额度已用完"},
     {"Look at the account's quota.", "请查看账户的额度。"}},
    {Cause::BadSettings,
     {"the languages are not supported", "不支持所选语言"},
     {"Choose another language and start anew.", "请换一种语言后再开始面试。"}},
    {Cause::NoSuchService,
     {"there is no speech service at its address", "该地址没有识别服务"},
     {"Look at the address of the backend.", "请检查后端的地址。"}},
    {Cause::UntrustedService,
     {"the service's certificate is not trusted", "识别服务的证书不受信任"},
     {"Look at the certificate and at the clock of this computer.", "请检查证书和本机的时间。"}},
};

constexpr Phrase soundCheck{"\"parlowen --check-audio\" says what a session would hear.",
                            "运行 parlowen --check-audio 可查看会听到什么。"};

const CauseWords* wordsFor(Cause cause) {
    for (const CauseWords& words : causes) {
        if (words.cause == cause)
            return &words;
    }
    return nullptr;
}

class Words {
public:
    Words(const InputStatus& input, const RecognitionStatus& recognition, Language language)
        : input_(input)
        , recognition_(recognition)
        , language_(language) {}

    /// The most important thing comes first: what must be changed, what passes, what is merely so.
    SessionStatusText all() {
        if (recognition_.state == Recognition::Stopped)
            recognitionStopped();
        else if (input_.state == Input::ServerLost || input_.state == Input::Refused || input_.state == Input::NoInput)
            nothingToHear();
        else if (input_.state == Input::InputLost)
            inputLost();
        else if (recognition_.state == Recognition::Reconnecting)
            reconnecting();
        else if (isListening() && !input_.elsewhereUID.isEmpty())
            elsewhere();
        else if (isMuted())
            muted();
        else if (isListening() && input_.clipping)
            clipping();
        else
            plain();
        result_.hears = isListening() && !isMuted();
        addDetails();
        return result_;
    }

private:
    bool isListening() const { return input_.state == Input::Listening; }
    /// Some outputs are muted behind what is heard of them, which goes on then.
    bool isMuted() const { return isListening() && input_.muted && (input_.quietSeconds > 0 || !input_.heardSound); }
    template<class... Arguments>
    QString in(const Phrase& phrase, const Arguments&... arguments) const {
        return phrase.in(language_, arguments...);
    }
    void say(Severity severity, const QString& text) {
        result_.severity = severity;
        result_.text = text;
    }
    void advise(const QString& text) { result_.advice << text; }
    /// The name of what is heard, or what it is where it has none.
    QString name() const {
        if (!input_.name.isEmpty())
            return input_.name;
        switch (input_.kind) {
        case InputKind::SystemSound:
            return in({"the output", "电脑的输出"});
        case InputKind::Microphone:
            return in({"the microphone", "麦克风"});
        case InputKind::Application:
            break;
        }
        return in({"the program", "所选程序"});
    }
    QString causeName() const {
        const CauseWords* words = wordsFor(recognition_.cause);
        return words == nullptr ? QString() : in(words->name);
    }

    void recognitionStopped() {
        const QString cause = causeName();
        say(Severity::Problem, cause.isEmpty() ? in({"recognition stopped", "识别已停止"})
                                               : in({"recognition stopped: %1", "识别已停止：%1"}, cause));
        adviseOnCause();
    }

    void adviseOnCause() {
        if (const CauseWords* words = wordsFor(recognition_.cause))
            advise(in(words->advice));
    }

    void nothingToHear() {
        if (input_.state == Input::ServerLost) {
            say(Severity::Problem, in({"the audio server is gone", "音频服务已断开"}));
            advise(
                in({"Start PulseAudio, or PipeWire with its PulseAudio service; the session goes on when it is back.",
                    "请启动 PulseAudio，或带 PulseAudio 服务的 PipeWire；恢复后会话自动继续。"}));
        } else if (input_.state == Input::Refused) {
            refused();
        } else if (input_.kind == InputKind::Application) {
            say(Severity::Attention, in({"waiting for \"%1\" to play", "等待“%1”开始播放"}, name()));
            advise(adviceOnNoInput());
        } else {
            say(Severity::Problem, in({"there is nothing to record from", "没有可用的输入设备"}));
            advise(adviceOnNoInput());
        }
        advise(in(soundCheck));
    }

    void refused() {
        if (input_.kind == InputKind::Application) {
            say(Severity::Problem,
                in({"this audio server cannot let one program be heard alone", "音频服务不支持单独收听一个程序"}));
            advise(in({"Hear all that is played instead: parlowen --interview system.",
                       "请改为收听全部播放声音：parlowen --interview system。"}));
            return;
        }
        say(Severity::Problem, in({"the audio server does not let Parlowen record", "音频服务不允许录音"}));
        if (!input_.problem.isEmpty())
            advise(in({"It says: %1.", "服务返回：%1。"}, input_.problem));
        advise(in({"Allow it in the desktop's privacy settings, or in those of the sandbox.",
                   "请在系统的隐私设置或沙箱设置中允许录音。"}));
    }

    QString adviceOnNoInput() const {
        switch (input_.kind) {
        case InputKind::SystemSound:
            return in({"Plug in or switch on an output; the session goes on when there is one.",
                       "请接上或启用一个输出设备，之后会话自动继续。"});
        case InputKind::Microphone:
            return in({"Plug in or switch on a microphone; the session goes on when there is one.",
                       "请接上或启用一个麦克风，之后会话自动继续。"});
        case InputKind::Application:
            break;
        }
        return in(
            {"Let the program play; the session goes on when it does.", "请让该程序开始播放，之后会话自动继续。"});
    }

    void inputLost() {
        say(Severity::Attention, in({"\"%1\" is gone, looking for another", "“%1”已断开，正在换用其他设备"}, name()));
        advise(in({"The next one is taken by itself.", "会自动改用下一个设备，无需操作。"}));
    }

    void elsewhere() {
        say(Severity::Attention,
            in({"the call plays on \"%1\": listen there", "通话在“%1”上播放：点此收听"}, input_.elsewhereName));
        result_.action = in({"Listen to \"%1\"", "改听“%1”"}, input_.elsewhereName);
        result_.actionUID = input_.elsewhereUID;
        advise(
            in({"Listen there, or let the call play on \"%1\".", "改听那里，或在通话软件里把输出改为“%1”。"}, name()));
    }

    void muted() {
        say(Severity::Attention, in({"\"%1\" is muted", "“%1”已静音"}, name()));
        advise(in({"Unmute it in the sound settings.", "请在系统的声音设置里取消静音。"}));
    }

    void reconnecting() {
        const int kept = recognition_.waitingSeconds;
        const bool isLocal = recognition_.cause == Cause::LocalServiceStarts;
        QString text = isLocal ? in({"starting the local service anew", "正在重新启动本地服务"})
                               : in({"reconnecting", "正在重连"});
        if (const QString cause = causeName(); !isLocal && !cause.isEmpty())
            text = in({"%1: %2", "%1：%2"}, text, cause);
        if (kept > 0)
            text = in({"%1 · %2 s kept", "%1 · 已保留 %2 秒"}, text, QString::number(kept));
        say(Severity::Attention, text);
        adviseOnCause();
    }

    void clipping() {
        say(Severity::Attention, in({"\"%1\" is too loud and distorted", "“%1”声音过大，已失真"}, name()));
        advise(in({"Turn it down a little in the sound settings.", "请在系统的声音设置里把音量调低一些。"}));
    }

    void plain() {
        const int word = input_.heardSound ? quietInACall : quietBeforeACall;
        if (input_.state == Input::Ended)
            say(Severity::Plain, in({"the recording is over · %1", "录音已播放完 · %1"}, name()));
        else if (input_.state == Input::Opening)
            say(Severity::Plain, in({"opening the sound", "正在打开声音"}));
        else if (recognition_.state == Recognition::Starting)
            say(Severity::Plain, recognition_.cause == Cause::LocalServiceStarts
                                     ? in({"starting the local service", "正在启动本地服务"})
                                     : in({"connecting to the speech service", "正在连接识别服务"}));
        else if (input_.quietSeconds >= word)
            quiet();
        else
            say(Severity::Plain, heard());
    }

    void quiet() {
        say(Severity::Plain, in({"quiet for %1 s", "无声 %1 秒"}, QString::number(input_.quietSeconds)));
        if (input_.heardSound)
            return;
        advise(input_.kind == InputKind::Microphone
                   ? in({"Nothing was said yet. If it stays so, choose another microphone in the sound settings.",
                         "还没有人说话。若一直如此，请在系统的声音设置里换一个麦克风。"})
                   : in({"Nothing was played yet. If it stays so, see where the call's program plays.",
                         "还没有播放声音。若一直如此，请查看通话软件的输出设备。"}));
        advise(in(soundCheck));
    }

    QString heard() const {
        switch (input_.kind) {
        case InputKind::SystemSound:
            return in({"computer's sound · %1", "电脑声音 · %1"}, name());
        case InputKind::Microphone:
            return in({"microphone · %1", "麦克风 · %1"}, name());
        case InputKind::Application:
            break;
        }
        return name();
    }

    void addDetails() {
        result_.details << inputSentence();
        if (!input_.problem.isEmpty())
            result_.details << in({"The audio server says: %1", "音频服务的说明：%1"}, input_.problem);
        result_.details << recognitionSentence();
        if (!recognition_.details.isEmpty())
            result_.details << in({"More exactly: %1", "详细信息：%1"}, recognition_.details.in(language_));
        if (recognition_.waitingSeconds > 0 && recognition_.state != Recognition::Stopped)
            result_.details << in({"%1 s of sound are kept and written out later.", "已保留 %1 秒声音，稍后补上文字。"},
                                  QString::number(recognition_.waitingSeconds));
    }

    QString inputSentence() const {
        switch (input_.state) {
        case Input::Opening:
            return in({"The sound is being opened.", "正在打开声音。"});
        case Input::Listening:
            return in({"Heard: %1.", "正在听：%1。"}, heard());
        case Input::Ended:
            return in({"The recording is over: %1.", "录音已播放完：%1。"}, name());
        case Input::InputLost:
        case Input::NoInput:
        case Input::ServerLost:
        case Input::Refused:
            break;
        }
        return input_.name.isEmpty()
                   ? in({"Nothing is heard now.", "现在听不到声音。"})
                   : in({"Nothing is heard now; last it was: %1.", "现在听不到声音；之前听的是：%1。"}, heard());
    }

    QString recognitionSentence() const {
        const QString cause = causeName();
        switch (recognition_.state) {
        case Recognition::Starting:
            return in({"Recognition is being started.", "识别正在启动。"});
        case Recognition::Recognizing:
            return in({"Recognition runs.", "识别正常进行。"});
        case Recognition::Finished:
            return in({"Recognition has ended with it.", "识别已随之结束。"});
        case Recognition::Reconnecting:
            return cause.isEmpty() ? in({"Recognition is being connected again.", "识别正在重新连接。"})
                                   : in({"Recognition is being connected again: %1.", "识别正在重新连接：%1。"}, cause);
        case Recognition::Stopped:
            break;
        }
        return cause.isEmpty() ? in({"Recognition has stopped.", "识别已停止。"})
                               : in({"Recognition has stopped: %1.", "识别已停止：%1。"}, cause);
    }

    const InputStatus& input_;
    const RecognitionStatus& recognition_;
    const Language language_;
    SessionStatusText result_;
};

} // namespace

SessionStatusText sessionStatusText(const InputStatus& input, const RecognitionStatus& recognition, Language language) {
    return Words(input, recognition, language).all();
}

QString headline(const SessionStatusText& words, const InputStatus& input) {
    return words.text.isEmpty() || words.text == input.name ? words.text
                                                            : words.text.front().toUpper() + words.text.mid(1);
}

} // namespace parlowen
