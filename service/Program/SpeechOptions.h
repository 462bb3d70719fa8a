#pragma once

#include "Cloud/RegionTokens.h"
#include "Cloud/Transcription.h"
#include "OptionChecks.h"

#include <boost/program_options/options_description.hpp>

namespace parlowen::service {

/// The options of speech services elsewhere, as they stand in arguments and in the configuration file.
struct SpeechOptions {
    std::string url;
    std::string model;
    std::string keyFile;
    std::string keyEnvironment;
    std::string languages;
    bool everything = false;
    bool partials = true;
    int atOnce = 0;
    int connectSeconds = 0;
    int replySeconds = 0;
    std::string region;
    std::string regionKeyFile;
    std::string regionKeyEnvironment;
    std::string regionTokenUrl;
    std::string regionArea;
    std::string regionLanguages;
    std::string regionTranslateTo;

    /// Their names, defaults and meanings; they are stored here.
    boost::program_options::options_description description();
    /// Checks them, reads the keys, and fills in what they mean.
    std::optional<OptionProblem> apply(TranscriptionEndpoint& endpoint, CloudRegion& cloud) const;

private:
    std::optional<OptionProblem> applyEndpoint(TranscriptionEndpoint& endpoint) const;
    std::optional<OptionProblem> applyRegion(CloudRegion& cloud) const;
};

} // namespace parlowen::service
