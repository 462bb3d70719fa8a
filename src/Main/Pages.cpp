#include "Pages.h"

#include <Page/AIInterviewPages/AISettingViewController.h>
#include <Page/AboutMeViewController.h>
#include <Page/MineViewController.h>

#include <QStringList>
#include <algorithm>

namespace parlowen {

namespace {

constexpr PageEntry pages[] = {
    {loginPage, "login", QT_TRANSLATE_NOOP("Pages", "登录"),
     [](const PageContext&) -> BaseViewController* { return nullptr; }},
    {setupPage, "setup", QT_TRANSLATE_NOOP("Pages", "AI面试"),
     [](const PageContext& context) -> BaseViewController* {
         return new InterviewSettingViewController(context.setup);
     }},
    {accountPage, "account", QT_TRANSLATE_NOOP("Pages", "个人中心"),
     [](const PageContext& context) -> BaseViewController* {
         auto* account = new MineViewController(context.http, context.settings, *context.images);
         account->onSignedOut = context.signedOut;
         return account;
     }},
    {aiSettingsPage, "settings", QT_TRANSLATE_NOOP("Pages", "面试设置"),
     [](const PageContext& context) -> BaseViewController* {
         InterviewSettingViewController::storedModel(context.settings); // also where it is the first page of all
         return new AISettingViewController(context.settings, context.http);
     }},
    {aboutPage, "about", QT_TRANSLATE_NOOP("Pages", "版本信息"),
     [](const PageContext& context) -> BaseViewController* {
         return new AboutMeViewController(context.http, context.settings);
     }},
};

} // namespace

std::span<const PageEntry> allPages() { return pages; }

const PageEntry* findPage(const QString& name) {
    const auto* found = std::ranges::find_if(pages, [&name](const PageEntry& page) { return name == page.name; });
    return found == std::end(pages) ? nullptr : found;
}

BaseViewController* makePage(int index, const PageContext& context) {
    const auto* found = std::ranges::find(pages, index, &PageEntry::index);
    return found == std::end(pages) ? nullptr : found->make(context);
}

QString pageNames() {
    QStringList names;
    for (const PageEntry& page : pages)
        names << QString::fromLatin1(page.name);
    return names.join(QStringLiteral(", "));
}

} // namespace parlowen
