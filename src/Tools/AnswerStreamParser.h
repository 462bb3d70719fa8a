#pragma once

#include <QByteArrayView>
#include <QStringList>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parlowen {

/// Takes an answer stream apart. Each event is one line that ends with a line feed: "data: " and a JSON object whose
/// member "data" is an object whose member "content" is the next piece of the answer. All other lines are skipped, and
/// so are events that cannot be read. The content "@@" marks the end of the answer: lines behind it wait for the next
/// bytes. A comment ": grounds " with a JSON array of strings names the lines of the résumé that the answer leans on,
/// ": failed" says that it could not be given.
class AnswerStreamParser {
public:
    /// Takes the next bytes, cut anywhere, and gives the pieces that they complete, in order.
    std::vector<QString> feed(QByteArrayView bytes);

    /// The lines of the résumé that were named since this was asked last.
    QStringList takeGrounds() { return std::exchange(grounds_, {}); }

    /// Whether the backend said that what follows stands in the place of an answer, or of its rest.
    bool hasFailed() const { return hasFailed_; }
    /// Whether the end mark has come.
    bool hasEnded() const { return hasEnded_; }

private:
    void readComment(std::string_view line);

    std::string buffer_;       // bytes not yet cut into lines
    std::size_t searched_ = 0; // how many of them hold no line feed for certain
    bool hasEnded_ = false;
    bool hasFailed_ = false;
    QStringList grounds_;
};

} // namespace parlowen
