#include "CaptchaModule.h"

#include <Foundation/ConsoleLog.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPluginLoader>
#include <unistd.h>

namespace parlowen {

QString CaptchaModule::pluginFile() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() +
                           QStringLiteral("/../lib/parlowen/captcha/parlowen-captcha.so"));
}

Result<CaptchaModule*> CaptchaModule::load(const QString& file) {
    // The engine ends a process of root's that would run it in its sandbox.
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"))
        return failure(
            QCoreApplication::translate("CaptchaModule", "以 root 身份运行时无法打开验证码，请用普通用户运行本程序。"));
    if (!QFile::exists(file))
        return failure(QCoreApplication::translate("CaptchaModule",
                                                   "短信验证需要网页引擎，请安装软件包 parlowen-captcha。\n"
                                                   "（自行编译时：安装 qt6-webengine-dev 后重新构建）"));
    QPluginLoader loader(file);
    auto* module = qobject_cast<CaptchaModule*>(loader.instance());
    if (module != nullptr)
        return module;
    consoleLog(QStringLiteral("❌ 验证码模块无法加载: ") + loader.errorString());
    return failure(
        QCoreApplication::translate("CaptchaModule", "短信验证需要网页引擎，请安装软件包 libqt6webenginewidgets6。"));
}

} // namespace parlowen
