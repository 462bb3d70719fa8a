// What one more word costs in a long session: main-thread time from a partial sentence, or a piece of an answer, until
// it is painted, with 10,000 transcript rows and 1,000 answers of 2,000 characters, against the same with 100 of each,
// and for an answer of 100,000 characters against one of 2,000; beside it a plain QListWidget and a QPlainTextEdit that
// do the same. The window is the real one, on the platform that draws into memory.

#include "Measure.h"
#include "OfflineSession.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <ctime>
#include <functional>

namespace {

using namespace parlowen;

constexpr int manyRows = 10'000;
constexpr int manyAnswers = 1'000;
constexpr int few = 100;
constexpr int answerLength = 2'000;
constexpr int longAnswer = 100'000;
constexpr int calls = 400;
constexpr int plainCalls = 60;
constexpr int slowCalls = 4; // a list that lays out everything takes a second for each
constexpr double targetRatio = 1.3;
constexpr double targetMilliseconds = 4;

const QString sentence = QStringLiteral("Could you walk me through a project that you are proud of, and why?");

QString answerText(int length = answerLength) {
    const QString part = QStringLiteral("先说结论：我会把写入改成队列，再用批处理降低延迟。Then I would measure it. ");
    return part.repeated(length / part.size() + 1).left(length);
}

/// Sees when a widget has been painted.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(QWidget* widget) { widget->installEventFilter(this); }
    bool isPainted = false;

private:
    bool eventFilter(QObject*, QEvent* event) override {
        isPainted |= event->type() == QEvent::Paint;
        return false;
    }
};

double threadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void settle() {
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
    }
}

/// Main-thread time of the change until the widget is painted and nothing is left to do.
double cost(QWidget* painted, const std::function<void()>& change) {
    PaintWatch watch(painted);
    const double start = threadMilliseconds();
    change();
    while (!watch.isPainted)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    settle();
    return threadMilliseconds() - start;
}

/// A session with so much in it.
class FilledSession {
public:
    FilledSession(int rows, int answers, int growingLength = answerLength) {
        session_.open();
        KXTranslationHistoryDetailsModel row;
        row.sourceText = sentence;
        session_.transcriptList().keepPlace([&] {
            for (int i = 0; i < rows; ++i)
                session_.transcript().finish(row);
        });
        session_.answerList().keepPlace([&] {
            for (int i = 1; i < answers; ++i) {
                session_.answers().append(i - answers + 1); // so that the first one asked for is the last
                session_.answers().grow(i - answers + 1, answerText());
            }
        });
        growing_ = session_.ask();
        growing_->append(answerText(growingLength));
        settle();
    }

    double partial(int call) {
        return cost(session_.transcriptList().viewport(),
                    [&] { session_.partial(sentence.left(10 + call % (sentence.size() - 10))); });
    }
    double piece() {
        return cost(session_.answerList().viewport(), [&] { growing_->append(QStringLiteral("再加一句。")); });
    }

private:
    bench::OfflineSession session_;
    std::shared_ptr<StreamModel> growing_;
};

/// A plain list of so many texts, the last of which changes.
class PlainList {
public:
    PlainList(int count, const QString& text) {
        list_.setWordWrap(true);
        list_.resize(968, 340);
        for (int i = 0; i < count; ++i)
            list_.addItem(text);
        list_.show();
        list_.scrollToBottom();
        settle();
    }
    double show(const QString& text) {
        return cost(list_.viewport(), [&] {
            list_.item(list_.count() - 1)->setText(text);
            list_.scrollToBottom();
        });
    }

private:
    QListWidget list_;
};

class PlainEdit {
public:
    PlainEdit(int count, const QString& text) {
        edit_.resize(968, 340);
        edit_.setPlainText(QStringList(count, text).join(u'\n'));
        edit_.show();
        settle();
    }
    double show(const QString& text) {
        return cost(edit_.viewport(), [&] {
            QTextCursor last(edit_.document());
            last.movePosition(QTextCursor::End);
            last.movePosition(QTextCursor::StartOfBlock, QTextCursor::KeepAnchor);
            last.insertText(text);
            edit_.verticalScrollBar()->setValue(edit_.verticalScrollBar()->maximum());
            edit_.viewport()->update();
        });
    }

private:
    QPlainTextEdit edit_;
};

std::vector<double> take(int count, const std::function<double(int)>& call) {
    std::vector<double> costs;
    costs.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        costs.push_back(call(i));
    return costs;
}

void print(const char* what, const std::vector<double>& costs) {
    std::printf("     %-42s median %8.3f ms, 99th percentile %8.3f ms\n", what, bench::median(costs),
                bench::percentile(costs, 0.99));
}

/// Times both by turns, so that whatever else the machine does meets both alike.
bool judgeGrowth(const char* what, const char* muchName, const std::function<double(int)>& much, const char* littleName,
                 const std::function<double(int)>& little) {
    std::vector<double> large;
    std::vector<double> small;
    for (int i = 0; i < calls; ++i) {
        small.push_back(little(i));
        large.push_back(much(i));
    }
    std::printf("%s\n", what);
    print(littleName, small);
    print(muchName, large);
    const bool flat =
        bench::judge("  the one against the other", bench::median(large) / bench::median(small), targetRatio, "x");
    return bench::judge("  99th percentile", bench::percentile(large, 0.99), targetMilliseconds, "ms") && flat;
}

void printPlain(const char* what, int count, const QString& text, int listCalls) {
    PlainList list(count, text);
    PlainEdit edit(count, text);
    const auto changed = [&text](int call) { return text + QString::number(call); };
    std::printf("%s\n", what);
    print("QListWidget", take(listCalls, [&](int call) { return list.show(changed(call)); }));
    print("QPlainTextEdit", take(plainCalls, [&](int call) { return edit.show(changed(call)); }));
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    bool met = true;
    {
        constexpr auto muchName = "with 10,000 rows and 1,000 answers";
        constexpr auto littleName = "with 100 of each";
        FilledSession small(few, few);
        FilledSession large(manyRows, manyAnswers);
        met = judgeGrowth(
            "one more partial sentence", muchName, [&](int call) { return large.partial(call); }, littleName,
            [&](int call) { return small.partial(call); });
        met = judgeGrowth(
                  "one more piece of an answer", muchName, [&](int) { return large.piece(); }, littleName,
                  [&](int) { return small.piece(); }) &&
              met;
        FilledSession lengthy(few, few, longAnswer);
        met = judgeGrowth(
                  "one more piece of a long answer", "100,000 characters", [&](int) { return lengthy.piece(); },
                  "2,000 characters", [&](int) { return small.piece(); }) &&
              met;
    }
    printPlain("plain widgets, 10,000 sentences", manyRows, sentence, plainCalls);
    printPlain("plain widgets, 1,000 answers", manyAnswers, answerText(), slowCalls);
    return met ? 0 : 1;
}
