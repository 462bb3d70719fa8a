#pragma once

#include "AccountCommands.h"
#include "Chat/ChatAnswers.h"
#include "Cloud/RegionTokens.h"
#include "Cloud/Transcription.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace parlowen::service {

struct ServiceOptions {
    std::string address = "127.0.0.1"; ///< a loopback address
    std::uint16_t port = 47'615;       ///< 0: any free one
    std::filesystem::path data;        ///< absolute
    bool exitWithStdin = false;
    bool createAccounts = false;              ///< by a first sign-in by password on this machine
    int sessionDays = 30;                     ///< without a use, after which a sign-in is over
    int codesPerAddress = 30;                 ///< login codes an hour
    int speechPlaces = 16;                    ///< connections for speech at the same time
    std::vector<std::string> hosts;           ///< names that the service is asked for by, beside the loopback ones
    std::vector<std::string> proxies;         ///< addresses of proxies whose X-Forwarded-For counts
    bool loginByCode = false;                 ///< instead of by password
    std::string captchaAddress = "127.0.0.1"; ///< a loopback address, for the captcha's page in plain HTTP
    std::uint16_t captchaPort = 47'616;       ///< 0: any free one
    std::string smsCommand;                   ///< brings codes to phones; empty: they are shown on the console
    std::string contact;                      ///< text of the QR code that leads to support; empty: none
    bool models = false;                      ///< list the speech models and end
    std::string getModel;                     ///< name of one to fetch; empty: none
    std::string mirror;                       ///< address to fetch from; empty: the catalogue's
    std::filesystem::path catalogue;          ///< empty: the one that is built in
    ChatEndpoint chat;                        ///< without an address: outlines
    ChatAnswers::Limits chatLimits;
    TranscriptionEndpoint transcription;    ///< without an address: this machine's models alone
    CloudRegion region;                     ///< without a name: clients stay here
    std::filesystem::path config;           ///< the file that was read, or would have been
    bool checkConfig = false;               ///< only say what is wrong with it and end
    bool printConfig = false;               ///< print a file with every option and end
    bool checkAnswers = false;              ///< ask the language model something and end
    std::optional<std::string> printPrompt; ///< print what would be sent for that question and end
    std::filesystem::path resume;           ///< a text file for that prompt; empty: none
    std::optional<AccountCommand> accounts; ///< carry that out and end
    std::vector<std::string> remarks;       ///< what is set and may not be meant so, each in a line
    bool help = false;
    bool version = false;
};

/// What the arguments (without the program's name) and the configuration file ask for, or what is wrong with them, in
/// one line, for the file with its name and the number of the line. An argument goes before the file.
tl::expected<ServiceOptions, std::string> parseOptions(const std::vector<std::string>& arguments);

/// `parlowen/service.conf` under the XDG configuration directory.
std::filesystem::path defaultConfigFile();

/// `parlowen-service` under the XDG data directory.
std::filesystem::path defaultDataDirectory();

/// The text of --help.
std::string usage();

/// What --check-config says of a file in which nothing is wrong.
std::string checkedConfig(const ServiceOptions& options);

/// A configuration file with every option at its default, each with a comment.
std::string sampleConfig();

} // namespace parlowen::service
