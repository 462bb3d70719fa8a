#pragma once

#include "Http/HttpMessage.h"
#include "MultipartParser.h"
#include "TemporaryFile.h"
#include "TextExtraction.h"

#include <memory>
#include <optional>
#include <string>

namespace parlowen::service {

/// One upload on its way: a multipart form whose part "file" goes to disk as it comes.
class Upload final : public BodySink {
public:
    static constexpr std::size_t fileBytes = std::size_t{32} * 1024 * 1024;
    static constexpr std::size_t formBytes = fileBytes + std::size_t{64} * 1024; ///< with all around the file

    /// `contentType` names the form's boundary; `place` is let go of with the upload. Throws std::system_error when
    /// there can be no file in the directory.
    Upload(const std::filesystem::path& directory, std::string_view contentType, std::shared_ptr<void> place = {});
    /// Takes nothing of what comes, for this reason.
    void refuse(UploadProblem problem) { problem_ = std::move(problem); }

    /// Never throws: what goes wrong, such as a full disk, is problem()'s.
    void take(std::string_view bytes) override;

    /// Once the body is there: why there is no file to read; none when there is one.
    std::optional<UploadProblem> problem() const;
    const TemporaryFile& file() const { return file_; }
    /// The file's own name, without folders, at most 120 characters.
    const std::string& name() const { return name_; }
    /// What the form says that the file is for; "file-extract" where it says nothing.
    std::string purpose() const { return purpose_.empty() ? "file-extract" : purpose_; }
    std::optional<FileKind> kind() const { return fileKind(beginning_); }

private:
    void takePart(const MultipartParser::Part& part, std::string_view bytes);
    void takeFile(const MultipartParser::Part& part, std::string_view bytes);

    const std::shared_ptr<void> place_;
    std::optional<MultipartParser> form_; ///< none where the request is no form
    TemporaryFile file_;
    std::string name_;
    std::string purpose_;
    std::string beginning_;
    bool hasFile_ = false;
    std::optional<UploadProblem> problem_;
};

} // namespace parlowen::service
