#include "ResumeUpload.h"

#include "Transport.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/Bundle.h>
#include <Foundation/ChosenLanguage.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <QFileInfo>
#include <QHttpMultiPart>
#include <QLocale>
#include <QNetworkReply>
#include <utility>

namespace parlowen {

namespace {

constexpr qint64 pieceSize = qint64{256} * 1024;

QUrl originOf(const QUrl& url) {
    QUrl origin;
    origin.setScheme(url.scheme());
    origin.setHost(url.host());
    origin.setPort(url.port());
    return origin;
}

/// Reads the whole file, a piece at a time, and gives its size; fails when it cannot be read or nobody waits any more.
Result<qint64> readThrough(const QString& path, const std::atomic_bool& isGone) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return failure(file.errorString());
    QByteArray piece(pieceSize, Qt::Uninitialized);
    qint64 size = 0;
    for (qint64 count = 1; count > 0 && !isGone; size += count) {
        count = file.read(piece.data(), piece.size());
        if (count < 0)
            return failure(file.errorString());
    }
    return size;
}

void logFile(const QString& path, const Result<qint64>& size) {
    if (!size) {
        consoleLog("❌ 无法读取文件内容");
        return;
    }
    consoleLog("📤 准备上传文件：" + QFileInfo(path).fileName());
    consoleLog(QString("📦 文件大小：%1 (%2 字节)")
                   .arg(QLocale(QLocale::Chinese).formattedDataSize(*size, 1, QLocale::DataSizeSIFormat))
                   .arg(*size));
}

/// A form's file name, in the way of browsers.
QByteArray formFileName(const QString& path) {
    return QFileInfo(path).fileName().toUtf8().replace('"', "%22").replace('\r', "%0D").replace('\n', "%0A");
}

} // namespace

/// A file that is read to the end that it had when it was opened: one that ends sooner fails, where the form would wait
/// for the rest for ever.
class ResumeUpload::FormFile : public QFile {
public:
    using QFile::QFile;
    bool open() {
        const bool opened = QFile::open(ReadOnly | Unbuffered);
        end_ = size();
        return opened;
    }
    qint64 size() const override { return end_ < 0 ? QFile::size() : end_; }

protected:
    qint64 readData(char* data, qint64 room) override {
        const qint64 place = pos();
        const qint64 count = QFile::readData(data, qMin(room, end_ - place));
        return count > 0 || room == 0 || place >= end_ ? count : -1;
    }

private:
    qint64 end_ = -1;
};

FileService FileService::builtIn(const QString& apiBase, LocalTrust trust) {
    const QUrl configured(Bundle::builtInFileServiceUrl());
    const bool isBackend = originOf(configured) == originOf(QUrl(Bundle::builtInApiBaseUrl()));
    const QString base = isBackend ? originOf(QUrl(apiBase)).toString() : Bundle::builtInFileServiceUrl();
    return {QUrl(base + QStringLiteral("/compatible-mode/v1/files")), std::move(trust)};
}

ResumeUpload::ResumeUpload(FileService service, QObject* parent)
    : QObject(parent)
    , service_(std::move(service)) {
    inactivity_.setSingleShot(true);
    connect(&inactivity_, &QTimer::timeout, this, [this] { reply_->abort(); }); // which reads as a timeout
}

ResumeUpload::~ResumeUpload() {
    *isGone_ = true;
    if (reply_ != nullptr)
        reply_->disconnect(this);
}

void ResumeUpload::uploadResumeFile(const QUrl& file, const QString& credential, Callback callback) {
    file_ = file;
    credential_ = credential;
    callback_ = std::move(callback);
    // A disk may take its time, a file be larger than it should.
    inBackground([path = file.toLocalFile(), isGone = isGone_, self = QPointer<ResumeUpload>(this)] {
        const Result<qint64> size = readThrough(path, *isGone);
        onMain(self, [self, path, size] {
            logFile(path, size);
            self->send();
        });
    });
}

void ResumeUpload::send() {
    const QString path = file_.toLocalFile();
    auto* form = new QHttpMultiPart(QHttpMultiPart::FormDataType, this);
    auto* content = new FormFile(path, form);
    if (!content->open()) {
        fail(content->errorString());
        return;
    }
    QHttpPart filePart;
    filePart.setRawHeader("Content-Disposition", "form-data; name=\"file\"; filename=\"" + formFileName(path) + '"');
    filePart.setRawHeader("Content-Type", "application/vnd.openxmlformats-officedocument.wordprocessingml.document");
    filePart.setBodyDevice(content);
    form->append(filePart);
    QHttpPart purpose;
    purpose.setRawHeader("Content-Disposition", "form-data; name=\"purpose\"");
    purpose.setBody("file-extract");
    form->append(purpose);

    QNetworkRequest request(service_.url);
    request.setSslConfiguration(sslConfiguration(service_.trust, service_.url));
    authorize(request, credential_);
    inactivity_.start(service_.sendingBound);
    reply_ = manager_.post(request, form);
    connect(reply_, &QNetworkReply::uploadProgress, this, &ResumeUpload::progress);
    connect(reply_, &QNetworkReply::finished, this, &ResumeUpload::finished);
}

void ResumeUpload::progress(qint64 sent, qint64 total) {
    if (total <= 0) // the end of the transfer is told this way
        return;
    inactivity_.start(sent < total ? service_.sendingBound : service_.answeringBound);
    if (onProgress)
        onProgress(sent, total);
}

void ResumeUpload::finished() {
    inactivity_.stop();
    if (isTransportFailure(*reply_)) {
        fail(transportErrorDescription(*reply_).in(windowLanguage()));
        return;
    }
    const JSON body = JSON::parse(reply_->readAll());
    if (!body.exists()) {
        fail(undecodableDescription(*reply_).in(windowLanguage()));
        return;
    }
    consoleLog("✅ 上传成功：" + body.rawString());
    tell(FResponseStatus::success, body, {});
}

void ResumeUpload::fail(const QString& description) {
    consoleLog("❌ 上传失败：" + description);
    tell(FResponseStatus::failure, std::nullopt, QStringLiteral("请求失败"));
}

// Later: the reply that this is about can be deleted then.
void ResumeUpload::tell(FResponseStatus status, const std::optional<JSON>& body, const QString& text) {
    onMain(QPointer(this), [callback = std::exchange(callback_, {}), status, body, text] {
        if (callback)
            callback(status, body, text);
    });
}

void bindResume(HttpDatas& http, const QString& fileId, QObject* context,
                std::function<void(const Result<void>&)> done) {
    const QString path = QStringLiteral("/user/bind_resume/") + QString::fromLatin1(QUrl::toPercentEncoding(fileId));
    http.requestData(path, HttpMethod::POST, std::nullopt, std::nullopt, context,
                     [done = std::move(done)](FResponseStatus status, const std::optional<JSON>&,
                                              const std::optional<QString>& message) {
                         if (status == FResponseStatus::success)
                             done({});
                         else
                             done(
                                 failure(status == FResponseStatus::unusual ? message.value_or(QString()) : QString()));
                     });
}

} // namespace parlowen

#include "moc_ResumeUpload.cpp"
