#include "TextExtraction.h"

#include "Answers/Text.h"
#include "ConfinedReader.h"
#include "Http/HttpMessage.h"
#include "Http/Log.h"
#include "Process/ChildProcess.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Command = std::vector<std::string>;

/// A program that reads one kind of file.
struct Tool {
    std::string name;
    std::string package;               ///< of Debian
    std::vector<std::string> before{}; ///< the file
    std::vector<std::string> after{};
};

UploadProblem limitExceeded() {
    return {400, "limit_exceeded", "文件展开后过大或处理时间过长，已停止读取，请换一个文件"};
}
UploadProblem damaged() { return {400, "unreadable_file", "文件已损坏或带有密码，无法读取"}; }
UploadProblem noText() { return {400, "no_text", "文件中没有找到文字；扫描件请以图片（PNG 或 JPEG）上传"}; }
UploadProblem toolMissing(const std::string& name, const std::string& package) {
    return {503, "tool_missing", "服务器缺少读取这类文件的程序 " + name + "（软件包 " + package + "），请安装后再上传"};
}
UploadProblem unavailable() { return {503, "unavailable", "服务正在停止或无法读取文件，请稍后再试"}; }

/// The languages of pictures that tesseract has data for, as its option takes them; empty for none.
std::string pictureLanguages() {
    std::string languages;
    std::error_code unknown;
    for (const char* language : {"eng", "chi_sim"}) {
        for (const auto& version : fs::directory_iterator("/usr/share/tesseract-ocr", unknown)) {
            if (!fs::exists(version.path() / "tessdata" / (std::string(language) + ".traineddata"), unknown))
                continue;
            languages.append(languages.empty() ? "" : "+").append(language);
            break;
        }
    }
    return languages;
}

Tool toolFor(FileKind kind) {
    switch (kind) {
    case FileKind::Pdf:
        return {"pdftotext", "poppler-utils", {"-q", "-enc", "UTF-8", "-nopgbrk", "-l", "40"}, {"-"}};
    case FileKind::Doc:
        return {"catdoc", "catdoc", {"-d", "utf-8", "-w"}};
    default:
        return {"tesseract", "tesseract-ocr", {}, {"stdout", "-l", pictureLanguages()}};
    }
}

/// Empty where no folder of the PATH has it.
fs::path programOf(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const fs::path program = fs::path(folder) / name;
        if (program.is_absolute() && ::access(program.c_str(), X_OK) == 0)
            return fs::canonical(program);
    }
    return {};
}

/// The file's reader and its arguments; of a Docx none, which the confined child reads itself.
tl::expected<Command, UploadProblem> commandFor(const fs::path& file, FileKind kind) {
    if (kind == FileKind::Docx)
        return Command{};
    const Tool tool = toolFor(kind);
    const fs::path program = programOf(tool.name);
    if (program.empty())
        return tl::unexpected(toolMissing(tool.name, tool.package));
    if (!tool.after.empty() && tool.after.back().empty())
        return tl::unexpected(toolMissing(tool.name, "tesseract-ocr-chi-sim"));
    Command command{program.string()};
    command.insert(command.end(), tool.before.begin(), tool.before.end());
    command.push_back(file.string());
    command.insert(command.end(), tool.after.begin(), tool.after.end());
    return command;
}

enum class Reading { Ended, TooMuch, TooLong };

/// All that comes from a child until it ends.
Reading readAll(int socket, const TextExtraction::Limits& limits, std::string& text) {
    const auto deadline = Clock::now() + limits.time;
    std::array<char, 16 * 1024> bytes{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd readable{socket, POLLIN, 0};
        const int ready = left.count() > 0 ? ::poll(&readable, 1, static_cast<int>(left.count())) : 0;
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return Reading::TooLong;
        const ssize_t count = ::recv(socket, bytes.data(), bytes.size(), 0);
        if (count <= 0)
            return Reading::Ended;
        text.append(bytes.data(), static_cast<std::size_t>(count));
        if (text.size() > limits.textBytes)
            return Reading::TooMuch;
    }
}

