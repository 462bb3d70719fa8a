#pragma once

#include "HttpDatas.h"

#include <Foundation/LocalTrust.h>
#include <Foundation/Result.h>

#include <QNetworkAccessManager>
#include <QObject>
#include <QTimer>
#include <QUrl>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

/// Where a résumé file is uploaded to, and how long nothing may happen there.
struct FileService {
    QUrl url;
    LocalTrust trust;
    int sendingBound = 60'000;    ///< milliseconds in which not one byte of the file goes out
    int answeringBound = 180'000; ///< milliseconds between its last byte and the answer: the text is read meanwhile

    /// The one that this program was built with. Where that is the built-in backend itself, files go to the backend in
    /// use, whose API base URL is given.
    static FileService builtIn(const QString& apiBase, LocalTrust trust);
};

/// The upload of one résumé file, which is streamed from disk. Deleting it ends the upload without a word. Main thread
/// only.
class ResumeUpload : public QObject {
    Q_OBJECT
public:
    /// `success` with the reply and an empty text when the reply is JSON, whatever its HTTP status; otherwise
    /// `failure`, without a reply, and "请求失败".
    using Callback = std::function<void(FResponseStatus, const std::optional<JSON>&, const QString&)>;

    explicit ResumeUpload(FileService service, QObject* parent = nullptr);
    ~ResumeUpload() override;

    /// Uploads the local file with that credential. The callback is called once, later, unless this object is deleted
    /// first, which the callback itself may do. Once only.
    void uploadResumeFile(const QUrl& file, const QString& credential, Callback callback);

    /// What has gone out, in bytes of the form, which are a little more than the file's. Equal once all has gone, the
    /// answer still to come.
    std::function<void(qint64 sent, qint64 total)> onProgress;

private:
    class FormFile;
    void send();
    void progress(qint64 sent, qint64 total);
    void finished();
    void fail(const QString& description);
    void tell(FResponseStatus status, const std::optional<JSON>& body, const QString& text);

    const FileService service_;
    QNetworkAccessManager manager_;
    QTimer inactivity_;
    QUrl file_;
    QString credential_;
    Callback callback_;
    QNetworkReply* reply_ = nullptr;
    std::shared_ptr<std::atomic_bool> isGone_ = std::make_shared<std::atomic_bool>(false);
};

/// Binds the uploaded file of that id to the account. `done` hears how it ended, the error being the backend's own
/// words or empty; never once the context is gone. On the context's thread.
void bindResume(HttpDatas& http, const QString& fileId, QObject* context,
                std::function<void(const Result<void>&)> done);

} // namespace parlowen
