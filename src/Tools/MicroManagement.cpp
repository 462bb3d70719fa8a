#include "MicroManagement.h"

#include <Foundation/ConsoleLog.h>

#include <utility>

#include <QCoreApplication>

namespace parlowen {

namespace {

MicroManagement::Hooks& hooks() {
    static MicroManagement::Hooks installed;
    return installed;
}

void show(const QString& text) {
    if (hooks().showError)
        hooks().showError(text);
}

} // namespace

void MicroManagement::setHooks(Hooks newHooks) { hooks() = std::move(newHooks); }

void MicroManagement::checkMicrophonePermission() {
    switch (hooks().status()) {
    case AVAuthorizationStatus::NotDetermined:
        show(QCoreApplication::translate("MicroManagement", "没有麦克风权限"));
        consoleLog(QStringLiteral("没有麦克风权限"));
        hooks().requestAccess();
        break;
    case AVAuthorizationStatus::Restricted:
        show(QCoreApplication::translate("MicroManagement", "没有授权麦克风"));
        consoleLog(QStringLiteral("没有授权麦克风"));
        break;
    case AVAuthorizationStatus::Denied:
        consoleLog(QStringLiteral("没有授权"));
        show(QCoreApplication::translate("MicroManagement", "没有授权"));
        break;
    case AVAuthorizationStatus::Authorized:
        consoleLog(QStringLiteral("已经授权"));
        break;
    }
}

} // namespace parlowen
