// Whether the session window stays quick to the touch: while answers grow by 100 pieces a second for a minute, another
// thread posts events to the main thread, and the time is taken until each is served; the same is done with a
// QPlainTextEdit that takes the pieces as they come.

#include "Measure.h"
#include "OfflineSession.h"

#include <Foundation/MainQueue.h>

#include <QApplication>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTimer>
#include <mutex>
#include <thread>

namespace {

using namespace parlowen;
using Clock = std::chrono::steady_clock;

constexpr auto piecePause = std::chrono::milliseconds(10);
constexpr auto probePause = std::chrono::milliseconds(4);
constexpr int piecesAnAnswer = 250;
constexpr double targetMilliseconds = 16;

/// Calls at a fixed rate, on a thread of its own, for as long as it lives.
class Ticker {
public:
    Ticker(std::chrono::milliseconds pause, std::function<void()> call)
        : thread_([pause, call = std::move(call)](const std::stop_token& stop) {
            for (Clock::time_point next = Clock::now(); !stop.stop_requested(); next += pause) {
                std::this_thread::sleep_until(next);
                call();
            }
        }) {}

private:
    std::jthread thread_;
};

/// How long events waited, in milliseconds, while pieces were made for so many seconds.
std::vector<double> waits(int seconds, const std::function<void()>& makePiece) {
    std::vector<double> found;
    {
        const Ticker pieces(piecePause, makePiece);
        const Ticker probes(probePause, [&found] {
            onMain([&found, posted = Clock::now()] {
                found.push_back(std::chrono::duration<double, std::milli>(Clock::now() - posted).count());
            });
        });
        QTimer::singleShot(seconds * 1000, qApp, [] { QCoreApplication::exit(); });
        QCoreApplication::exec();
    }
    QCoreApplication::sendPostedEvents();
    return found;
}

void print(const char* what, const std::vector<double>& found) {
    std::printf("     %-16s %zu events, median %.3f ms, 95th percentile %.3f ms, longest %.3f ms\n", what, found.size(),
                bench::median(found), bench::percentile(found, 0.95), bench::percentile(found, 1));
}

std::vector<double> sessionWaits(int seconds, const QString& piece) {
    bench::OfflineSession session;
    session.open();
    int made = 0;
    std::mutex mutex;
    std::shared_ptr<StreamModel> growing = session.ask();
    return waits(seconds, [&] {
        const std::lock_guard lock(mutex);
        growing->append(piece);
        if (++made % piecesAnAnswer == 0)
            onMain([&] {
                const std::shared_ptr<StreamModel> next = session.ask();
                const std::lock_guard swap(mutex);
                growing = next;
            });
    });
}

std::vector<double> editWaits(int seconds, const QString& piece) {
    QPlainTextEdit edit;
    edit.resize(968, 340);
    edit.show();
    return waits(seconds, [&] {
        onMain([&edit, &piece] {
            QTextCursor end(edit.document());
            end.movePosition(QTextCursor::End);
            end.insertText(piece);
            edit.verticalScrollBar()->setValue(edit.verticalScrollBar()->maximum());
        });
    });
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QString piece = QStringLiteral("再把延迟压低一半");
    const std::vector<double> found = sessionWaits(60, piece);
    print("session window", found);
    print("QPlainTextEdit", editWaits(10, piece));
    return bench::judge("events wait, 95th percentile", bench::percentile(found, 0.95), targetMilliseconds, "ms") ? 0
                                                                                                                  : 1;
}
