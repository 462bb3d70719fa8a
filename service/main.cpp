#include "Http/Log.h"
#include "Http/Server.h"
#include "Models/ModelCommands.h"
#include "Program/AccountCommands.h"
#include "Program/AnswerCommands.h"
#include "Program/AnswerOptions.h"
#include "Program/Service.h"
#include "Resumes/ConfinedReader.h"

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace parlowen::service;
namespace asio = boost::asio;
using boost::system::error_code;

enum ExitStatus { ended = 0, cannotStart = 1, wrongOptions = 2, addressInUse = 3, directoryInUse = 4 };

/// Reads and forgets until the input ends.
void watchInput(asio::posix::stream_descriptor& input, asio::io_context& control) {
    static std::array<char, 256> unread{};
    input.async_read_some(asio::buffer(unread), [&input, &control](const error_code& ended, std::size_t) {
        if (ended)
            control.stop();
        else
            watchInput(input, control);
    });
}

/// What has not ended within three seconds is cut: whatever was acknowledged is on the disk by then.
void endInTime() {
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2'900));
        logLine("what has not ended by now is cut");
        std::_Exit(ended);
    }).detach();
}

bool isIgnored(int signal) {
    struct sigaction now {};
    return ::sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

/// Nothing of what is in memory, keys and passwords among it, gets into a file or before another process.
void keepMemoryPrivate() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
}

/// Serves until a signal, or the end of standard input where that is asked for.
void serve(const ServiceOptions& options) {
    asio::io_context control;
    asio::signal_set signals(control, SIGINT, SIGTERM);
    if (!isIgnored(SIGHUP)) // as by nohup
        signals.add(SIGHUP);
    signals.async_wait([&control](const error_code&, int) { control.stop(); });

    for (const std::string& remark : options.remarks)
        logLine(remark);
    const Service service(options);
    if (!service.captchaUrl().empty())
        std::cout << "captcha on " << service.captchaUrl() << "\n";
    std::cout << "listening on " << service.url() << std::endl;

    asio::posix::stream_descriptor input(control);
    if (options.exitWithStdin) {
        input.assign(::dup(STDIN_FILENO));
        watchInput(input, control);
    }
    control.run();
    logLine("ending");
    endInTime();
}

int start(const ServiceOptions& options) {
    try {
        serve(options);
        return ended;
    } catch (const AddressInUse& problem) {
        logProblem("cannot start", problem);
        return addressInUse;
    } catch (const DirectoryInUse& problem) {
        logProblem("cannot start", problem);
        return directoryInUse;
    } catch (const std::exception& problem) {
        logProblem("cannot start", problem);
        return cannotStart;
    }
}

ModelCatalogue catalogueOf(const ServiceOptions& options) {
    if (options.catalogue.empty())
        return ModelCatalogue::builtIn();
    std::ifstream file(options.catalogue);
    if (!file)
        throw std::runtime_error("the catalogue " + options.catalogue.string() +
                                 " cannot be read: " + std::strerror(errno));
    try {
        return ModelCatalogue::parse({std::istreambuf_iterator<char>(file), {}});
    } catch (const std::exception& problem) {
        throw std::runtime_error(options.catalogue.string() + ": " + problem.what());
    }
}

/// What prints and ends, and may fail.
int command(const ServiceOptions& options) {
    try {
        if (options.accounts)
            carryOut(*options.accounts, options.data, std::chrono::hours(24 * options.sessionDays), std::cin,
                     std::cout);
        else if (options.printPrompt)
            printPrompt(options, std::cout);
        else if (options.models)
            listModels(options.data, catalogueOf(options), std::cout);
        else
            getModel(options.data, catalogueOf(options), options.getModel, options.mirror, std::cout);
        return ended;
    } catch (const std::exception& problem) {
        std::cerr << "parlowen-service: " << reasonOf(problem) << "\n";
        return cannotStart;
    }
}

} // namespace

int main(int argc, char** argv) {
    // A reader of the log that went away, and a limit on file sizes, are errors of a write, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    keepMemoryPrivate();
    // Few arenas: what a flood leaves in many never goes back.
    ::mallopt(M_ARENA_MAX, 2);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == confinedReaderOption)
        return readConfined({arguments.begin() + 1, arguments.end()});
    const auto parsed = parseOptions(arguments);
    if (!parsed) {
        std::cerr << "parlowen-service: " << parsed.error() << "\n";
        return wrongOptions;
    }
    const ServiceOptions& options = *parsed;
    if (options.help)
        std::cout << usage();
    else if (options.version)
        std::cout << "parlowen-service " << serviceVersion() << "\n";
    else if (options.models || !options.getModel.empty() || options.printPrompt || options.accounts)
        return command(options);
    else if (options.printConfig)
        std::cout << sampleConfig();
    else if (options.checkConfig)
        std::cout << checkedConfig(options);
    else if (options.checkAnswers)
        return checkAnswers(options, std::cout) ? ended : cannotStart;
    else
        return start(options);
    return ended;
}
