#pragma once

#include "CommandLine.h"
#include "LocalService.h"
#include "RehearsalReport.h"
#include "RehearsalSettings.h"
#include "RehearsalSignIn.h"

#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/SessionWindow.h>

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace parlowen {

class Composition;

/// One session on a recorded interview, from the command line to its exit status: finds or starts the backend, signs
/// in, chooses the languages, opens the session window on the sound file, reports what happens, and puts everything
/// away. Main thread only.
class Rehearsal : public QObject {
public:
    /// `finished` is called once with the exit status, when everything is put away.
    Rehearsal(CommandLine line, RehearsalReport& report, std::function<void(int)> finished);
    ~Rehearsal() override;

    void begin();
    /// Ends the session as if its window were closed.
    void interrupt();
    /// Seconds of the recording that were heard; 0 before recognition starts.
    double heardSeconds() const;

private:
    void connectBackend();
    void useBackend(const LocalTrust& trust);
    void signIn();
    void loadLanguages();
    void openSession();
    void observe();
    void requestFailed(const QString& problem);
    void recordingEnded();
    void settleSoon();
    void settle();
    void closeSession();
    void putAway();
    void giveUp(const QString& problem, int status);
    bool eventFilter(QObject* watched, QEvent* event) override;
    void writeScreenshot();

    CommandLine line_;
    RehearsalReport& report_;
    std::function<void(int)> finished_;
    std::unique_ptr<RehearsalSettings> settings_;
    std::unique_ptr<LocalService> service_;
    std::unique_ptr<Composition> composition_;
    std::unique_ptr<RehearsalSignIn> signIn_;
    std::unique_ptr<SessionWindow> window_;
    std::vector<LanguageListModel> spoken_;
    QPointer<AIInterviewDetailController> controller_;
    QElapsedTimer heard_;
    QTimer quiet_;
    std::set<int> growing_; ///< numbers of the answers that are not complete
    int rows_ = 0;
    int failedRequests_ = 0;
    bool recordingOver_ = false;
    bool recognitionFailed_ = false;
    bool closing_ = false;
};

} // namespace parlowen
