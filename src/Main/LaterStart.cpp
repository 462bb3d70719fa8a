#include "LaterStart.h"

#include "AppDelegate.h"
#include "Pages.h"

#include <Foundation/ChosenLanguage.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/Translation.h>

#include <QUrl>

namespace parlowen {

namespace {

constexpr Phrase otherBackend{"Parlowen runs already, with another backend (%1). Quit it first to use this one: %2",
                              "Parlowen 已在运行，使用的是另一个后端（%1）。要使用这个后端，请先退出程序：%2"};
constexpr Phrase sessionGoesOn{"an interview or a rehearsal is going on already; nothing else was started",
                               "面试或排练正在进行，没有开始别的内容"};
constexpr Phrase noLogHere{"Parlowen runs already; its log is not written here", "Parlowen 已在运行，日志不会写到这里"};

/// Whether it asks for something that cannot be done beside a session.
bool disturbs(const CommandLine& line) {
    return line.start != CommandLine::Start::Nothing || line.pageIndex() == loginPage;
}

} // namespace

LaunchAnswer answerLaterStart(AppDelegate& program, const Launch& launch) {
    const Language before = windowLanguage();
    CommandLine line = parseCommandLine(launch.arguments);
    if (windowLanguage() != before)
        translateWindows();
    BilingualText problem;
    if (!launch.backend.isEmpty() && QUrl(launch.backend) != QUrl(program.backendAddress()))
        problem = otherBackend.both(program.backendAddress(), launch.backend);
    else if (program.session() != nullptr && disturbs(line))
        problem = sessionGoesOn.both();
    if (!problem.isEmpty())
        line = {};
    if (!program.carryOut(line))
        return {};
    if (!problem.isEmpty())
        ProgressHUD::shared().error(problem.in(windowLanguage()));
    else if (line.verbose)
        problem = noLogHere.both();
    return {true, problem.in(launch.language)};
}

} // namespace parlowen
