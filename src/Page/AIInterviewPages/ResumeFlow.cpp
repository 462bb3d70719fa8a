#include "ResumeFlow.h"

#include "FilePanel.h"

#include <Foundation/ChosenLanguage.h>
#include <Foundation/ConsoleLog.h>
#include <Network/Profile.h>
#include <Network/Settings.h>
#include <Page/View/UpdateResumeView.h>
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/ProgressHUD.h>

#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

const QStringList allowedTypes{"pdf", "doc", "docx", "png", "jpg", "jpeg"};

/// What file services take at most, as a rule. One may close the connection without a word when it is exceeded.
constexpr qint64 usualLimit = qint64{32} * 1024 * 1024;

constexpr int nameRoom = 120; // of a file's name in a notice, in points

QString chosen(const QString& fileName) { return UpdateResumeView::tr("已选择文件：%1").arg(fileName); }

QString sizeText(qint64 bytes) {
    const bool isChinese = windowLanguage() == Language::Chinese;
    return QLocale(isChinese ? QLocale::Chinese : QLocale::English)
        .formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

QString ResumeFlow::problemOf(const QList<QUrl>& files) {
    if (files.size() != 1)
        return UpdateResumeView::tr("一次只能上传一个文件");
    const QFileInfo file(files.front().toLocalFile());
    if (!files.front().isLocalFile() || file.isDir())
        return UpdateResumeView::tr("只能上传本机上的文件");
    if (!allowedTypes.contains(file.suffix().toLower()))
        return UpdateResumeView::tr("不支持这种文件，请选择 %1").arg(allowedTypes.join(UpdateResumeView::tr("、")));
    return {};
}

ResumeFlow::ResumeFlow(HttpDatas& http, Settings& settings, UpdateResumeView& card)
    : http_(http)
    , settings_(settings)
    , card_(card) {
    showAlert = [this](const QString& title, const QString& text) {
        parlowen::showAlert(title, text, QStringLiteral("logo"), QMessageBox::Information, &card_);
    };
    fileService = [this] { return FileService::builtIn(http_.baseUrl(), http_.localTrust()); };
    card_.cancelBlock = [this] { cancel(); };
    card_.dropProblem = &ResumeFlow::problemOf;
    card_.dropBlock = [this](const QUrl& file) { uploadResume(file); };
    showState();
}

ResumeFlow::~ResumeFlow() {
    delete panel_;
    if (std::any_of(runs_.begin(), runs_.end(), [](const Run& run) { return run.upload != nullptr; }))
        ProgressHUD::shared().toast(UpdateResumeView::tr("已离开设置页，简历没有上传完"));
}

void ResumeFlow::uploadResume() {
    if (panel_) { // once is enough
        panel_->raise();
        panel_->activateWindow();
        return;
    }
    requestCredential(std::nullopt);
}

void ResumeFlow::uploadResume(const QUrl& file) { requestCredential(file); }

void ResumeFlow::requestCredential(const std::optional<QUrl>& file) {
    isPreparing_ = true; // what came of the last upload stays said until another begins
    showState();
    const auto received = [this, file, number = ++credentialRequest_](
                              FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
        if (number != credentialRequest_)
            return;
        isPreparing_ = false;
        if (status != FResponseStatus::success || !json) {
            card_.setNotice(UpdateResumeView::Notice::problem, UpdateResumeView::tr("无法获取上传凭证，点击重试"));
            showState();
            showAlert(UpdateResumeView::tr("请求失败"), UpdateResumeView::tr("无法获取上传凭证"));
            return;
        }
        updateToken_ = (*json)["data"].stringValue();
        showState();
        if (file)
            startUpload(*file);
        else
            openPanel();
    };
    http_.requestData(QStringLiteral("/ai/token"), HttpMethod::GET, std::nullopt, std::nullopt, this, received);
}

void ResumeFlow::openPanel() {
    panel_ = makeFilePanel(UpdateResumeView::tr("选择简历文件"), UpdateResumeView::tr("简历文件"), allowedTypes,
                           card_.window());
    connect(panel_, &QFileDialog::accepted, this, [this] {
        const QList<QUrl> files = panel_->selectedUrls();
        const QString problem = problemOf(files);
        if (problem.isEmpty())
            startUpload(files.front());
        else
            card_.setNotice(UpdateResumeView::Notice::problem, problem);
    });
    panel_->show();
}

void ResumeFlow::startUpload(const QUrl& file) {
    const Runs::iterator run = runs_.insert(runs_.end(), Run{QFileInfo(file.toLocalFile()).fileName()});
    run->upload = new ResumeUpload(fileService(), this);
    run->upload->onProgress = [this, run](qint64 sent, qint64 total) {
        run->sent = sent;
        run->total = total;
        showState();
    };
    card_.setNotice(UpdateResumeView::Notice::none);
    showState();
    run->upload->uploadResumeFile(file, updateToken_,
                                  [this, run](FResponseStatus status, const std::optional<JSON>& reply,
                                              const QString&) { uploadEnded(run, status, reply); });
}

void ResumeFlow::uploadEnded(Runs::iterator run, FResponseStatus status, const std::optional<JSON>& reply) {
    std::exchange(run->upload, nullptr)->deleteLater();
    if (status != FResponseStatus::success) {
        const bool isLarge = run->total > usualLimit;
        fail(run, UpdateResumeView::tr("请求失败"),
             isLarge ? UpdateResumeView::tr("文件可能太大（%1）").arg(sizeText(run->total)) : QString());
        return;
    }
    const JSON file = reply.value_or(JSON());
    bindResume(run, file["id"].stringValue(), file["filename"].stringValue());
}

void ResumeFlow::bindResume(Runs::iterator run, const QString& fileId, const QString& fileName) {
    showState();
    parlowen::bindResume(http_, fileId, this, [this, run, fileName](const Result<void>& bound) {
        if (!bound) {
            fail(run, {}, bound.error());
            return;
        }
        boundName_ = run->fileName;
        card_.setNotice(UpdateResumeView::Notice::success, UpdateResumeView::tr("已上传，回答会参考这份简历"));
        end(run);
        refreshProfile(http_, settings_, this, [](const UserBaseModel&) {});
        if (onBound)
            onBound();
        showAlert(UpdateResumeView::tr("上传成功"), UpdateResumeView::tr("文件 %1 已成功上传").arg(fileName));
    });
}

/// The reason stays on the card when the alerts are gone.
void ResumeFlow::fail(Runs::iterator run, const QString& text, const QString& reason) {
    const QString name = card_.title()->fontMetrics().elidedText(run->fileName, Qt::ElideMiddle, nameRoom);
    const QString why = reason.isEmpty() ? UpdateResumeView::tr("%1 上传失败，点击重试").arg(name)
                                         : UpdateResumeView::tr("%1 上传失败：%2").arg(name, reason);
    card_.setNotice(UpdateResumeView::Notice::problem, why);
    end(run);
    showAlert(UpdateResumeView::tr("上传失败"), text);
}

void ResumeFlow::cancel() {
    if (isPreparing_) {
        isPreparing_ = false;
        ++credentialRequest_;
        showState();
        return;
    }
    if (runs_.empty() || runs_.back().upload == nullptr)
        return;
    const Runs::iterator run = std::prev(runs_.end());
    consoleLog("⚠️ 已取消上传：" + run->fileName);
    delete run->upload;
    end(run);
}

void ResumeFlow::end(Runs::iterator run) {
    runs_.erase(run);
    showState();
}

QString ResumeFlow::heldName() const { return !boundName_.isEmpty() ? boundName_ : heldResume(settings_); }

void ResumeFlow::showState() {
    const bool runs = !runs_.empty();
    const QString name = runs ? runs_.back().fileName : heldName();
    card_.setUpdateText(name.isEmpty() ? UpdateResumeView::tr("上传简历") : chosen(name));
    if (isPreparing_)
        card_.showProgress(UpdateResumeView::tr("正在准备上传…"), -1, true);
    else if (!runs)
        card_.hideProgress();
    else if (const Run& run = runs_.back(); run.upload == nullptr)
        card_.showProgress(UpdateResumeView::tr("正在绑定到你的账号…"), -1, false);
    else if (run.total == 0)
        card_.showProgress(UpdateResumeView::tr("正在读取文件…"), -1, true);
    else if (run.sent < run.total)
        card_.showProgress(QStringLiteral("%1 / %2").arg(sizeText(run.sent), sizeText(run.total)),
                           static_cast<double>(run.sent) / static_cast<double>(run.total), true);
    else
        card_.showProgress(UpdateResumeView::tr("已发送，正在等待处理…"), -1, true);
}

} // namespace parlowen

#include "moc_ResumeFlow.cpp"
