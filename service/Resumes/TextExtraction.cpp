#include "TextExtraction.h"

#include "Answers/Text.h"
#include "ConfinedChild.h"
#include "Http/HttpMessage.h"
#include "TemporaryFile.h"

#include <cstdlib>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;
using Command = std::vector<std::string>;

constexpr int mostScans = 5;                                    // pages of a PDF that are read as pictures
constexpr std::size_t scanBytes = std::size_t{8} * 1024 * 1024; // of one such picture, in grey
constexpr const char* scanPixels = "2400";                      // on its longer side: A4 at 205 dpi

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
UploadProblem noText() { return {400, "no_text", "文件中没有找到文字；扫描件请换一份更清楚的"}; }
UploadProblem toolMissing(const std::string& name, const std::string& package) {
    return {503, "tool_missing", "服务器缺少读取这类文件的程序 " + name + "（软件包 " + package + "），请安装后再上传"};
}

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

/// Draws one page of a PDF as a picture.
Tool toolForPage(int page) {
    const std::string number = std::to_string(page);
    return {"pdftoppm", "poppler-utils", {"-q", "-gray", "-scale-to", scanPixels, "-f", number, "-l", number}};
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

/// The program and its arguments.
tl::expected<Command, UploadProblem> commandOf(const Tool& tool, const fs::path& file) {
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

UploadProblem problemOf(ReaderOutput::End end) {
    switch (end) {
    case ReaderOutput::End::WrongType:
        return wrongType();
    case ReaderOutput::End::LimitExceeded:
        return limitExceeded();
    case ReaderOutput::End::Unavailable:
        return unavailable();
    default:
        return damaged();
    }
}

/// What a tool makes of a file; of a Docx, which needs none, its text.
tl::expected<std::string, UploadProblem> outputOf(const std::optional<Tool>& tool, const fs::path& file,
                                                  const ReaderLimits& limits, const std::stop_token& stop) {
    const auto command = tool ? commandOf(*tool, file) : Command();
    if (!command)
        return tl::unexpected(command.error());
    ReaderOutput output = readInConfinedChild(file, *command, limits, stop);
    if (output.end != ReaderOutput::End::Done)
        return tl::unexpected(problemOf(output.end));
    return std::move(output.bytes);
}

/// The text of one page of a PDF that is drawn as a picture; empty where none is found.
tl::expected<std::string, UploadProblem> scanOf(const fs::path& file, int page, const ReaderLimits& limits,
                                                const std::stop_token& stop) {
    auto picture = outputOf(toolForPage(page), file, {limits.deadline, scanBytes}, stop);
    if (!picture)
        return picture;
    TemporaryFile drawn(file.parent_path());
    drawn.append(*picture);
    auto raw = outputOf(toolFor(FileKind::Png), drawn.path(), limits, stop);
    return raw ? tidiedLines(*raw, true) : raw;
}

/// The text of pages that are pictures, of as many as the time allows.
tl::expected<std::string, UploadProblem> textOfScans(const fs::path& file, const ReaderLimits& limits,
                                                     const std::stop_token& stop) {
    std::string text;
    for (int page = 1; page <= mostScans; ++page) {
        const auto read = scanOf(file, page, limits, stop);
        if (!read && page == 1)
            return read;
        if (!read)
            break; // as a rule there is no such page
        text += *read;
    }
    if (stop.stop_requested())
        return tl::unexpected(unavailable());
    return text.empty() ? tl::unexpected(noText()) : tl::expected<std::string, UploadProblem>(std::move(text));
}

bool isChinese(std::string_view text) { return hasChinese(text.substr(0, 3)); }

} // namespace

UploadProblem emptyFile() { return {400, "empty_file", "文件是空的，请重新选择"}; }

UploadProblem wrongType() { return {400, "wrong_type", "文件内容不是 PDF、Word、PNG 或 JPEG"}; }

UploadProblem unavailable() { return {503, "unavailable", "服务正在停止或无法读取文件，请稍后再试"}; }

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
    : limits_(limits) {}

tl::expected<std::string, UploadProblem> TextExtraction::read(const fs::path& file, FileKind kind,
                                                              const std::stop_token& stop) const {
    const ReaderLimits limits{std::chrono::steady_clock::now() + limits_.time, limits_.textBytes};
    const auto tool = kind == FileKind::Docx ? std::nullopt : std::optional(toolFor(kind));
    auto raw = outputOf(tool, file, limits, stop);
    if (!raw)
        return raw;
    std::string text = tidiedLines(*raw, kind == FileKind::Png || kind == FileKind::Jpeg);
    if (text.empty() && kind == FileKind::Pdf)
        return textOfScans(file, limits, stop);
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
