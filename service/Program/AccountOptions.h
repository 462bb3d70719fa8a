#pragma once

#include "AccountCommands.h"
#include "OptionChecks.h"

#include <boost/program_options/options_description.hpp>
#include <utility>

namespace parlowen::service {

/// The options by which an operator deals with accounts, as they stand in arguments.
struct AccountOptions {
    std::vector<std::pair<std::string, std::string>> given; ///< names and values

    /// Their names and meanings; what is given is stored here.
    boost::program_options::options_description description();
    /// Fills in what they mean; one at a time.
    std::optional<OptionProblem> apply(std::optional<AccountCommand>& command) const;
};

} // namespace parlowen::service
