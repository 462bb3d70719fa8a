#pragma once

#include "Chat/ChatAnswers.h"
#include "OptionChecks.h"

#include <boost/program_options/options_description.hpp>

namespace parlowen::service {

/// The options of the language model, as they stand in arguments and in the configuration file.
struct AnswerOptions {
    std::string url;
    std::string model;
    std::string keyFile;
    std::string keyEnvironment;
    double temperature = 0;
    int tokens = 0;
    int connectSeconds = 0;
    int firstPieceSeconds = 0;
    int stallSeconds = 0;
    int atOnce = 0;
    int atOnceOfAccount = 0;
    std::string translateTo;

    /// Their names, defaults and meanings; they are stored here.
    boost::program_options::options_description description();
    /// Checks them, reads the key, and fills in what they mean.
    std::optional<OptionProblem> apply(ChatEndpoint& endpoint, ChatAnswers::Limits& limits) const;
};

} // namespace parlowen::service
