// What a session leaves behind: the objects and the heap that are in use after the session window has been opened and
// closed 200 times, and the heap's growth, rows and answers aside, while an hour's interview is replayed at speed.

#include "Measure.h"
#include "OfflineSession.h"

#include <Foundation/BackgroundQueue.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QDeadlineTimer>
#include <QPixmapCache>
#include <malloc.h>

// Qt's own hooks for watching its objects, without its private headers.
extern Q_CORE_EXPORT quintptr qtHookData[];

namespace {

using namespace parlowen;

constexpr int addObjectHook = 3;
constexpr int removeObjectHook = 4;
constexpr int openings = 200;
constexpr int warmUp = 100;
constexpr int warmUpMinutes = 15;               // what is laid out is kept up to a limit
constexpr double targetObjectsAnOpening = 0.05; // those of a last request may still be there
constexpr double targetBytesAnOpening = 1024;   // Qt itself keeps some two hundred for a widget with a style sheet
constexpr double targetGrowth = 1.05;

const QString answerPiece = QStringLiteral("先说结论，再说理由。");
constexpr int piecesAnAnswer = 60;

std::atomic<int> objects = 0;

void watchObjects() {
    qtHookData[addObjectHook] = reinterpret_cast<quintptr>(+[](QObject*) { ++objects; });
    qtHookData[removeObjectHook] = reinterpret_cast<quintptr>(+[](QObject*) { --objects; });
}

std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void settle() {
    waitForBackground();
    do
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents));
}

/// Lets what a session does a moment after it has opened and closed come to its end.
void settleLater() {
    const QDeadlineTimer end(1000);
    while (!end.hasExpired())
        settle();
    QPixmapCache::clear(); // icons, kept up to a limit of their own
    malloc_trim(0);
}

/// Opens a session, lets it show something, and closes it.
void runShortly(bench::OfflineSession& session) {
    session.open();
    session.partial(QStringLiteral("tell me"));
    session.final(QStringLiteral("Tell me about yourself."));
    session.ask()->append(QStringLiteral("先说结论。"));
    session.window().grab();
    settle();
    session.close();
    settle();
}

bool judgeOpenings() {
    bench::OfflineSession session;
    for (int i = 0; i < warmUp; ++i)
        runShortly(session);
    settleLater();
    const int objectsBefore = objects;
    const auto widgetsBefore = QApplication::allWidgets().size();
    const std::size_t before = heapInUse();
    for (int i = 0; i < openings; ++i)
        runShortly(session);
    settleLater();
    const auto grown = static_cast<double>(heapInUse()) - static_cast<double>(before);
    std::printf("opened and closed %d times: heap %zu bytes before, grown by %.0f\n", openings, before, grown);
    bool met = bench::judge("objects left behind by an opening",
                            static_cast<double>(objects - objectsBefore) / openings, targetObjectsAnOpening, "");
    met = bench::judge("widgets left behind", static_cast<double>(QApplication::allWidgets().size() - widgetsBefore), 0,
                       "") &&
          met;
    return bench::judge("heap left behind by an opening", grown / openings, targetBytesAnOpening, "bytes") && met;
}

/// One minute of an interview: sixteen sentences of eight partial results each, and four questions with their answers.
void replayMinute(bench::OfflineSession& session, int minute) {
    const QString sentence = QStringLiteral("Minute %1: could you walk me through a project that you are proud of?");
    for (int i = 0; i < 16; ++i) {
        const QString text = sentence.arg(minute);
        for (int words = 1; words <= 8; ++words)
            session.partial(text.left(words * text.size() / 8));
        session.final(text);
        if (i % 4 != 0)
            continue;
        const auto answer = session.ask();
        for (int piece = 0; piece < piecesAnAnswer; ++piece)
            answer->append(answerPiece);
        settle();
    }
    settle();
}

/// What copies of all rows and answers take: the window's rows, and each answer as the session and the window keep it.
std::size_t dataBytes(bench::OfflineSession& session) {
    const std::size_t before = heapInUse();
    std::vector<KXTranslationHistoryDetailsModel> rows(static_cast<std::size_t>(session.transcript().rowCount()));
    for (int row = 0; row < session.transcript().rowCount(); ++row) {
        const QString text = session.transcript().index(row).data().toString();
        rows[static_cast<std::size_t>(row)].sourceText = QString(text.constData(), text.size());
    }
    std::vector<std::shared_ptr<StreamModel>> answers;
    std::vector<QString> shown;
    for (const auto& listed : session.page().streamModels()) {
        const auto copy = std::make_shared<StreamModel>(listed->id, listed->type, listed->txt, listed->role,
                                                        listed->original_language, listed->trans_language);
        shown.emplace_back();
        for (int piece = 0; piece < piecesAnAnswer; ++piece) {
            copy->append(answerPiece);
            shown.back() += answerPiece;
        }
        copy->setOnUpdate([](const QString&) {});
        answers.push_back(copy);
    }
    return heapInUse() - before;
}

bool judgeHour() {
    bench::OfflineSession session;
    session.open();
    int minute = 0;
    for (; minute < warmUpMinutes; ++minute)
        replayMinute(session, minute);
    settleLater();
    const std::size_t startData = dataBytes(session);
    const std::size_t start = heapInUse();
    for (; minute < warmUpMinutes + 60; ++minute)
        replayMinute(session, minute);
    settleLater();
    const std::size_t endData = dataBytes(session);
    const std::size_t end = heapInUse();
    std::printf("an hour's interview: heap %zu bytes at its start, %zu at its end; rows and answers %zu and %zu\n",
                start, end, startData, endData);
    return bench::judge("heap after an hour, rows and answers aside",
                        static_cast<double>(end - endData) / static_cast<double>(start - startData), targetGrowth, "x");
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    watchObjects();
    const QApplication application(argc, argv);
    const bool met = judgeOpenings();
    return judgeHour() && met ? 0 : 1;
}
