#include "PulseSnapshot.h"

#include <QString>
#include <algorithm>

namespace parlowen {

namespace {

/// Takes the characters up to the end mark off the text, and the mark.
std::string takeUntil(std::string_view& text, char end) {
    std::string taken;
    while (!text.empty() && text.front() != end) {
        if (text.front() == '\\' && text.size() > 1)
            text.remove_prefix(1);
        taken += text.front();
        text.remove_prefix(1);
    }
    text.remove_prefix(text.empty() ? 0 : 1);
    return taken;
}

std::string takeValue(std::string_view& text) {
    const char mark = text.empty() ? ' ' : text.front();
    if (mark != '\'' && mark != '"')
        return takeUntil(text, ' ');
    text.remove_prefix(1);
    return takeUntil(text, mark);
}

std::string withoutQuotes(const std::string& name) {
    QString text = QString::fromStdString(name);
    text.replace(u'\'', QChar(0x2019)).replace(u'"', QChar(0x201D)).replace(u'\\', QChar(0xFF3C));
    return text.toStdString();
}

} // namespace

std::optional<std::string> moduleArgument(std::string_view arguments, std::string_view key) {
    while (!arguments.empty()) {
        arguments.remove_prefix(std::min(arguments.find_first_not_of(" \t\n"), arguments.size()));
        const std::size_t end = arguments.find('=');
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = arguments.substr(0, end);
        arguments.remove_prefix(end + 1);
        std::string value = takeValue(arguments);
        if (name == key)
            return value;
    }
    return std::nullopt;
}

std::string combineArguments(const AggregateDescription& description) {
    std::string slaves;
    for (const std::string& uid : description.subDevices)
        slaves += (slaves.empty() ? "" : ",") + uid;
    return "sink_name=" + description.uid + " sink_properties='device.description=\"" +
           withoutQuotes(description.name) + "\"' slaves=" + slaves;
}

} // namespace parlowen
