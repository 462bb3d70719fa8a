#pragma once

#include <Network/ResumeUpload.h>

#include <QFileDialog>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <list>
#include <optional>

namespace parlowen {

class HttpDatas;
class Settings;
class UpdateResumeView;

/// The way of a résumé into the account: the credential, the file panel, the upload, the binding, and what the card and
/// the alerts say of it. Several uploads may run; the card shows the one that was started last. Main thread only.
class ResumeFlow : public QObject {
    Q_OBJECT
public:
    /// All must outlive it; the card's callbacks are its own from now on.
    ResumeFlow(HttpDatas& http, Settings& settings, UpdateResumeView& card);
    ~ResumeFlow() override;

    /// Fetches the credential, then has the user choose a file and uploads it.
    void uploadResume();
    /// The same with a file that is chosen already.
    void uploadResume(const QUrl& file);
    /// The credential that was fetched last; empty before.
    const QString& updateToken() const { return updateToken_; }
    /// Whether the account holds a résumé, as far as this machine knows.
    bool holdsResume() const { return !heldName().isEmpty(); }
    /// The file panel while it is open; null otherwise.
    QFileDialog* panel() const { return panel_; }

    /// Why these files cannot be uploaded, in words for the user; empty for one local file of an allowed type.
    static QString problemOf(const QList<QUrl>& files);

    /// Shows the alert that says how an upload ended; modal, with one button, and beside the card, unless it is
    /// replaced.
    std::function<void(const QString& title, const QString& text)> showAlert;
    /// Where to upload to: the built-in file service unless it is replaced.
    std::function<FileService()> fileService;
    /// Hears that an upload was bound to the account.
    std::function<void()> onBound;

private:
    struct Run {
        QString fileName;
        ResumeUpload* upload = nullptr; ///< null once the file has arrived
        qint64 sent = 0;                ///< bytes
        qint64 total = 0;               ///< bytes, 0 before the first has gone out
    };
    using Runs = std::list<Run>;

    void requestCredential(const std::optional<QUrl>& file);
    void openPanel();
    void startUpload(const QUrl& file);
    void uploadEnded(Runs::iterator run, FResponseStatus status, const std::optional<JSON>& reply);
    void bindResume(Runs::iterator run, const QString& fileId, const QString& fileName);
    void end(Runs::iterator run);
    void fail(Runs::iterator run, const QString& text, const QString& reason);
    void cancel();
    QString heldName() const;
    void showState();

    HttpDatas& http_;
    Settings& settings_;
    UpdateResumeView& card_;
    QString updateToken_;
    int credentialRequest_ = 0; ///< the latest one's number: an earlier one's answer is dropped
    bool isPreparing_ = false;  ///< whether its answer is still to come
    QString boundName_;         ///< of the file that was bound last, from this page
    QPointer<QFileDialog> panel_;
    Runs runs_;
};

} // namespace parlowen
