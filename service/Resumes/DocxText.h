#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace parlowen::service {

/// A Word document that cannot be read.
struct DocxError : std::runtime_error {
    enum class Reason { WrongType, Damaged, TooLarge };
    DocxError(Reason why, const std::string& what)
        : std::runtime_error(what)
        , reason(why) {}
    Reason reason;
};

/// The text of a Word document (Office Open XML, ECMA-376), a line for each paragraph, UTF-8. Entities of the
/// document's own are refused, and nothing outside the file is looked at. Throws DocxError.
std::string docxText(const std::filesystem::path& file);

} // namespace parlowen::service