std::optional<UploadProblem> problemOf(const ChildEnd& end) {
    if (end.signal != 0) {
        logLine("a file's reader was ended by signal " + std::to_string(end.signal));
        return limitExceeded();
    }
    if (end.status == 0)
        return std::nullopt;
    switch (static_cast<ReaderExit>(end.status)) {
    case ReaderExit::TooLarge:
        return limitExceeded();
    case ReaderExit::WrongType:
        return wrongType();
    case ReaderExit::CannotStart:
        return unavailable();
    default:
        return damaged();
    }
}

bool isChinese(std::string_view text) { return hasChinese(text.substr(0, 3)); }

} // namespace

UploadProblem emptyFile() { return {400, "empty_file", "文件是空的，请重新选择"}; }

UploadProblem wrongType() {
    return {400, "wrong_type", "文件内容不是 PDF、Word（doc、docx）、PNG 或 JPEG，请换一个文件"};
}

UploadProblem fileTooLarge() { return {413, "file_too_large", "文件超过 32 MB，请压缩后再上传"}; }

std::optional<FileKind> fileKind(std::string_view beginning) {
    constexpr std::string_view png = "\x89PNG\r\n\x1a\n";
    constexpr std::string_view document = "\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1"; // of all that is in OLE containers
    if (beginning.starts_with(png))
        return FileKind::Png;
    if (beginning.starts_with("\xff\xd8\xff"))
        return FileKind::Jpeg;
    if (beginning.starts_with(document))
        return FileKind::Doc;
    if (beginning.starts_with("PK\x03\x04"))
        return FileKind::Docx;
    if (beginning.substr(0, 1'024).find("%PDF-") != std::string_view::npos)
        return FileKind::Pdf;
    return std::nullopt;
}

TextExtraction::TextExtraction()
    : TextExtraction(Limits{}) {}

TextExtraction::TextExtraction(Limits limits)
    : limits_(limits)
    , reader_(fs::read_symlink("/proc/self/exe").parent_path() / "parlowen-service") {}

tl::expected<std::string, UploadProblem> TextExtraction::read(const fs::path& file, FileKind kind,
                                                              const std::stop_token& stop) const {
    const auto command = commandFor(file, kind);
    if (!command)
        return tl::unexpected(command.error());
    Command confined{reader_.string(), confinedReaderOption, file.string()};
    confined.insert(confined.end(), command->begin(), command->end());
    const auto child = stop.stop_requested() ? std::nullopt : ChildProcess::start(std::move(confined));
    if (!child)
        return tl::unexpected(unavailable());
    std::string raw;
    Reading reading{};
    {
        const std::stop_callback kill(stop, [&child] { child->signal(SIGKILL); });
        reading = readAll(child->socket(), limits_, raw);
        if (reading != Reading::Ended)
            child->signal(SIGKILL);
    }
    ::close(child->socket());
    const ChildEnd end = child->end(std::chrono::seconds(1));
    if (stop.stop_requested())
        return tl::unexpected(unavailable());
    if (reading != Reading::Ended)
        return tl::unexpected(limitExceeded());
    if (auto problem = problemOf(end))
        return tl::unexpected(*std::move(problem));
    std::string text = tidiedLines(raw, kind == FileKind::Png || kind == FileKind::Jpeg);
    if (text.empty())
        return tl::unexpected(noText());
    return text;
}

std::string tidiedLines(std::string_view text, bool fromPicture) {
    // A trip through JSON replaces the bytes that are no UTF-8.
    const auto sound = nlohmann::json::parse(compactJson(text)).get<std::string>();
    std::string result;
    std::istringstream lines(sound);
    for (std::string line; std::getline(lines, line);) {
        std::string tidy;
        for (const char c : tidied(line, line.size())) {
            if (c != ' ' || !tidy.ends_with(' '))
                tidy += c;
        }
        for (std::size_t at = 0; fromPicture && (at = tidy.find(' ', at)) != std::string::npos; ++at) {
            if (at >= 3 && isChinese(tidy.substr(at - 3)) && isChinese(tidy.substr(at + 1)))
                tidy.erase(at--, 1);
        }
        if (!tidy.empty())
            result.append(tidy).append("\n");
    }
    return result;
}

} // namespace parlowen::service
