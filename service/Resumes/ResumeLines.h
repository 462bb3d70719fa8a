#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// A line of a résumé that can be quoted, and the heading that it stands under; empty for none.
struct ResumeLine {
    std::string text;
    std::string heading;
};

/// The lines of a résumé's text, in their words and order: what was wrapped is joined again, long paragraphs are split
/// into sentences, headings and the ways to reach the candidate are left out.
std::vector<ResumeLine> resumeLines(std::string_view text);

/// The lines that bear on a question, the best first, as the résumé has them; none where nothing does. Ranked by
/// SQLite's full-text search (FTS5, bm25): English by the stems of its words, Chinese by pairs of characters.
std::vector<std::string> relevantLines(std::string_view resume, std::string_view question, std::size_t most);

} // namespace parlowen::service
