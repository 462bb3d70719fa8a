#include "TurnSettings.h"

#include "Http/HttpMessage.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace parlowen::service {

namespace {

using nlohmann::json;

constexpr std::string_view olderTranslationPath = "/speech/translation/";
constexpr std::size_t longestReason = 123;
constexpr std::size_t longestShownCode = 16;

/// The member at the end of a way through objects; a null value when there is none.
const json& memberAt(const json& root, std::initializer_list<const char*> way) {
    static const json none;
    const json* value = &root;
    for (const char* name : way) {
        const auto member = value->find(name); // of what is no object, too, it finds nothing
        if (member == value->end())
            return none;
        value = &*member;
    }
    return *value;
}

std::string textAt(const json& root, std::initializer_list<const char*> way) {
    const json& value = memberAt(root, way);
    return value.is_string() ? value.get<std::string>() : std::string();
}

void addTarget(std::vector<std::string>& targets, std::string_view target) {
    if (targets.size() <= mostTargets && std::find(targets.begin(), targets.end(), target) == targets.end())
        targets.emplace_back(target);
}

std::vector<std::string> splitAtCommas(std::string_view text) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const auto end = std::min(text.find(','), text.size());
        if (end > 0)
            addTarget(parts, text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

/// A member that leaves something out when it is there and is not the word that switches it on.
bool isOn(const std::string& value, std::string_view on) { return value.empty() || sameWord(value, on); }

void addTranslation(TurnSettings& settings, const json& context) {
    const json& atRoot = memberAt(context, {"translation"});
    const json& translation = atRoot.is_object() ? atRoot : memberAt(context, {"phraseDetection", "translation"});
    const json& targets = memberAt(translation, {"targetLanguages"});
    if (!targets.is_array() || !isOn(textAt(context, {"phraseDetection", "onSuccess", "action"}), "Translate"))
        return;
    settings.targets.clear();
    for (const auto& target : targets)
        if (target.is_string())
            addTarget(settings.targets, target.get_ref<const std::string&>());
    settings.lateTranslation = memberAt(translation, {"output", "lateResults"}) == true;
    settings.interimTranslation = isOn(textAt(context, {"phraseDetection", "onInterim", "action"}), "Translate") &&
                                  !sameWord(textAt(translation, {"output", "interimResults", "mode"}), "None");
}

std::string shown(std::string_view code) { return std::string(code.substr(0, longestShownCode)); }

std::string offeredLocales(const EngineSet& engines) {
    std::string list;
    for (const auto& locale : engines.languages().recognition)
        list.append(list.empty() ? "" : ", ").append(locale);
    return list.empty() ? "none" : list;
}

std::string offeredPairs(const EngineSet& engines) {
    std::string list;
    for (const auto& pair : engines.languages().translation)
        list.append(list.empty() ? "" : ", ").append(pair.from).append(" to ").append(pair.to);
    return list.empty() ? "none" : list;
}

/// The translator for the code itself, or else for the language that it begins with.
std::optional<TurnEngines::Translation> translationTo(const std::string& target, const std::string& language,
                                                      const EngineSet& engines) {
    const auto from = primarySubtag(language);
    for (const auto& to : {target, primarySubtag(target)}) {
        const LanguagePair pair{from, to};
        if (auto translator = engines.translatorFor(pair))
            return TurnEngines::Translation{target, pair, std::move(translator)};
    }
    return std::nullopt;
}

} // namespace

TurnSettings settingsOfRequest(std::string_view path, const QueryLookup& query) {
    TurnSettings settings;
    settings.language = query("language");
    if (settings.language.empty())
        settings.language = query("from");
    settings.detailed = sameWord(query("format"), "detailed");
    settings.olderTranslation = path.starts_with(olderTranslationPath);
    if (settings.olderTranslation) {
        settings.targets = splitAtCommas(query("to"));
        settings.plainHypotheses = settings.plainPhrases = false;
    }
    return settings;
}

std::optional<TurnSettings> withContext(TurnSettings settings, std::string_view body) {
    const auto parsed = jsonObject(body);
    if (!parsed)
        return std::nullopt;
    const json& context = *parsed;
    if (const auto language = textAt(context, {"phraseDetection", "language"}); !language.empty())
        settings.language = language;
    if (settings.olderTranslation)
        return settings;
    addTranslation(settings, context);
    settings.plainHypotheses = !sameWord(textAt(context, {"phraseOutput", "interimResults", "resultType"}), "None");
    settings.plainPhrases = !sameWord(textAt(context, {"phraseOutput", "phraseResults", "resultType"}), "None");
    return settings;
}

std::variant<TurnEngines, std::string> enginesFor(const TurnSettings& settings, const EngineSet& engines) {
    TurnEngines result;
    result.recognition = engines.engineFor(settings.language);
    if (!result.recognition) {
        const auto problem = settings.language.empty() ? "no language is named"
                                                       : "locale " + shown(settings.language) + " is not offered";
        return closeReason(problem + "; offered: " + offeredLocales(engines));
    }
    if (settings.targets.size() > mostTargets)
        return closeReason("a turn is translated into at most " + std::to_string(mostTargets) + " languages");
    for (const auto& target : settings.targets) {
        auto translation = translationTo(target, settings.language, engines);
        if (!translation)
            return closeReason("translation " + shown(settings.language) + " to " + shown(target) +
                               " is not offered; offered: " + offeredPairs(engines));
        result.translations.push_back(std::move(*translation));
    }
    return result;
}

std::string closeReason(std::string_view text) {
    std::string reason(text.substr(0, longestReason));
    std::replace_if(
        reason.begin(), reason.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return reason;
}

} // namespace parlowen::service
