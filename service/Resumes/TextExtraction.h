#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace parlowen::service {

/// The types of files that a text is read from.
enum class FileKind { Pdf, Docx, Doc, Png, Jpeg };

/// What a file is by how it begins (1 KiB is enough), whatever its name says. A Docx may turn out to be another
/// archive, a Doc another document of its maker. None for anything else.
std::optional<FileKind> fileKind(std::string_view beginning);

/// Why an upload comes to nothing.
struct UploadProblem {
    unsigned status = 400; ///< of HTTP
    std::string code;      ///< such as "empty_file"
    std::string message;   ///< for the user
};
UploadProblem emptyFile();
UploadProblem wrongType();
UploadProblem fileTooLarge();
UploadProblem unavailable(); ///< the service is ending, or cannot read the file

/// Reads texts out of files that are not to be trusted, in child processes that are confined and die at their limits.
class TextExtraction {
public:
    struct Limits {
        std::chrono::milliseconds time{25'000};          ///< for one file
        std::size_t textBytes = std::size_t{512} * 1024; ///< of its text
    };

    TextExtraction();
    explicit TextExtraction(Limits limits);

    /// The text in UTF-8, its lines tidied, never empty; or why there is none. Of a PDF without any, the first pages
    /// are read as pictures. Blocks. A stop ends the children.
    tl::expected<std::string, UploadProblem> read(const std::filesystem::path& file, FileKind kind,
                                                  const std::stop_token& stop) const;

private:
    const Limits limits_;
};

/// What a tool wrote as lines: blanks joined, empty lines and control characters gone, bytes that are no UTF-8
/// replaced. In a text that was read from a picture, blanks between Chinese characters go too.
std::string tidiedLines(std::string_view text, bool fromPicture);

} // namespace parlowen::service
