#include "ConfinedReader.h"

#include "DocxText.h"
#include "Process/Confinement.h"

#include <cerrno>
#include <string_view>
#include <unistd.h>

namespace parlowen::service {

namespace {

bool write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return false;
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

ReaderExit exitFor(DocxError::Reason reason) {
    switch (reason) {
    case DocxError::Reason::WrongType:
        return ReaderExit::WrongType;
    case DocxError::Reason::TooLarge:
        return ReaderExit::TooLarge;
    default:
        return ReaderExit::Damaged;
    }
}

int readDocx(const std::string& file) {
    try {
        return write(docxText(file)) ? 0 : static_cast<int>(ReaderExit::TooLarge);
    } catch (const DocxError& problem) {
        return static_cast<int>(exitFor(problem.reason));
    } catch (const std::bad_alloc&) {
        return static_cast<int>(ReaderExit::TooLarge);
    }
}

/// With an environment of its own: the service's may hold what a file's reader must not know.
void become(const std::vector<std::string>& command) {
    std::vector<std::string> words(command);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::string path = "PATH=/usr/bin:/bin";
    std::string locale = "LC_ALL=C.UTF-8";
    std::string home = "HOME=/nonexistent";
    std::string threads = "OMP_THREAD_LIMIT=1";
    char* environment[] = {path.data(), locale.data(), home.data(), threads.data(), nullptr};
    ::execve(arguments.front(), arguments.data(), environment);
}

} // namespace

int readConfined(const std::vector<std::string>& arguments) {
    if (arguments.empty())
        return static_cast<int>(ReaderExit::CannotStart);
    const std::vector<std::string> command(arguments.begin() + 1, arguments.end());
    try {
        Confinement confinement{.readable = {arguments.front()}};
        if (!command.empty())
            confinement.readable.emplace_back(command.front());
        confine(confinement);
    } catch (const std::runtime_error&) {
        return static_cast<int>(ReaderExit::CannotStart);
    }
    if (command.empty())
        return readDocx(arguments.front());
    become(command);
    return static_cast<int>(ReaderExit::CannotStart);
}

} // namespace parlowen::service
