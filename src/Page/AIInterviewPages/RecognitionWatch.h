#pragma once

#include <Tools/SessionStatus.h>

#include <QObject>
#include <QTimer>
#include <memory>

namespace parlowen {

class AzTokenNewManager;
class SpeechRecognitionTool;

/// Follows a session's recognition: tells the status how it stands, has another token fetched where one is missing, and
/// counts what was not heard. Main thread only.
class RecognitionWatch : public QObject {
    Q_OBJECT
public:
    /// The status may be null; it outlives the watch.
    explicit RecognitionWatch(SessionStatus* status, QObject* parent = nullptr);

    /// Tells how it stands before there is anything to follow.
    void begin(std::weak_ptr<AzTokenNewManager> tokens);
    void follow(const std::shared_ptr<SpeechRecognitionTool>& tool);
    /// The session ends: nothing is told any more.
    void end();

    /// How recognition fares, also where no status is there to be told.
    const RecognitionStatus& recognition() const { return recognition_; }
    /// Whether the local service is being started, which is then why it cannot be reached.
    void setServiceStarting(bool starting);
    /// The backend gives no token for now.
    void tokenDidFail();

Q_SIGNALS:
    /// Recognition has stopped for good; the text says why.
    void stopped(const QString& why);
    /// So many seconds, and no fewer than one, were not heard.
    void missed(int seconds);

private:
    void recognitionIs(const RecognitionStatus& status);
    void tell();
    bool waitsForToken() const;
    void askForTokenAgain();
    void gapInCapture(double seconds);
    void count(double seconds);

    SessionStatus* const status_;
    std::weak_ptr<AzTokenNewManager> tokens_;
    std::shared_ptr<SpeechRecognitionTool> tool_;
    RecognitionStatus recognition_;
    QTimer tick_;          ///< for the seconds that wait
    int withoutToken_ = 0; ///< ticks for which one has been waited for
    bool serviceStarting_ = false;
    bool ended_ = false;
    double uncounted_ = 0; ///< seconds that were missed and not told of
};

} // namespace parlowen
