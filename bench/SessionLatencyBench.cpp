// How fast a session shows what is known: from the engine's final result to the painted row, and from there to the
// painted first piece of its answer. The service runs in this process, with everything real but the engine, which says
// a question several times a second and notes when; between the two are TLS, the speech protocol and the answer stream
// on the loopback interface.

#include "Measure.h"
#include "Program/Service.h"
#include "Speech/Gateway.h"

#include <AVFoundation/CaptureSource.h>
#include <Foundation/BackgroundQueue.h>
#include <Main/Composition.h>
#include <Main/LocalService.h>
#include <Main/SessionSettings.h>
#include <Main/SessionSignIn.h>
#include <Network/ApiBase.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/View/MeasuredList.h>
#include <Tools/StreamModel.h>

#include <QApplication>
#include <QTemporaryDir>
#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace {

using namespace parlowen;
using Clock = std::chrono::steady_clock;

constexpr int questions = 120;
constexpr auto pause = std::chrono::milliseconds(150);
constexpr double targetMilliseconds = 50;

/// When the engine said each question, by number from 0.
class Spoken {
public:
    void note() {
        const std::lock_guard lock(mutex_);
        times_.push_back(Clock::now());
    }
    Clock::time_point at(std::size_t question) {
        const std::lock_guard lock(mutex_);
        return times_.at(question);
    }

private:
    std::mutex mutex_;
    std::vector<Clock::time_point> times_;
};

/// Hears nothing and says its questions.
class TalkingStream : public service::RecognitionStream {
public:
    TalkingStream(service::RecognitionSink sink, std::shared_ptr<Spoken> spoken)
        : thread_([this, sink = std::move(sink), spoken = std::move(spoken)] { talk(sink, *spoken); }) {}
    ~TalkingStream() override {
        ending_ = true;
        thread_.join();
    }
    bool accept(std::span<const std::int16_t>) override { return true; }
    void finish() override {}

private:
    void talk(const service::RecognitionSink& sink, Spoken& spoken) const {
        using Kind = service::RecognitionEvent::Kind;
        for (int i = 0; i < questions && !ending_; ++i) {
            const service::Ticks offset = service::Ticks{1'500'000} * i;
            std::this_thread::sleep_for(pause / 2);
            sink({Kind::SpeechStart, {}, offset, 0});
            sink({Kind::Partial, "Why do you want to", offset, 500'000});
            std::this_thread::sleep_for(pause / 2);
            spoken.note();
            sink({Kind::Final, "Why do you want to work here?", offset, 1'000'000});
        }
    }

    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

class TalkingEngine : public service::RecognitionEngine {
public:
    explicit TalkingEngine(std::shared_ptr<Spoken> spoken)
        : spoken_(std::move(spoken)) {}
    std::vector<std::string> locales() const override { return {"en-US"}; }
    std::unique_ptr<service::RecognitionStream> open(std::string_view, service::RecognitionSink sink) override {
        return std::make_unique<TalkingStream>(std::move(sink), spoken_);
    }

private:
    std::shared_ptr<Spoken> spoken_;
};

/// Delivers nothing: the engine does not listen.
class SilentSource : public CaptureSource {
public:
    std::optional<AVAudioFormat> format() override {
        return AVAudioFormat::make(AVAudioCommonFormat::Float32, 48'000, 2, true);
    }
    Result<void> start(std::uint32_t, Sink) override { return {}; }
    void stop() override {}
};

/// Calls back once the next paint of a widget is done.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(QWidget* widget) { widget->installEventFilter(this); }
    void afterNextPaint(std::function<void()> call) { waiting_.push_back(std::move(call)); }

private:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !waiting_.empty()) {
            // The filter comes before the painting: what is queued here runs after it.
            QMetaObject::invokeMethod(
                watched,
                [calls = std::exchange(waiting_, {})] {
                    std::ranges::for_each(calls, [](const auto& call) { call(); });
                },
                Qt::QueuedConnection);
        }
        return false;
    }
    std::vector<std::function<void()>> waiting_;
};

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }

/// The session under measurement and its figures.
class Measurement {
public:
    Measurement(Composition& composition, std::shared_ptr<Spoken> spoken)
        : spoken_(std::move(spoken))
        , window_(Composition::openWindow(std::make_unique<AIInterviewDetailController>(
              composition.sessionServices([] { return std::make_unique<SilentSource>(); }, router_, status_)))) {
        const QList<MeasuredList*> lists = window_->findChildren<MeasuredList*>();
        for (MeasuredList* list : lists)
            watches_.push_back(std::make_unique<PaintWatch>(list->viewport()));
        QObject::connect(window_->controller(), &AIInterviewDetailController::happened,
                         [this](const SessionEvent& event) {
                             if (const auto* sentence = std::get_if<session::Sentence>(&event))
                                 rowCame(sentence->number - 1);
                             else if (const auto* answer = std::get_if<session::AnswerPiece>(&event))
                                 answerGrew(answer->number - 1);
                         });
        window_->show();
    }

