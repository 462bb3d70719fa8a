#pragma once

#include <Page/AIInterviewPages/InterviewSettingViewController.h>

#include <QString>
#include <functional>
#include <span>

namespace parlowen {

class BaseViewController;
class ImageLoader;

/// What pages are made with. All of it outlives them.
struct PageContext {
    Settings& settings;
    HttpDatas& http;
    SetupServices setup;
    ImageLoader* images = nullptr;        ///< needed by the account page
    std::function<void()> signedOut = {}; ///< the account has been deleted
};

/// One page of the main window.
struct PageEntry {
    int index;         ///< in the content area
    const char* name;  ///< on the command line
    const char* title; ///< for people, to be translated in the context "Pages"
    BaseViewController* (*make)(const PageContext& context);
};

/// Every page that there is, the first one first.
std::span<const PageEntry> allPages();
/// The page of that name; null without one.
const PageEntry* findPage(const QString& name);
/// Makes the page of that index; null for an index without one.
BaseViewController* makePage(int index, const PageContext& context);
/// All names, for people.
QString pageNames();

inline constexpr int loginPage = -1; ///< a window of its own, which no page is made for
inline constexpr int setupPage = 0;
inline constexpr int accountPage = 1;
inline constexpr int aiSettingsPage = 3;
inline constexpr int aboutPage = 5;
inline constexpr int signOutPage = 7; ///< no page: signs out

} // namespace parlowen
