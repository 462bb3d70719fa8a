#include "Upload.h"

#include "Answers/Text.h"
#include "Http/Log.h"

#include <algorithm>

namespace parlowen::service {

namespace {

constexpr std::size_t keptBeginning = 1'024;
constexpr std::size_t longestName = 120; ///< characters
constexpr std::size_t longestPurpose = 60;

UploadProblem noForm() { return {400, "invalid_form", "上传的表单不完整，请重新上传"}; }

UploadProblem cannotStore() { return {507, "disk_full", "磁盘空间不足或无法写入，文件没有保存"}; }

std::string bareName(std::string_view sent) { return tidied(sent.substr(sent.find_last_of("/\\") + 1), longestName); }

} // namespace

Upload::Upload(const std::filesystem::path& directory, std::string_view contentType, std::shared_ptr<void> place)
    : place_(std::move(place))
    , file_(directory) {
    if (const auto boundary = MultipartParser::boundaryOf(contentType))
        form_.emplace(*boundary);
}

void Upload::take(std::string_view bytes) {
    if (!form_ || problem_)
        return;
    form_->feed(bytes,
                [this](const MultipartParser::Part& part, std::string_view content) { takePart(part, content); });
}

void Upload::takePart(const MultipartParser::Part& part, std::string_view bytes) {
    if (part.name == "purpose" && purpose_.size() < longestPurpose)
        purpose_ = tidied(purpose_.append(bytes), longestPurpose);
    else if (part.name == "file" && !problem_)
        takeFile(part, bytes);
}

void Upload::takeFile(const MultipartParser::Part& part, std::string_view bytes) {
    hasFile_ = true;
    name_ = bareName(part.fileName);
    beginning_.append(bytes.substr(0, keptBeginning - std::min(beginning_.size(), keptBeginning)));
    if (file_.size() + bytes.size() > fileBytes) {
        problem_ = fileTooLarge();
        return;
    }
    try {
        file_.append(bytes);
    } catch (const std::system_error& problem) {
        logLine(problem.what());
        problem_ = cannotStore();
    }
}

std::optional<UploadProblem> Upload::problem() const {
    if (problem_)
        return problem_;
    if (!form_ || !form_->isComplete() || !hasFile_)
        return noForm();
    if (file_.size() == 0)
        return emptyFile();
    return kind() ? std::nullopt : std::optional(wrongType());
}

} // namespace parlowen::service