    bool report() const {
        std::printf("rows %zu, first pieces %zu\n", toRow_.size(), toAnswer_.size());
        bool met = toRow_.size() == questions && toAnswer_.size() == questions;
        for (const auto& [what, values] : {std::pair{"final result to painted row", &toRow_},
                                           std::pair{"painted row to painted first piece", &toAnswer_}}) {
            std::printf("     %s: median %.2f ms, longest %.2f ms\n", what, bench::median(*values),
                        bench::percentile(*values, 1));
            met =
                bench::judge(what, bench::percentile(*values, 0.95), targetMilliseconds, "ms (95th percentile)") && met;
        }
        return met;
    }

    bool complete() const { return toAnswer_.size() == questions; }
    void close() { window_->end(); }

private:
    void rowCame(int index) {
        paintOf([this, index] {
            const Clock::time_point now = Clock::now();
            rowAt_[index] = now;
            toRow_.push_back(milliseconds(now - spoken_->at(static_cast<std::size_t>(index))));
        });
    }
    void answerGrew(int answer) {
        if (!begun_.insert(answer).second)
            return;
        paintOf([this, answer] {
            const Clock::time_point now = Clock::now();
            const auto row = rowAt_.find(answer);
            toAnswer_.push_back(row == rowAt_.end() ? 0 : milliseconds(now - row->second));
        });
    }
    // Whichever of the two lists paints first: a change repaints its own.
    void paintOf(const std::function<void()>& call) {
        const auto once = std::make_shared<bool>(false);
        for (const auto& watch : watches_) {
            watch->afterNextPaint([call, once] {
                if (!std::exchange(*once, true))
                    call();
            });
        }
    }

    std::shared_ptr<Spoken> spoken_;
    NoAudioRouting router_;
    SessionStatus status_;
    std::unique_ptr<SessionWindow> window_;
    std::vector<std::unique_ptr<PaintWatch>> watches_;
    std::map<int, Clock::time_point> rowAt_;
    std::set<int> begun_;
    std::vector<double> toRow_;
    std::vector<double> toAnswer_;
};

service::Service::Tuning talkingTuning(const std::shared_ptr<Spoken>& spoken) {
    service::Service::Tuning tuning;
    tuning.speech = [spoken] {
        auto speech = std::make_unique<service::SpeechService>();
        speech->engines.add(std::make_shared<TalkingEngine>(spoken));
        return speech;
    };
    return tuning;
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds bound) {
    const Clock::time_point end = Clock::now() + bound;
    while (!condition() && Clock::now() < end)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 5);
    return condition();
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    const QTemporaryDir data;
    const auto spoken = std::make_shared<Spoken>();
    service::ServiceOptions options;
    options.createAccounts = true;
    options.port = 0;
    options.data = data.path().toStdString();
    const service::Service service(options, talkingTuning(spoken));
    ApiBase::setBuiltIn(QString::fromStdString(service.url()) + QStringLiteral("/api/v1"));

    SessionSettings settings;
    settings.applyAnswers({});
    settings.applyLanguages(
        {}, {{135, QStringLiteral("英语（美国）"), QStringLiteral("en-US"), QStringLiteral("en"), {}}}, {});
    const LocalTrust trust = LocalService::trustFor(QStringLiteral("127.0.0.1"), data.path());
    Composition composition(settings.settings());
    composition.use({ApiBase::builtIn(), trust});
    composition.setHooks({[](const QString& text) { qWarning("%s", qPrintable(text)); }, {}, {}});
    SessionSignIn signIn(composition.http(), settings.settings(), trust);
    bool signedIn = false;
    signIn.run([&signedIn](const Result<void>& result) { signedIn = result.has_value(); });
    if (!waitUntil([&signedIn] { return signedIn; }, std::chrono::seconds(10))) {
        std::puts("MISS nobody is signed in");
        return 1;
    }

    Measurement measurement(composition, spoken);
    waitUntil([&measurement] { return measurement.complete(); }, std::chrono::seconds(120));
    const bool met = measurement.report();
    measurement.close();
    waitForBackground();
    return met ? 0 : 1;
}
