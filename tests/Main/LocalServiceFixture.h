#pragma once

#include <Main/LocalService.h>
#include <Network/TrustedTls.h>
#include <gmock/gmock.h>

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <memory>
#include <unistd.h>

#include "support/WaitFor.h"

namespace parlowen::testing {

inline const QString serviceProgram = QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen-service");

/// The real service, with a data directory of its own.
class LocalServiceFixture : public ::testing::Test {
protected:
    LocalService::Place place(quint16 port = 0) const { return {serviceProgram, data_.path(), port}; }

    /// How a request to it comes out; no error when it was answered.
    static QNetworkReply::NetworkError reach(const LocalService::Access& access) {
        QNetworkAccessManager manager;
        const QUrl url(access.baseUrl + QStringLiteral("/operation/version"));
        QNetworkRequest request(url);
        request.setSslConfiguration(sslConfiguration(access.trust, url));
        const std::unique_ptr<QNetworkReply> reply(manager.get(request));
        EXPECT_TRUE(waitFor([&reply] { return reply->isFinished(); }));
        return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid() ? QNetworkReply::NoError
                                                                                    : reply->error();
    }

    /// The services that this process has started and that run.
    static QByteArrayList childProcesses() {
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(::getpid()));
        const QByteArray all = children.open(QIODevice::ReadOnly) ? children.readAll().trimmed() : QByteArray();
        return all.isEmpty() ? QByteArrayList() : all.split(' ');
    }

    const QTemporaryDir data_;
};

} // namespace parlowen::testing
